#pragma once

#include "yox/platform/devices/DisplayAdapters.h"

namespace yox::platform {

// DXGI's adapters. Enumeration ends with 64 failures in a row.
class WindowsDisplayAdapters final : public DisplayAdapters {
 public:
  std::optional<std::vector<DisplayAdapter>> Enumerate() override;
};

}  // namespace yox::platform
