#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "yox/base/ThreadSafety.h"
#include "yox/platform/files/linux/FileDescriptor.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/linux/RegistryStore.h"

namespace yox::platform {

// The thread that waits for commits of any process and calls the watches of this one. It sleeps
// until the kernel reports that a writer has closed the commit counter's file. Safe from any
// thread.
class RegistryWatcher {
 public:
  struct Watch {
    WString folded;  // FoldRegistryName of the watched key's path
    Registry::Changed changed;
    // The number of the last change that the watch need not report. The adding thread sets it, the
    // watcher's thread reads and writes it from then on.
    std::int64_t seen = 0;

    // Locked during a call, so that Remove can wait for its end.
    yox::Mutex calling;
    bool ended YOX_GUARDED_BY(calling) = false;
  };

  // Starts the thread; creates the store where it is missing. `failed` is called on the thread when
  // the changes cannot be read. Throws DatabaseError or std::system_error.
  RegistryWatcher(const std::filesystem::path& folder, std::chrono::milliseconds patience,
                  std::function<void(const std::exception&)> failed);
  ~RegistryWatcher();
  RegistryWatcher(const RegistryWatcher&) = delete;
  RegistryWatcher& operator=(const RegistryWatcher&) = delete;

  // Reports changes after `watch->seen` from now on.
  void Add(std::shared_ptr<Watch> watch);
  // After the return the watch is not called, and no call is under way. Must not be called by the
  // watch itself.
  void Remove(const std::shared_ptr<Watch>& watch);

 private:
  void Run();
  void WakeUp();
  void Drain();
  static void Report(const std::vector<StoredChange>& changes, Watch& watch);

  const FileDescriptor inotify_;
  const FileDescriptor wake_up_;
  const std::function<void(const std::exception&)> failed_;
  const std::unique_ptr<RegistryStore> store_;  // used by the thread alone
  yox::Mutex mutex_;
  std::vector<std::shared_ptr<Watch>> watches_ YOX_GUARDED_BY(mutex_);
  bool ending_ YOX_GUARDED_BY(mutex_) = false;
  std::thread thread_;
};

}  // namespace yox::platform
