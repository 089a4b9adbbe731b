#pragma once

#include <vector>

#include "yox/base/WString.h"
#include "yox/platform/system/OperatingSystem.h"

namespace yox::device {

// Whether an update is one of Windows itself: the last of its categories' names contains "Windows
// ", or is empty, or it has no category at all. Required to be decided by the last category. Pure.
bool IsWindowsUpdate(const yox::platform::OperatingSystemUpdate& update);

// Sets title and description to those of the newest successful update of Windows; leaves both as
// they were if there is none or its title cannot be read. Does not query an update service that is
// disabled.
void ReadNewestUpdate(yox::platform::OperatingSystem& system, yox::WString& title,
                      yox::WString& description);

}  // namespace yox::device
