#include "yox/clientbase/DeveloperSettings.h"

#include "yox/clientbase/CRegUtil.h"

namespace YOX {

DeveloperSettings& DeveloperSettings::GetInstance() {
  static DeveloperSettings settings;
  return settings;
}

WString DeveloperSettings::OverrideDeviceModel() const {
  WString model;
  CRegUtil::GetRegValueOfStringTypeIn64BitView(
      HKEY_LOCAL_MACHINE, "SOFTWARE\\Tervan\\YOX\\Developer"_w, "DeviceModel"_w, model);
  return model;
}

}  // namespace YOX
