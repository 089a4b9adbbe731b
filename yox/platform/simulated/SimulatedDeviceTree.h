#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "yox/base/Export.h"
#include "yox/platform/devices/DeviceTree.h"

namespace yox::platform {

class DeviceCallbacks;

// Devices in memory, plugged and unplugged while the program runs. Callbacks run on the thread that
// plugs or unplugs, so several may run at once. Safe from any thread.
class YOX_API SimulatedDeviceTree final : public DeviceTree {
 public:
  SimulatedDeviceTree();
  // Waits for callbacks that run; registrations that are left go quiet.
  ~SimulatedDeviceTree() override;
  SimulatedDeviceTree(const SimulatedDeviceTree&) = delete;
  SimulatedDeviceTree& operator=(const SimulatedDeviceTree&) = delete;

  std::unique_ptr<DeviceRegistration> Register(PCM_NOTIFY_CALLBACK callback,
                                               void* context) override;
  // In the order of the instance IDs.
  void Enumerate(const Visitor& visit) override;
  std::vector<WString> HardwareIds(const WString& instance_id) override;

  // The device is there from now on; one that was there already is enumerated anew. Callbacks are
  // told of its enumeration and of its start.
  void Plug(const PresentDevice& device);
  // The same for a device whose property of hardware IDs is given as it stands in the device tree:
  // a type number and bytes.
  void Plug(const WString& instance_id, std::uint32_t type, std::string bytes);
  // False when there is no such device; otherwise callbacks are told of its removal.
  bool Unplug(const WString& instance_id);

  // Hands an event to every callback as it is.
  void Send(CM_NOTIFY_ACTION action, PCM_NOTIFY_EVENT_DATA data, Dword size);
  void Send(CM_NOTIFY_ACTION action, const WString& instance_id);

  // Whether registrations are taken; they are unless told otherwise.
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
  mutable std::mutex mutex_;  // guards what follows
  std::map<WString, Property> devices_;
  bool accept_ = true;
  std::size_t enumerations_ = 0;
  std::size_t reads_ = 0;
};

}  // namespace yox::platform
