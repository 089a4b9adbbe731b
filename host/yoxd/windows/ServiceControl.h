#pragma once

#include <windows.h>

#include "yox/base/ThreadSafety.h"
#include "yox/platform/waits/Event.h"

namespace yoxd {

// What the service manager and the console ask of this process, on threads of theirs, and how far
// the service is. One for the process; from any thread.
class ServiceControl {
 public:
  static ServiceControl& Get();

  // Handles a control of the service manager's; returns its result. `kind` is the event of a change
  // of sessions.
  DWORD Handle(DWORD control, DWORD kind);
  // From now on states are reported to this service's manager.
  void Use(SERVICE_STATUS_HANDLE service);
  // Reports a state and, at the end, the exit code.
  void Report(DWORD state, DWORD code = 0);

  // Set by Handle, and cleared by the service.
  yox::platform::Event stop;
  yox::platform::Event reload;
  yox::platform::Event user_changed;
  yox::platform::Event clock_set;

 private:
  yox::Mutex mutex_;
  SERVICE_STATUS_HANDLE service_ YOX_GUARDED_BY(mutex_) = nullptr;
  DWORD state_ YOX_GUARDED_BY(mutex_) = SERVICE_START_PENDING;
};

}  // namespace yoxd
