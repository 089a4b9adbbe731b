#pragma once

#include <mutex>
#include <optional>

#include "yox/platform/firmware/Firmware.h"

namespace yox::platform {

// The raw SMBIOS table that the system hands out.
class WindowsFirmware final : public Firmware {
 public:
  const FirmwareFacts* Facts() override;
  void Reread() override;

 private:
  std::mutex mutex_;
  bool read_ = false;                   // under mutex_
  std::optional<FirmwareFacts> facts_;  // under mutex_ until read_
};

}  // namespace yox::platform
