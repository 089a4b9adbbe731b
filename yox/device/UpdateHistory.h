#pragma once

#include <vector>

#include "yox/clientbase/WString.h"
#include "yox/clientbase/platform/OperatingSystem.h"

namespace yox_device {

// Whether an update counts as one of Windows itself: by the last of its categories' names, or
// because it has no category at all. Pure.
bool IsWindowsUpdate(const YOX::platform::OperatingSystemUpdate& update);

// Title and description of the newest successful update of Windows; what there is none of stays as
// it was. Asks nothing of an update service that is disabled.
void ReadNewestUpdate(YOX::platform::OperatingSystem& system, YOX::WString& title,
                      YOX::WString& description);

}  // namespace yox_device
