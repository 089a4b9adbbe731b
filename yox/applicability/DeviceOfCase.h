#pragma once

#include <string_view>

#include "yox/base/Export.h"
#include "yox/decision/ListTest.h"
#include "yox/platform/simulated/DeviceProfile.h"

namespace yox::applicability {

// Returns the simulated device of a case of a list's tests: the profile with the case's changes and
// time. `profile` is the text of the profile's file, UTF-8, or "{}". Throws yox::DocumentError,
// which names the key of the case that is wrong.
YOX_API yox::platform::DeviceProfile DeviceOfCase(const decision::ListTestCase& test,
                                                  std::string_view profile);

}  // namespace yox::applicability
