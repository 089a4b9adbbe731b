#pragma once

#include <filesystem>
#include <optional>
#include <utility>

#include "yox/platform/firmware/PublishedFirmware.h"

namespace yox::platform {

// The firmware tables that the kernel exposes (/sys/firmware/dmi/tables), which only root may read;
// for other users the single texts of /sys/class/dmi/id, which lack the serial numbers. On boards
// without SMBIOS, model and serial number of the device tree.
class LinuxFirmware final : public PublishedFirmware {
 public:
  explicit LinuxFirmware(std::filesystem::path root = "/") : root_(std::move(root)) {}

 private:
  std::optional<FirmwareFacts> Read() const override;

  const std::filesystem::path root_;
};

}  // namespace yox::platform
