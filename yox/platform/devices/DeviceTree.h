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

// Ends its registration with its life, and returns only when no callback of it runs any more; so it
// must not be ended inside one. May outlive the tree that gave it.
class DeviceRegistration {
 public:
  virtual ~DeviceRegistration() = default;
};

// The devices that are present. Safe from any thread.
class DeviceTree {
 public:
  virtual ~DeviceTree() = default;

  // Calls `callback` with `context` for every event of a device instance from now on, on threads of
  // the system's choice, several at once if need be. Null when the system takes no registration.
  virtual std::unique_ptr<DeviceRegistration> Register(PCM_NOTIFY_CALLBACK callback,
                                                       void* context) = 0;

  // Every present device that has hardware IDs, one after the other as they are read. Visits none
  // when the system cannot be asked.
  using Visitor = std::function<void(PresentDevice device)>;
  virtual void Enumerate(const Visitor& visit) = 0;

  // The hardware IDs of one instance, named as events and enumeration name it; empty when there is
  // no such device, or its IDs cannot be read.
  virtual std::vector<WString> HardwareIds(const WString& instance_id) = 0;
};

}  // namespace yox::platform
