#pragma once

#include <memory>
#include <vector>

#include "yox/base/ThreadSafety.h"
#include "yox/platform/devices/DeviceTree.h"

namespace yox::platform {

// Runs a callback for device events. An exception that leaves it is logged, because it comes from
// code of the host and must not end the thread that delivers events.
void RunDeviceCallback(PCM_NOTIFY_CALLBACK function, void* context, CM_NOTIFY_ACTION action,
                       PCM_NOTIFY_EVENT_DATA data, Dword size) noexcept;

// The registrations of a device tree that delivers its events itself. Owned by a shared_ptr, since
// registrations may outlive the tree. Safe from any thread.
class DeviceCallbacks : public std::enable_shared_from_this<DeviceCallbacks> {
 public:
  std::unique_ptr<DeviceRegistration> Add(PCM_NOTIFY_CALLBACK function, void* context);

  // Runs every callback on the calling thread.
  void Deliver(CM_NOTIFY_ACTION action, PCM_NOTIFY_EVENT_DATA data, Dword size);
  void Deliver(CM_NOTIFY_ACTION action, WStringView instance_id);

  // Ends every registration and waits until no callback runs any more.
  void EndAll();

 private:
  class Registration;
  struct Callback {
    PCM_NOTIFY_CALLBACK function;
    void* context;
    int running = 0;     // under mutex_
    bool ended = false;  // under mutex_
  };

  void End(const std::shared_ptr<Callback>& callback);

  yox::Mutex mutex_;
  ConditionVariable finished_;
  std::vector<std::shared_ptr<Callback>> callbacks_ YOX_GUARDED_BY(mutex_);
};

}  // namespace yox::platform
