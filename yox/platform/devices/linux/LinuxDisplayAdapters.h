#pragma once

#include <filesystem>

#include "yox/platform/devices/DisplayAdapters.h"

namespace yox::platform {

// The cards of the kernel's graphics class, in ascending number. Dedicated memory is what the
// driver tells, else the card's prefetchable memory window; shared memory is half of the machine's,
// as on Windows. A card behind a driver that draws with the processor is software and has none.
class LinuxDisplayAdapters final : public DisplayAdapters {
 public:
  explicit LinuxDisplayAdapters(std::filesystem::path root = "/") : root_(std::move(root)) {}

  std::optional<std::vector<DisplayAdapter>> Enumerate() override;

 private:
  const std::filesystem::path root_;
};

}  // namespace yox::platform
