#pragma once

#include <filesystem>

#include "yox/platform/system/OperatingSystem.h"

namespace yox::platform {

// os-release (NAME, VARIANT_ID, VERSION_ID, PRETTY_NAME), the kernel, and the package manager. Read
// at every call. Safe from any thread.
class LinuxOperatingSystem final : public OperatingSystem {
 public:
  explicit LinuxOperatingSystem(std::filesystem::path root = "/") : root_(std::move(root)) {}

  WString ProductName() override;
  WString EditionId() override;
  // VERSION_ID with the point release that VERSION or Debian's own file add, and ".0" after a lone
  // number. Debian's testing has the version of the release that it will become. A system without
  // versions has its kernel's.
  WString Version() override;
  WString Caption() override;
  bool IsSMode() override { return false; }
  std::uint32_t Architecture() override;
  // Of the timer that upgrades packages: enabled is automatic, masked disabled.
  std::uint32_t UpdateServiceStartType() override;
  // The upgrades of APT, DNF, zypper or pacman; each has the system's name as its category.
  std::vector<OperatingSystemUpdate> UpdateHistory() override;
  // When the system got its machine-id, else when the file system of its root was made.
  std::optional<LocalDate> FirstRunDate() override;

 private:
  std::string Release(std::string_view name) const;
  std::string VersionOfBaseFiles() const;

  const std::filesystem::path root_;
};

}  // namespace yox::platform
