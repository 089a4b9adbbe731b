#pragma once

#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// Whether an organisation manages this device: any of six signals, asked in the order below until
// one is true. Answers false, and throws nothing of its own, when a signal cannot be had. Safe from
// any thread; a call may take seconds.
class YOX_API DeviceManagementStatus {
 public:
  DeviceManagementStatus() = delete;

  static bool IsDeviceManaged();

  // Whether the device's organisations are commercial: there is one, and none of them is in the
  // table of others. Asked at every call.
  static bool IsDeviceClaimedInCommercialOrg();

 protected:  // for tests, and for whoever tells the signals apart
  // Remembered for ever once the system has been asked, an error included.
  static bool IsJoinedToAnyDomain();
  // Remembered for an hour. In the first hour after the device has started the answer is false
  // without asking, on purpose: the clock that counts the hour starts with the device.
  static bool IsJoinedToAadDomain();
  // Whether edition or product name hold "enterprise" or "edu", in any letter case. Remembered for
  // ever.
  static bool IsEnterpriseOrEducationEdition();
  // The registry's policy value; asked at every call.
  static bool IsGroupPolicySetForManagedDevice();
  // Whether the management service runs. Remembered for an hour, the first hour as above.
  static bool IsManagedBySCCM();

 private:
  static const std::vector<yox::WString> nonCommercialOrgIds;
};
