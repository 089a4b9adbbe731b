#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "yox/platform/registry/Registry.h"

namespace yox::platform {

class RegistryPaths;

// A registry in memory, empty at first but for its roots. Watches report on the thread that makes
// the change, before the change returns, while no lock of the registry is held. It has to outlive
// its watches.
class YOX_API SimulatedRegistry final : public Registry {
 public:
  // `own_user` is the security identifier behind HKEY_CURRENT_USER; an empty one is the system's
  // own account.
  explicit SimulatedRegistry(const WString& own_user = {});
  ~SimulatedRegistry() override;
  void SetOwnUser(const WString& own_user);

  // Refuses every edit and every opening for writing from now on, or no longer.
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

 private:
  struct Key;
  class Transaction;
  class SimulatedWatch;
  struct Watcher;

  const Key* Find(const RegistryKey& key, RegistryStatus& status) const;

  std::unique_ptr<RegistryPaths> paths_;
  mutable std::mutex mutex_;
  // Guarded by mutex_: keys by their folded names, watchers in the order of their making.
  std::map<WString, Key> keys_;
  std::vector<std::shared_ptr<Watcher>> watchers_;
  bool read_only_ = false;
};

}  // namespace yox::platform
