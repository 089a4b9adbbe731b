#pragma once

#include <json/value.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "yox/platform/devices/DeviceTree.h"

namespace yoxctl {

// What `device --hardware-ids` prints: every present device and, indented, its hardware IDs; or
// {"devices": [{"instance_id": ..., "hardware_ids": [...]}]}.
std::string HardwareIdListing(yox::platform::DeviceTree& tree, bool json);

// {"instance_id": ..., "hardware_ids": [...]}
Json::Value DeviceJson(const yox::platform::PresentDevice& device);

// Tells of devices that come and go, each once, on the threads that the platform uses.
class DeviceWatch {
 public:
  enum class Change { kArrived, kRemoved };
  // One call at a time. Must not throw, and must not end the watch.
  using Tell = std::function<void(Change, const yox::platform::PresentDevice&)>;

  // Listens from now on. What is present already is not told. Throws Refusal when the system takes
  // no registration.
  DeviceWatch(yox::platform::DeviceTree& tree, Tell tell);
  ~DeviceWatch();
  DeviceWatch(const DeviceWatch&) = delete;
  DeviceWatch& operator=(const DeviceWatch&) = delete;

  std::size_t present() const;

 private:
  static DWORD OnEvent(HCMNOTIFICATION notification, void* context, CM_NOTIFY_ACTION action,
                       PCM_NOTIFY_EVENT_DATA data, DWORD size);
  void Arrived(const yox::WString& instance_id);
  void Removed(const yox::WString& instance_id);

  yox::platform::DeviceTree& tree_;
  const Tell tell_;
  mutable std::mutex mutex_;  // guards what follows, and the calls of tell_
  std::map<yox::WString, std::vector<yox::WString>> present_;
  std::unique_ptr<yox::platform::DeviceRegistration> registration_;
};

}  // namespace yoxctl
