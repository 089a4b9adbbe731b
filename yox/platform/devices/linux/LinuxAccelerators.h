#pragma once

#include <filesystem>

#include "yox/platform/devices/Accelerators.h"

namespace yox::platform {

// The devices of the kernel's compute accelerator class, in ascending number, with their PCI names.
// A kernel without the class has no accelerators.
class LinuxAccelerators final : public Accelerators {
 public:
  explicit LinuxAccelerators(std::filesystem::path root = "/") : root_(std::move(root)) {}

  std::optional<std::vector<Accelerator>> Enumerate() override;

 private:
  const std::filesystem::path root_;
};

}  // namespace yox::platform
