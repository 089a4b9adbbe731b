#pragma once

#include <unordered_map>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/platform/apps/Applications.h"

namespace YOX::utility {

// Name, publisher and version, in this order.
using AppInfo = platform::InstalledApplication;
using AppMap = std::unordered_map<WString, AppInfo>;

// Adds the applications of one source to the map: those of the machine or of the logged-on user;
// with `view32`, those that 32-bit installers have installed for the machine. Entries whose key the
// map already has are not changed. Returns false if there is no such source. Safe from any thread.
YOX_API bool GetInstalledApps(AppMap& apps, bool machine, bool view32);

}  // namespace YOX::utility
