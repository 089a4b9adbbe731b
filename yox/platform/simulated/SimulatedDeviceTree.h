#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "yox/base/Export.h"
#include "yox/base/ThreadSafety.h"
#include "yox/platform/devices/DeviceTree.h"

namespace yox::platform {

class DeviceCallbacks;

// Devices in memory, plugged and unplugged while the program runs. Callbacks run on the thread that
// plugs or unplugs, so several may run at once. Every operation may be called from any thread.
class YOX_API SimulatedDeviceTree final : public DeviceTree {
 public:
  SimulatedDeviceTree();
  // Waits for callbacks that run. Registrations that are left receive nothing more.
  ~SimulatedDeviceTree() override;
  SimulatedDeviceTree(const SimulatedDeviceTree&) = delete;
  SimulatedDeviceTree& operator=(const SimulatedDeviceTree&) = delete;

  std::unique_ptr<DeviceRegistration> Register(PCM_NOTIFY_CALLBACK callback,
                                               void* context) override;
  // Sorted by instance ID.
  void Enumerate(const Visitor& visit) override;
  std::vector<WString> HardwareIds(const WString& instance_id) override;

  // Adds a device, or replaces the one of this instance ID. Callbacks get DEVICEINSTANCEENUMERATED
  // and then DEVICEINSTANCESTARTED.
  void Plug(const PresentDevice& device);
  // The same for a device whose property of hardware IDs is given as a type number and bytes, which
  // may be malformed.
  void Plug(const WString& instance_id, std::uint32_t type, std::string bytes);
  // Removes a device; callbacks get DEVICEINSTANCEREMOVED. Returns false if there is no such
  // device.
  bool Unplug(const WString& instance_id);

  // Passes an event to every callback as it is.
  void Send(CM_NOTIFY_ACTION action, PCM_NOTIFY_EVENT_DATA data, Dword size);
  void Send(CM_NOTIFY_ACTION action, const WString& instance_id);

  // Whether Register succeeds from now on, as it does at first.
  void AcceptRegistrations(bool accept);
  // How many times all devices were enumerated, and one device's hardware IDs were read.
  std::size_t enumerations() const;
  std::size_t reads() const;

 private:
  struct Property {
    std::uint32_t type;
    std::string bytes;
  };

  const std::shared_ptr<DeviceCallbacks> callbacks_;
  mutable yox::Mutex mutex_;
  std::map<WString, Property> devices_ YOX_GUARDED_BY(mutex_);
  bool accept_ YOX_GUARDED_BY(mutex_) = true;
  std::size_t enumerations_ YOX_GUARDED_BY(mutex_) = 0;
  std::size_t reads_ YOX_GUARDED_BY(mutex_) = 0;
};

}  // namespace yox::platform
