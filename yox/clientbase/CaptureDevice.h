#pragma once

#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/platform/Platform.h"
#include "yox/platform/simulated/DeviceProfile.h"

namespace yox::platform {

// Writes a device down as the profile that reproduces it: with its clock, so that dates are decided
// as at the moment of the capture, and of its registry the given keys of HKEY_LOCAL_MACHINE and all
// below them. The client's section stays as in a fresh profile: the platform knows nothing of it.
// A registry value of a type that profiles do not know is left out. May take seconds.
YOX_API DeviceProfile CaptureDevice(Platform& device, const std::vector<WString>& registry_keys);

}  // namespace yox::platform
