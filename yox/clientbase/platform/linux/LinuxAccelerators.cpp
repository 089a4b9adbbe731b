#include "yox/clientbase/platform/linux/LinuxAccelerators.h"

#include <string>

#include "yox/clientbase/String.h"
#include "yox/clientbase/platform/linux/PciNames.h"
#include "yox/clientbase/platform/linux/RootFiles.h"
#include "yox/clientbase/platform/linux/SysfsClass.h"

namespace YOX::platform {
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

}  // namespace YOX::platform
