#pragma once

#include "yox/base/Export.h"
#include "yox/platform/waits/Waits.h"

namespace yox::platform {

// An event that stays set until it is cleared, and wakes all who wait for it. Safe from any thread.
// A Win32 event or an eventfd: a host's own loop can wait for its handle. Owned here and closed
// with the object, which must outlive the waits.
class YOX_API Event {
 public:
  // Throws std::system_error when the system has none left.
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
