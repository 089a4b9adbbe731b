#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "yox/platform/devices/DeviceTree.h"

namespace yox::platform {

// The registrations of a device tree that hands out its events itself. Safe from any thread.
class DeviceCallbacks : public std::enable_shared_from_this<DeviceCallbacks> {
 public:
  std::unique_ptr<DeviceRegistration> Add(PCM_NOTIFY_CALLBACK function, void* context);

  // Runs every callback on the calling thread.
  void Deliver(CM_NOTIFY_ACTION action, PCM_NOTIFY_EVENT_DATA data, DWORD size);
  void Deliver(CM_NOTIFY_ACTION action, WStringView instance_id);

  // Returns when no callback runs any more; none will from then on.
  void EndAll();

 private:
  class Registration;
  struct Callback {
    PCM_NOTIFY_CALLBACK function;
    void* context;
    int running = 0;
    bool ended = false;
  };

  void End(const std::shared_ptr<Callback>& callback);

  std::mutex mutex_;
  std::condition_variable finished_;
  std::vector<std::shared_ptr<Callback>> callbacks_;
};

}  // namespace yox::platform
