#include "yox/platform/devices/linux/LinuxDisplayAdapters.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <set>
#include <string>
#include <system_error>

#include "yox/base/String.h"
#include "yox/platform/devices/linux/PciNames.h"
#include "yox/platform/devices/linux/SysfsClass.h"
#include "yox/platform/files/linux/RootFiles.h"
#include "yox/platform/system/linux/Lines.h"

namespace yox::platform {
namespace {

constexpr std::string_view kSoftwareDrivers[] = {"vkms", "vgem", "simpledrm", "simple-framebuffer",
                                                 "ofdrm"};

// The size of the largest prefetchable memory window. Each line of the file is one window: its
// first and last address and its flags (linux/ioport.h).
std::uint64_t LargestWindow(std::string_view resources) {
  constexpr std::uint64_t kMemory = 0x200;
  constexpr std::uint64_t kPrefetchable = 0x2000;
  std::uint64_t largest = 0;
  while (!resources.empty()) {
    const std::string line(TakeLine(resources));
    std::uint64_t first = 0, last = 0, flags = 0;
    if (std::sscanf(line.c_str(), "%" SCNx64 " %" SCNx64 " %" SCNx64, &first, &last, &flags) == 3 &&
        last > first && (flags & kMemory) != 0 && (flags & kPrefetchable) != 0) {
      largest = std::max(largest, last - first + 1);
    }
  }
  return largest;
}

std::uint64_t MachineMemory(const std::filesystem::path& root) {
  const std::string text = ReadRootFile(root / "proc/meminfo").value_or("");
  std::uint64_t kilobytes = 0;
  return std::sscanf(text.c_str(), "MemTotal: %" SCNu64, &kilobytes) == 1 ? kilobytes * 1024 : 0;
}

// A controller of a card, or one on its own, from its folder in sysfs. The description is empty for
// one that is no device, such as a card that is only kept for its outputs.
DisplayAdapter Describe(const std::filesystem::path& root, const std::filesystem::path& device) {
  const std::string driver = RootLinkName(device / "driver");
  const PciName name = NameOfPciDevice(root, device);
  std::string description = name.vendor.empty() ? name.device : name.vendor + " " + name.device;
  if (name.device.empty()) description = driver;  // on a system on a chip
  DisplayAdapter adapter;
  adapter.description = String::UTF8ToUTF16(description);
  adapter.software = std::ranges::find(kSoftwareDrivers, driver) != std::end(kSoftwareDrivers);
  if (adapter.software) return adapter;
  adapter.dedicated_video_memory = ReadRootNumber(device / "mem_info_vram_total");
  if (adapter.dedicated_video_memory == 0) {
    adapter.dedicated_video_memory = LargestWindow(ReadRootFile(device / "resource").value_or(""));
  }
  adapter.shared_system_memory = MachineMemory(root) / 2;
  return adapter;
}

// The display controllers without a card: those that a driver without DRM has, or none.
// std::nullopt without a PCI bus.
std::optional<std::set<std::filesystem::path>> ControllersWithoutCard(
    const std::filesystem::path& root) {
  constexpr std::uint64_t kDisplayController = 0x03;  // PCI's base class
  std::error_code error;
  std::filesystem::directory_iterator entry(root / "sys/bus/pci/devices", error);
  if (error) return std::nullopt;
  std::set<std::filesystem::path> controllers;
  for (const std::filesystem::directory_iterator end; !error && entry != end;
       entry.increment(error)) {
    const std::filesystem::path device = entry->path();
    if (ReadRootNumber(device / "class") >> 16 != kDisplayController) continue;
    const auto cards = SysfsClass(device / "drm", "card");
    if (!cards || cards->empty()) controllers.insert(device);
  }
  return controllers;
}

}  // namespace

std::optional<std::vector<DisplayAdapter>> LinuxDisplayAdapters::Enumerate() {
  const auto cards = SysfsClass(root_ / "sys/class/drm", "card");
  const auto controllers = ControllersWithoutCard(root_);
  if (!cards && !controllers) return std::nullopt;
  std::vector<DisplayAdapter> adapters;
  const auto add = [&](const std::filesystem::path& device) {
    DisplayAdapter adapter = Describe(root_, device);
    if (!adapter.description.empty()) adapters.push_back(std::move(adapter));
  };
  if (cards) {
    for (const std::filesystem::path& card : *cards) add(card / "device");
  }
  if (controllers) std::ranges::for_each(*controllers, add);
  return adapters;
}

}  // namespace yox::platform
