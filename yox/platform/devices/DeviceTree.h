#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "yox/base/WString.h"
#include "yox/platform/devices/DeviceNotifications.h"

namespace yox::platform {

// A device instance that is plugged in. An instance ID names one device at one place, such as
// "USB\VID_1050&PID_0120\1-2.3"; hardware IDs name what kind of device it is, the most specific
// first, in the letters that the system uses.
struct PresentDevice {
  WString instance_id;
  std::vector<WString> hardware_ids;

  friend bool operator==(const PresentDevice&, const PresentDevice&) = default;
};

// A registration for events, which ends when the object is destroyed. The destructor waits until no
// callback of the registration runs any more, so the object must not be destroyed inside one. May
// outlive the tree that it came from.
class DeviceRegistration {
 public:
  virtual ~DeviceRegistration() = default;
};

// The devices that are present now, and events when one comes or goes. Safe from any thread.
class DeviceTree {
 public:
  virtual ~DeviceTree() = default;

  // Calls `callback` with `context` for every event of a device instance from now on, on threads of
  // the system's choice, possibly on several at once. An exception that leaves the callback is
  // logged and goes no further. Returns null if the system accepts no registration.
  virtual std::unique_ptr<DeviceRegistration> Register(PCM_NOTIFY_CALLBACK callback,
                                                       void* context) = 0;

  // Calls `visit` for each present device that has hardware IDs, as they are read. Visits none if
  // the system's list cannot be read.
  using Visitor = std::function<void(PresentDevice device)>;
  virtual void Enumerate(const Visitor& visit) = 0;

  // The hardware IDs of one instance, by the instance ID from an event or from Enumerate. Empty if
  // there is no such device, or its IDs cannot be read.
  virtual std::vector<WString> HardwareIds(const WString& instance_id) = 0;
};

}  // namespace yox::platform
