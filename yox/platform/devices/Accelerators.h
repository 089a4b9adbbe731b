#pragma once

#include <optional>
#include <vector>

#include "yox/base/WString.h"

namespace yox::platform {

// A compute accelerator (NPU). A text that cannot be read is absent, which is not the same as
// empty.
struct Accelerator {
  std::optional<WString> manufacturer;
  std::optional<WString> description;

  friend bool operator==(const Accelerator&, const Accelerator&) = default;
};

// The compute accelerators of the device.
class Accelerators {
 public:
  virtual ~Accelerators() = default;

  // Returns the present accelerators in the system's order; std::nullopt if they cannot be read.
  // Safe from any thread.
  virtual std::optional<std::vector<Accelerator>> Enumerate() = 0;
};

}  // namespace yox::platform
