#pragma once

#include <json/value.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/ThreadSafety.h"
#include "yox/platform/devices/DeviceTree.h"

namespace yoxctl {

// Returns the output of `device --hardware-ids`: each present device followed by its hardware IDs,
// indented, or {"devices": [{"instance_id": ..., "hardware_ids": [...]}]}.
std::string HardwareIdListing(yox::platform::DeviceTree& tree, bool json);

// Returns {"instance_id": ..., "hardware_ids": [...]}.
Json::Value DeviceJson(const yox::platform::PresentDevice& device);

// Reports each device that arrives or is removed, once, on threads of the platform.
class DeviceWatch {
 public:
  enum class Change { kArrived, kRemoved };
  // Called once at a time. Must not throw, and must not destroy the watch.
  using Tell = std::function<void(Change, const yox::platform::PresentDevice&)>;

  // Reports changes from now on; devices that are present already are not reported. Throws Refusal
  // if the system does not report changes of devices.
  DeviceWatch(yox::platform::DeviceTree& tree, Tell tell);
  ~DeviceWatch();
  DeviceWatch(const DeviceWatch&) = delete;
  DeviceWatch& operator=(const DeviceWatch&) = delete;

  // Returns the number of present devices.
  std::size_t present() const;

 private:
  static yox::platform::Dword OnEvent(HCMNOTIFICATION notification, void* context,
                                      CM_NOTIFY_ACTION action, PCM_NOTIFY_EVENT_DATA data,
                                      yox::platform::Dword size);
  void Arrived(const yox::WString& instance_id);
  void Removed(const yox::WString& instance_id);

  yox::platform::DeviceTree& tree_;
  const Tell tell_;
  mutable yox::Mutex mutex_;  // also held during calls of tell_
  std::map<yox::WString, std::vector<yox::WString>> present_ YOX_GUARDED_BY(mutex_);
  std::unique_ptr<yox::platform::DeviceRegistration> registration_;
};

}  // namespace yoxctl
