#pragma once

#include "yox/platform/system/ManagementQueries.h"
#include "yox/platform/system/OperatingSystem.h"

namespace yox::platform {

// The registry's description of Windows, WMI, the service manager and the Windows Update Agent.
// Read afresh at every call. Safe from any thread.
class WindowsOperatingSystem final : public OperatingSystem {
 public:
  // The queries must outlive the object.
  explicit WindowsOperatingSystem(ManagementQueries& queries) : queries_(queries) {}

  // Windows 11 calls itself 10 in the registry; its build number tells.
  WString ProductName() override;
  WString EditionId() override;
  WString Version() override;
  WString Caption() override;
  bool IsSMode() override;
  std::uint32_t Architecture() override;
  std::uint32_t UpdateServiceStartType() override;
  std::vector<OperatingSystemUpdate> UpdateHistory() override;
  // Of the first installation that the registry knows of.
  std::optional<LocalDate> FirstRunDate() override;

 private:
  ManagementQueries& queries_;
};

}  // namespace yox::platform
