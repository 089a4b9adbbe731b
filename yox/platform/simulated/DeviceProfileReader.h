#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "yox/base/Document.h"
#include "yox/base/Export.h"
#include "yox/platform/simulated/DeviceProfile.h"

namespace yox::platform {

// Reads a device profile, a JSON object in UTF-8 (docs/device-profile.md). Throws DocumentError
// with the path of what is wrong: JSON syntax, an unknown key, a value of the wrong type or out of
// range, malformed base64, hexadecimal digits, dates, time zones or registry paths.
YOX_API DeviceProfile ReadDeviceProfile(std::string_view utf8);

// Returns the document of a profile, in UTF-8 and indented, without the values that a
// default-constructed profile has. ReadDeviceProfile refuses it if it is longer than
// kMaxDocumentSize.
YOX_API std::string WriteDeviceProfile(const DeviceProfile& profile);

// Returns the paths of all keys that a profile may have, such as "os.updates[*].title".
std::vector<std::string> DeviceProfilePaths();

}  // namespace yox::platform
