#pragma once

#include "yox/base/Export.h"
#include "yox/platform/waits/Waits.h"

namespace yox::platform {

// A manual-reset event: it stays set until it is cleared, and wakes all threads that wait for it. A
// Win32 event or a Linux eventfd, so that a host's own loop can wait for its handle. May be used
// from any thread. Must outlive the waits: its handle is closed with it.
class YOX_API Event {
 public:
  // Throws std::system_error when the system cannot create one.
  explicit Event(bool set = false);
  ~Event();
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  void Set() { SignalEvent(handle_); }
  void Clear() { ClearEvent(handle_); }
  bool IsSet() const { return WaitFor(handle_, 0).signalled(); }

  WaitHandle handle() const { return handle_; }

 private:
  WaitHandle handle_;
};

}  // namespace yox::platform
