#pragma once

#include <optional>

#include "yox/platform/firmware/PublishedFirmware.h"

namespace yox::platform {

// The raw SMBIOS table that the system hands out.
class WindowsFirmware final : public PublishedFirmware {
 private:
  std::optional<FirmwareFacts> Read() const override;
};

}  // namespace yox::platform
