#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/RegistryPaths.h"

namespace yox::platform {

// The registry of a Linux device: one SQLite database in the client's state folder, which several
// processes read and write at once. A process that is killed while it writes leaves everything it
// has committed and nothing of what it has not. Only this account can open the files. A store that
// nobody has written to yet does not exist, and reads as empty.
//
// A watch costs no time while nothing changes: the kernel wakes its thread when a process, living
// or killed, lets go of the file that every writer holds open over its commit. What changed is read
// from a log in the database.
//
// Threads read at once, each over a connection that it borrows for one operation. A connection
// remembers what it read until the next commit of any process.
//
// Not usable in a child after a fork; it has to outlive its watches.
class LinuxRegistry final : public Registry {
 public:
  // `folder` is asked for at the first use; empty where this account has no place for state:
  // nothing can be written then. `own_user` is the security identifier behind HKEY_CURRENT_USER; an
  // empty one is the system's own account.
  LinuxRegistry(std::function<std::filesystem::path()> folder, WString own_user);
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

 private:
  class Store;
  class Session;
  class Transaction;
  class Watcher;
  class LinuxWatch;

  struct Place;

  RegistryStatus Find(Session& session, const RegistryKey& key, Place& place);
  template <class Operation>
  RegistryStatus Guarded(const char* name, Operation operation);
  std::shared_ptr<Watcher> WatcherOfAll();

  const std::function<std::filesystem::path()> folder_;
  RegistryPaths paths_;
  // The writers of this process queue here; those of others meet in the database.
  std::mutex writing_;
  std::mutex mutex_;
  // Guarded by mutex_: connections that no session uses at the moment; there while a watch is.
  std::vector<std::unique_ptr<Store>> idle_;
  std::weak_ptr<Watcher> watcher_;
};

}  // namespace yox::platform
