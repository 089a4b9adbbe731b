#pragma once

#include "yox/platform/devices/DeviceTree.h"

namespace yox::platform {

// Device instances as the Configuration Manager announces them and SetupAPI lists them.
class WindowsDeviceTree final : public DeviceTree {
 public:
  // The two functions of the Configuration Manager, which not every system has.
  struct Notifications {
    CONFIGRET(WINAPI* enrol)
    (CM_NOTIFY_FILTER* filter, void* context, PCM_NOTIFY_CALLBACK callback,
     HCMNOTIFICATION* notification) = nullptr;
    CONFIGRET(WINAPI* withdraw)(HCMNOTIFICATION notification) = nullptr;
  };

  // With the system's own functions, if it has them.
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
