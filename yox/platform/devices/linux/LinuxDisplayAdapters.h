#pragma once

#include <filesystem>

#include "yox/platform/devices/DisplayAdapters.h"

namespace yox::platform {

// The cards of the kernel's graphics class (DRM) by ascending number, then the display controllers
// of the PCI bus for which no driver provides a card, by their places. Dedicated memory is what the
// driver reports, else the size of the largest prefetchable memory window; shared memory is half of
// the machine's, as on Windows. A card whose driver draws with the processor is software and has
// neither. Safe from any thread.
class LinuxDisplayAdapters final : public DisplayAdapters {
 public:
  explicit LinuxDisplayAdapters(std::filesystem::path root = "/") : root_(std::move(root)) {}

  std::optional<std::vector<DisplayAdapter>> Enumerate() override;

 private:
  const std::filesystem::path root_;
};

}  // namespace yox::platform
