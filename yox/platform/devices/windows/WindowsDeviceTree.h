#pragma once

#include "yox/platform/devices/DeviceTree.h"

namespace yox::platform {

// The device instances that SetupAPI lists, with the events of the Configuration Manager.
class WindowsDeviceTree final : public DeviceTree {
 public:
  // CM_Register_Notification and CM_Unregister_Notification; null on systems without them.
  struct Notifications {
    CONFIGRET(WINAPI* enrol)
    (CM_NOTIFY_FILTER* filter, void* context, PCM_NOTIFY_CALLBACK callback,
     HCMNOTIFICATION* notification) = nullptr;
    CONFIGRET(WINAPI* withdraw)(HCMNOTIFICATION notification) = nullptr;
  };

  // Uses the system's own functions.
  WindowsDeviceTree();
  explicit WindowsDeviceTree(const Notifications& notifications) : notifications_(notifications) {}

  std::unique_ptr<DeviceRegistration> Register(PCM_NOTIFY_CALLBACK callback,
                                               void* context) override;
  void Enumerate(const Visitor& visit) override;
  std::vector<WString> HardwareIds(const WString& instance_id) override;

 private:
  const Notifications notifications_;
};

}  // namespace yox::platform
