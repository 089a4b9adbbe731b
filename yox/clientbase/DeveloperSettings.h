#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace YOX {

// Settings for developers, in the registry under HKEY_LOCAL_MACHINE\SOFTWARE\Tervan\YOX\Developer.
// Other devices have none. Read at every call. Safe from any thread.
class YOX_API DeveloperSettings {
 public:
  static DeveloperSettings& GetInstance();

  // Returns the string value "DeviceModel": a machine type and model to present instead of the
  // device's own. Empty if it is not set.
  WString OverrideDeviceModel() const;

 private:
  DeveloperSettings() = default;
};

}  // namespace YOX
