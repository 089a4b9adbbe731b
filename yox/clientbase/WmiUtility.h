#pragma once

#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/platform/system/ManagementQueries.h"

namespace YOX {

// Safe from any thread.
class YOX_API WmiUtility {
 public:
  WmiUtility() = delete;

  // Appends the property of every object that the query selects; one that cannot be read is passed
  // over. False when the query could not be asked.
  static bool ExecQuery(const WString& name_space, const WString& query, const WString& property,
                        std::vector<platform::ManagementValue>& values);
};

}  // namespace YOX
