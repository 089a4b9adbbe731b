#pragma once

#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/platform/system/ManagementQueries.h"

namespace YOX {

// Queries of the operating system's management interface (WMI). Safe from any thread.
class YOX_API WmiUtility {
 public:
  WmiUtility() = delete;

  // Runs a WQL query and appends `property` of each object that it selects to `values`; an object
  // whose property cannot be read is left out. Returns false if the query fails. May take seconds.
  static bool ExecQuery(const WString& name_space, const WString& query, const WString& property,
                        std::vector<platform::ManagementValue>& values);
};

}  // namespace YOX
