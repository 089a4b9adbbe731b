#include "yox/platform/devices/linux/PciNames.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <optional>

#include "yox/platform/devices/linux/UdevDevice.h"
#include "yox/platform/files/linux/RootFiles.h"
#include "yox/platform/system/linux/Lines.h"

namespace yox::platform {
namespace {

struct Vendor {
  std::uint32_t number;
  const char* name;
};
constexpr Vendor kVendors[] = {
    {0x8086, "Intel"},    {0x10DE, "NVIDIA"},  {0x1002, "AMD"},  {0x1022, "AMD"},
    {0x17CB, "Qualcomm"}, {0x1AF4, "Red Hat"}, {0x1234, "QEMU"}, {0x15AD, "VMware"},
};

constexpr const char* kFiles[] = {"usr/share/hwdata/pci.ids", "usr/share/misc/pci.ids"};

std::optional<std::uint32_t> HexNumber(std::string_view text) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// The name after "7d55  " if the line is of that number; else empty.
std::string NameOf(std::string_view line, std::uint32_t number) {
  constexpr std::size_t kDigits = 4;
  if (line.size() <= kDigits || HexNumber(line.substr(0, kDigits)) != number) return {};
  const std::size_t name = line.find_first_not_of(' ', kDigits);
  return name == std::string_view::npos ? std::string() : std::string(line.substr(name));
}

}  // namespace

PciName FindPciName(std::string_view ids, std::uint32_t vendor, std::uint32_t device) {
  PciName name;
  while (!ids.empty()) {
    const std::string_view line = TakeLine(ids);
    if (line.empty() || line[0] == '#') continue;
    if (line[0] != '\t') {
      if (!name.vendor.empty()) break;  // the next vendor's
      name.vendor = NameOf(line, vendor);
    } else if (!name.vendor.empty() && name.device.empty() && !line.starts_with("\t\t")) {
      name.device = NameOf(line.substr(1), device);
    }
  }
  return name;
}

PciName FindPciNameInHardwareDatabase(std::uint32_t vendor, std::uint32_t device) {
  PciName name;
  const UdevRef<udev> context(udev_new());
  if (context == nullptr) return name;
  const UdevRef<udev_hwdb> database(udev_hwdb_new(context.get()));
  if (database == nullptr) return name;
  // The database is queried as udev does, with the beginning of a device's MODALIAS.
  char modalias[32];
  std::snprintf(modalias, sizeof modalias, "pci:v%08Xd%08X", vendor, device);
  udev_list_entry* entry = nullptr;
  udev_list_entry_foreach(entry, udev_hwdb_get_properties_list_entry(database.get(), modalias, 0)) {
    const std::string_view key = udev_list_entry_get_name(entry);
    const char* const value = udev_list_entry_get_value(entry);
    if (value == nullptr) continue;
    if (key == "ID_VENDOR_FROM_DATABASE") name.vendor = value;
    if (key == "ID_MODEL_FROM_DATABASE") name.device = value;
  }
  return name;
}

PciName NameOfPciDevice(const std::filesystem::path& root, const std::filesystem::path& folder) {
  const auto vendor = static_cast<std::uint32_t>(ReadRootNumber(folder / "vendor"));
  const auto device = static_cast<std::uint32_t>(ReadRootNumber(folder / "device"));
  if (vendor == 0) return {};
  constexpr std::size_t kLargest = std::size_t{8} << 20;
  PciName name;
  for (const char* const file : kFiles) {
    if (const auto ids = ReadRootFile(root / file, kLargest)) {
      name = FindPciName(*ids, vendor, device);
      break;
    }
  }
  if (name.device.empty() && root == "/") {
    PciName found = FindPciNameInHardwareDatabase(vendor, device);
    if (!found.vendor.empty()) name = std::move(found);
  }
  if (name.vendor.empty()) {
    const auto known = std::ranges::find(kVendors, vendor, &Vendor::number);
    if (known != std::end(kVendors)) name.vendor = known->name;
  }
  if (name.device.empty()) {
    char numbers[24];
    std::snprintf(numbers, sizeof numbers, "%04x:%04x", vendor, device);
    name.device = numbers;
  }
  return name;
}

}  // namespace yox::platform
