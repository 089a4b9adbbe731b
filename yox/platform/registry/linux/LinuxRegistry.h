#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "yox/base/ThreadSafety.h"
#include "yox/platform/files/linux/MappedNumber.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/RegistryPaths.h"
#include "yox/platform/registry/linux/CountedGeneration.h"

namespace yox::platform {

class CommitCounter;
class RegistryStore;
class RegistryWatcher;

// The registry of a Linux device: an SQLite database in the client's state folder, which several
// processes read and write at the same time. What a process has committed outlives it, however it
// ends, and nothing else does. Only this account can open the files. A store that no process has
// written to does not exist, and reads as an empty one.
//
// Each operation leases a connection from a pool, so that threads read in parallel. A connection
// caches what it has read until the next commit of any process (see CommitCounter). One thread,
// which sleeps until a commit, serves all watches (see RegistryWatcher).
//
// A child process must not use the object after a fork. It must outlive its watches.
class LinuxRegistry final : public Registry {
 public:
  // `folder` is called for each operation that opens a file; an empty path means that this account
  // has no place for state, and nothing can be written. `own_user` is the security identifier that
  // HKEY_CURRENT_USER stands for; an empty one is the system's own account. `patience` is how long
  // an operation waits for another process's transaction.
  LinuxRegistry(std::function<std::filesystem::path()> folder, WString own_user,
                std::chrono::milliseconds patience = std::chrono::seconds(10));
  ~LinuxRegistry() override;

  // "S-1-22-1-1000" for the user number 1000, empty (the system's account) for 0.
  static WString UserIdentifier(unsigned user);

  RegistryStatus Open(const RegistryKey& key, std::uint32_t access, HKEY& opened) override;
  void Close(HKEY opened) override;
  RegistryStatus Get(const RegistryKey& key, WStringView name, RegistryValue& value) override;
  RegistryStatus Values(const RegistryKey& key, std::vector<RegistryEntry>& values,
                        std::size_t longest_name) override;
  RegistryStatus SubKeys(const RegistryKey& key, std::vector<WString>& names) override;
  RegistryStatus Apply(std::span<const RegistryEdit> edits) override;
  RegistryStatus Watch(const RegistryKey& key, Changed changed,
                       std::unique_ptr<RegistryWatch>& watch) override;
  // Tracks all keys alike.
  std::unique_ptr<RegistryTracker> Track(std::span<const RegistryKey> keys) override;

 private:
  // A state without a commit under way.
  struct Settled {
    std::shared_ptr<const CommitCounter> counter;  // null at first
    std::uint64_t commits = 0;                     // its number
    std::uint64_t connections = 0;                 // connections_ at that time
    std::uint64_t generation = 0;
  };
  struct Operation;
  struct Place;
  class Session;
  class LinuxTracker;
  class LinuxWatch;

  template <class Work>
  RegistryStatus Run(const Operation& operation, Work work);
  RegistryStatus Failed(const Operation& operation, const std::exception& error);
  bool ReleaseReserve();
  RegistryStatus Find(Session& session, const RegistryKey& key, Place& place);
  RegistryStatus Write(Session& session, std::span<const RegistryEdit> edits);
  std::shared_ptr<RegistryWatcher> SharedWatcher();
  std::uint64_t Generation();
  std::uint64_t GenerationByCall();
  std::uint64_t Settle();

  const std::function<std::filesystem::path()> folder_;
  const std::chrono::milliseconds patience_;
  RegistryPaths paths_;
  // Writers of this process queue here, without the busy waiting of the database.
  yox::Mutex writing_;
  // Whether the reserve on the disk is complete as far as this object knows.
  std::atomic<bool> has_reserve_ = false;
  yox::Mutex mutex_;
  // Changes when a connection is opened or given up: the next one may be to another file.
  std::atomic<std::uint64_t> connections_ = 0;
  // Connections that no operation uses at the moment.
  std::vector<std::unique_ptr<RegistryStore>> idle_ YOX_GUARDED_BY(mutex_);
  // Exists as long as a watch does.
  std::weak_ptr<RegistryWatcher> watcher_ YOX_GUARDED_BY(mutex_);
  yox::Mutex settling_;
  Settled settled_ YOX_GUARDED_BY(settling_);
  // The same for a look without the lock, with the counter's number in memory.
  CountedGeneration generation_;
  MappedNumber commits_;
};

}  // namespace yox::platform
