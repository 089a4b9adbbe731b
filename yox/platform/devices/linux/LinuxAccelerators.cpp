#include "yox/platform/devices/linux/LinuxAccelerators.h"

#include <string>

#include "yox/base/String.h"
#include "yox/platform/devices/linux/PciNames.h"
#include "yox/platform/devices/linux/SysfsClass.h"
#include "yox/platform/files/linux/RootFiles.h"

namespace yox::platform {
namespace {

std::optional<WString> IfAny(const std::string& text) {
  if (text.empty()) return std::nullopt;
  return String::UTF8ToUTF16(text);
}

}  // namespace

std::optional<std::vector<Accelerator>> LinuxAccelerators::Enumerate() {
  std::vector<Accelerator> accelerators;
  for (const auto& entry : SysfsClass(root_ / "sys/class/accel", "accel")
                               .value_or(std::vector<std::filesystem::path>())) {
    const std::filesystem::path device = entry / "device";
    const PciName name = NameOfPciDevice(root_, device);
    accelerators.push_back(
        {IfAny(name.vendor),
         IfAny(name.device.empty() ? RootLinkName(device / "driver") : name.device)});
  }
  return accelerators;
}

}  // namespace yox::platform
