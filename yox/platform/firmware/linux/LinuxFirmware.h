#pragma once

#include <filesystem>
#include <mutex>
#include <optional>

#include "yox/platform/firmware/Firmware.h"

namespace yox::platform {

// The firmware tables that the kernel exposes (/sys/firmware/dmi/tables), which only root may read;
// for others the single texts of /sys/class/dmi/id, which lack the serial numbers.
class LinuxFirmware final : public Firmware {
 public:
  explicit LinuxFirmware(std::filesystem::path root = "/") : root_(std::move(root)) {}

  const FirmwareFacts* Facts() override;
  void Reread() override;

 private:
  const std::filesystem::path root_;
  std::mutex mutex_;
  bool read_ = false;                   // under mutex_
  std::optional<FirmwareFacts> facts_;  // under mutex_ until read_
};

}  // namespace yox::platform
