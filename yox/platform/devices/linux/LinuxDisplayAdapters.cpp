#include "yox/platform/devices/linux/LinuxDisplayAdapters.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <sstream>
#include <string>

#include "yox/base/String.h"
#include "yox/platform/devices/linux/PciNames.h"
#include "yox/platform/devices/linux/SysfsClass.h"
#include "yox/platform/files/linux/RootFiles.h"

namespace yox::platform {
namespace {

constexpr std::string_view kSoftwareDrivers[] = {"vkms", "vgem", "simpledrm", "simple-framebuffer",
                                                 "ofdrm"};

// The size of the largest prefetchable memory window; each line of the file is one window: its
// first and last address and its flags.
std::uint64_t LargestWindow(const std::string& resources) {
  constexpr std::uint64_t kMemory = 0x200;
  constexpr std::uint64_t kPrefetchable = 0x2000;
  std::uint64_t largest = 0;
  std::istringstream lines(resources);
  for (std::string line; std::getline(lines, line);) {
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

std::string Description(const std::filesystem::path& root, const std::filesystem::path& device,
                        const std::string& driver) {
  const PciName name = NameOfPciDevice(root, device);
  if (name.device.empty()) return driver;  // of a system on a chip
  return name.vendor.empty() ? name.device : name.vendor + " " + name.device;
}

}  // namespace

std::optional<std::vector<DisplayAdapter>> LinuxDisplayAdapters::Enumerate() {
  const auto cards = SysfsClass(root_ / "sys/class/drm", "card");
  if (!cards) return std::nullopt;
  std::vector<DisplayAdapter> adapters;
  for (const std::filesystem::path& card : *cards) {
    const std::filesystem::path device = card / "device";
    const std::string driver = RootLinkName(device / "driver");
    DisplayAdapter adapter;
    adapter.description = String::UTF8ToUTF16(Description(root_, device, driver));
    adapter.software = std::ranges::find(kSoftwareDrivers, driver) != std::end(kSoftwareDrivers);
    if (adapter.description.empty()) continue;
    if (!adapter.software) {
      adapter.dedicated_video_memory = ReadRootNumber(device / "mem_info_vram_total");
      if (adapter.dedicated_video_memory == 0) {
        adapter.dedicated_video_memory =
            LargestWindow(ReadRootFile(device / "resource").value_or(""));
      }
      adapter.shared_system_memory = MachineMemory(root_) / 2;
    }
    adapters.push_back(std::move(adapter));
  }
  return adapters;
}

}  // namespace yox::platform
