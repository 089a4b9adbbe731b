#pragma once

#include <vector>

#include "yox/base/WString.h"
#include "yox/platform/system/OperatingSystem.h"

namespace yox::device {

// Whether an update counts as one of Windows itself: by the last of its categories' names, or
// because it has no category at all. Pure.
bool IsWindowsUpdate(const yox::platform::OperatingSystemUpdate& update);

// Title and description of the newest successful update of Windows; what there is none of stays as
// it was. Asks nothing of an update service that is disabled.
void ReadNewestUpdate(yox::platform::OperatingSystem& system, yox::WString& title,
                      yox::WString& description);

}  // namespace yox::device
