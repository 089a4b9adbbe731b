#pragma once

#include <windows.h>

#include <thread>

#include "yox/base/ThreadSafety.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/windows/OpenedKey.h"

namespace yox::platform {

// A watch of a key and everything below it, on a thread of its own that the system wakes. Windows
// reports only that something changed: the thread compares the subtree with its former state.
class WindowsRegistryWatch final : public RegistryWatch {
 public:
  // Changes after the return are reported. The key is opened with KEY_NOTIFY and KEY_READ.
  WindowsRegistryWatch(OpenedKey key, Registry::Changed changed);
  ~WindowsRegistryWatch() override;

  // Why the watch could not begin; ERROR_SUCCESS when it has.
  LSTATUS error() const { return error_; }

 private:
  // A Win32 event that a successful wait resets.
  class AutoResetEvent {
   public:
    AutoResetEvent() : handle_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}
    ~AutoResetEvent() {
      if (handle_ != nullptr) CloseHandle(handle_);
    }
    AutoResetEvent(const AutoResetEvent&) = delete;
    AutoResetEvent& operator=(const AutoResetEvent&) = delete;
    HANDLE get() const { return handle_; }

   private:
    HANDLE handle_;
  };

  LSTATUS Arm();
  void Run();

  const OpenedKey key_;
  const Registry::Changed changed_;
  const AutoResetEvent change_;
  const AutoResetEvent ending_;
  LSTATUS error_ = ERROR_SUCCESS;  // written by the thread before it has begun
  yox::Mutex mutex_;
  ConditionVariable begun_;
  bool has_begun_ YOX_GUARDED_BY(mutex_) = false;
  std::thread thread_;
};

}  // namespace yox::platform
