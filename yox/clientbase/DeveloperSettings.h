#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace YOX {

// What a developer sets on a device of his own, in the registry under
// HKEY_LOCAL_MACHINE\SOFTWARE\Tervan\YOX\Developer. Nothing is set on a device in use. Read afresh
// at every call; safe from any thread.
class YOX_API DeveloperSettings {
 public:
  static DeveloperSettings& GetInstance();

  // The text value "DeviceModel": a machine type and model to present instead of the device's own.
  // Empty when it is not set.
  WString OverrideDeviceModel() const;

 private:
  DeveloperSettings() = default;
};

}  // namespace YOX
