#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace yox::platform {
class RegistryTracker;
}

namespace yox::device {

// One sign that an organisation manages the device.
struct ManagementSignal {
  const char* name;    // "domain"
  const char* source;  // where it is read, in a few words
  bool (*query)();     // false when the source cannot be read
};

// Whether an organisation manages the device, and until when that is known to be so.
struct ManagementState {
  bool is_managed = false;
  // In nanoseconds of the platform's steady clock, provided that neither the platform nor the
  // number of ManagementTracker changes before. INT64_MIN: the next call has to query again.
  std::int64_t known_until = INT64_MIN;
};

// The same as IsDeviceManaged, for callers that keep the result.
ManagementState QueryManagement();

// Returns the tracker of what QueryManagement reads in the registry of the platform in use. All
// callers share it until another platform is installed. Never null.
std::shared_ptr<platform::RegistryTracker> ManagementTracker();

// The signals in the order in which IsDeviceManaged queries them.
YOX_API std::span<const ManagementSignal> ManagementSignals();

}  // namespace yox::device

// Whether an organisation manages this device. There are only static operations; each is safe from
// any thread, throws nothing of its own and may take seconds, since it asks the operating system.
class YOX_API DeviceManagementStatus {
 public:
  DeviceManagementStatus() = delete;

  // Returns true if one of the six signals is true. They are queried in their order until one is.
  static bool IsDeviceManaged();

  // Returns true if the device belongs to organisations and all of them are commercial. Read again
  // at every call.
  static bool IsDeviceClaimedInCommercialOrg();

 private:
  friend std::span<const yox::device::ManagementSignal> yox::device::ManagementSignals();

  // Remembered until the process ends once the system has returned something, an error included.
  static bool IsJoinedToAnyDomain();
  // Remembered for an hour. Returns false without querying in the first hour after the device has
  // started, as required: the hour is counted from the steady clock's zero.
  static bool IsJoinedToAadDomain();
  // Whether the edition or product name contains "enterprise" or "edu", ignoring case. Remembered
  // until the process ends.
  static bool IsEnterpriseOrEducationEdition();
  // The registry's policy value; read again at every call.
  static bool IsGroupPolicySetForManagedDevice();
  // Whether the management service is running. Remembered for an hour; the first hour as above.
  static bool IsManagedBySCCM();

  static const std::array<yox::WStringView, 2> nonCommercialOrgIds;  // in lower case
};
