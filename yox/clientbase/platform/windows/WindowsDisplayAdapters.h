#pragma once

#include "yox/clientbase/platform/DisplayAdapters.h"

namespace YOX::platform {

// DXGI's adapters. Enumeration ends with 64 failures in a row.
class WindowsDisplayAdapters final : public DisplayAdapters {
 public:
  std::optional<std::vector<DisplayAdapter>> Enumerate() override;
};

}  // namespace YOX::platform
