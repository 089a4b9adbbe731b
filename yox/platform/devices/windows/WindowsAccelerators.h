#pragma once

#include "yox/platform/devices/Accelerators.h"

namespace yox::platform {

// The present devices of the setup class for compute accelerators.
class WindowsAccelerators final : public Accelerators {
 public:
  std::optional<std::vector<Accelerator>> Enumerate() override;
};

}  // namespace yox::platform
