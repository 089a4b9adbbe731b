#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "yox/base/Document.h"
#include "yox/base/Export.h"
#include "yox/platform/simulated/DeviceProfile.h"

namespace yox::platform {

// Reads a device profile, a JSON object in UTF-8 (docs/device-profile.md). Throws DocumentError,
// with the path, for everything that is not as the format has it: an unknown key, a value of a
// wrong type or out of its range, malformed base64, hexadecimal digits, dates, time zones and
// registry paths.
YOX_API DeviceProfile ReadDeviceProfile(std::string_view utf8);

// The document of a profile, without what is as in a fresh one.
YOX_API std::string WriteDeviceProfile(const DeviceProfile& profile);

// The paths of all keys that a profile may hold, such as "os.updates[*].title".
std::vector<std::string> DeviceProfilePaths();

}  // namespace yox::platform
