#pragma once

#include "yox/clientbase/platform/Accelerators.h"

namespace YOX::platform {

// The present devices of the setup class for compute accelerators.
class WindowsAccelerators final : public Accelerators {
 public:
  std::optional<std::vector<Accelerator>> Enumerate() override;
};

}  // namespace YOX::platform
