#include "yox/clientbase/DeveloperSettings.h"

#include "yox/clientbase/platform/RegistryReads.h"

namespace YOX {

DeveloperSettings& DeveloperSettings::GetInstance() {
  static DeveloperSettings settings;
  return settings;
}

WString DeveloperSettings::OverrideDeviceModel() const {
  return platform::ReadMachineText("SOFTWARE\\Tervan\\YOX\\Developer"_wv, "DeviceModel"_wv)
      .value_or(WString());
}

}  // namespace YOX
