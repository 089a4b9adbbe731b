#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "yox/base/ThreadSafety.h"
#include "yox/platform/registry/Registry.h"

namespace yox::platform {

class RegistryPaths;

// A registry in memory, which begins with its roots only. Every operation may be called from any
// thread. A watch reports on the thread that makes the change, before Apply returns and without a
// lock of the registry. Must outlive its watches.
class YOX_API SimulatedRegistry final : public Registry {
 public:
  // `own_user` is the security identifier of the account that HKEY_CURRENT_USER belongs to; an
  // empty one is the system's own account.
  explicit SimulatedRegistry(const WString& own_user = {});
  ~SimulatedRegistry() override;
  void SetOwnUser(const WString& own_user);

  // Whether every edit and every opening for writing is refused from now on.
  void SetReadOnly(bool read_only);

  RegistryStatus Open(const RegistryKey& key, std::uint32_t access, HKEY& opened) override;
  void Close(HKEY opened) override;
  RegistryStatus Get(const RegistryKey& key, WStringView name, RegistryValue& value) override;
  RegistryStatus Values(const RegistryKey& key, std::vector<RegistryEntry>& values,
                        std::size_t longest_name) override;
  RegistryStatus SubKeys(const RegistryKey& key, std::vector<WString>& names) override;
  RegistryStatus Apply(std::span<const RegistryEdit> edits) override;
  RegistryStatus Watch(const RegistryKey& key, Changed changed,
                       std::unique_ptr<RegistryWatch>& watch) override;
  std::unique_ptr<RegistryTracker> Track(std::span<const RegistryKey> keys) override;

 private:
  struct Key;
  class Transaction;
  class SimulatedTracker;
  class SimulatedWatch;
  struct Watcher;

  const Key* Find(const RegistryKey& key, RegistryStatus& status) const YOX_REQUIRES(mutex_);

  const std::unique_ptr<RegistryPaths> paths_;
  mutable yox::Mutex mutex_;
  std::map<WString, Key> keys_ YOX_GUARDED_BY(mutex_);  // by folded path
  std::vector<std::shared_ptr<Watcher>> watchers_ YOX_GUARDED_BY(mutex_);
  bool read_only_ YOX_GUARDED_BY(mutex_) = false;
  // Written with the lock, after a change and before the unlock: a reader that finds the new number
  // finds the change, and one that has seen the change finds the new number.
  std::atomic<std::uint64_t> generation_{1};
};

}  // namespace yox::platform
