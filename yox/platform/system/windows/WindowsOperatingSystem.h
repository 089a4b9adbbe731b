#pragma once

#include "yox/platform/registry/Registry.h"
#include "yox/platform/system/ManagementQueries.h"
#include "yox/platform/system/OperatingSystem.h"

namespace yox::platform {

// Facts from the registry, WMI, the service manager and the Windows Update Agent, read at every
// call. Safe from any thread.
class WindowsOperatingSystem final : public OperatingSystem {
 public:
  // Both must outlive the object.
  WindowsOperatingSystem(Registry& registry, ManagementQueries& queries)
      : registry_(registry), queries_(queries) {}

  // The registry's name, in which Windows 11 still calls itself "Windows 10"; that is corrected by
  // the build number.
  WString ProductName() override;
  WString EditionId() override;
  WString Version() override;
  WString Caption() override;
  bool IsSMode() override;
  std::uint32_t Architecture() override;
  std::uint32_t UpdateServiceStartType() override;
  std::vector<OperatingSystemUpdate> UpdateHistory() override;
  // The day of the first installation that the registry records.
  std::optional<LocalDate> FirstRunDate() override;

 private:
  Registry& registry_;
  ManagementQueries& queries_;
};

}  // namespace yox::platform
