#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace yox::platform {

struct PciName {
  std::string vendor;
  std::string device;
};

// The names in the text of a pci.ids file; empty if it has none. Pure.
PciName FindPciName(std::string_view ids, std::uint32_t vendor, std::uint32_t device);

// The names in systemd's hardware database, which every system with udev has; empty if it has none,
// or is missing. Safe from any thread.
PciName FindPciNameInHardwareDatabase(std::uint32_t vendor, std::uint32_t device);

// The names of the device that a sysfs folder describes by its files "vendor" and "device", from a
// pci.ids file below the root, else for this machine's own root from the hardware database. Where
// neither has it, the vendor is one of a few known ones, and the device is called by its numbers,
// "8086:7d55". Both are empty for a folder without such files.
PciName NameOfPciDevice(const std::filesystem::path& root, const std::filesystem::path& folder);

}  // namespace yox::platform
