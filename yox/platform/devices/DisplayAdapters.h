#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "yox/base/WString.h"

namespace yox::platform {

// A graphics processor, or a driver that draws by software.
struct DisplayAdapter {
  WString description;
  bool software = false;                     // drawn by the processor
  std::uint64_t dedicated_video_memory = 0;  // bytes, as the two others
  std::uint64_t dedicated_system_memory = 0;
  std::uint64_t shared_system_memory = 0;

  friend bool operator==(const DisplayAdapter&, const DisplayAdapter&) = default;
};

// The graphics hardware of the device.
class DisplayAdapters {
 public:
  virtual ~DisplayAdapters() = default;

  // Returns the display adapters in the system's order, without those that cannot be described;
  // std::nullopt if they cannot be read. Safe from any thread.
  virtual std::optional<std::vector<DisplayAdapter>> Enumerate() = 0;
};

}  // namespace yox::platform
