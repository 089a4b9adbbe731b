#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "yox/base/WString.h"

namespace yox::platform {

struct DisplayAdapter {
  WString description;
  bool software = false;                     // drawn by the processor
  std::uint64_t dedicated_video_memory = 0;  // bytes, as the two others
  std::uint64_t dedicated_system_memory = 0;
  std::uint64_t shared_system_memory = 0;

  friend bool operator==(const DisplayAdapter&, const DisplayAdapter&) = default;
};

class DisplayAdapters {
 public:
  virtual ~DisplayAdapters() = default;

  // In the system's order, without those that cannot be described; nothing when the system cannot
  // be asked. Safe from any thread.
  virtual std::optional<std::vector<DisplayAdapter>> Enumerate() = 0;
};

}  // namespace yox::platform
