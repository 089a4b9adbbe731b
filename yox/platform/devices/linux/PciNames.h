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

// The names of a vendor and its device in the text of a pci.ids file; empty where it has none.
// Pure.
PciName FindPciName(std::string_view ids, std::uint32_t vendor, std::uint32_t device);

// The names of the device that a sysfs folder describes by its files "vendor" and "device". Without
// a pci.ids file below the root, the vendor is one of the few that make such devices and the device
// is called by its numbers, "8086:7d55".
PciName NameOfPciDevice(const std::filesystem::path& root, const std::filesystem::path& folder);

}  // namespace yox::platform
