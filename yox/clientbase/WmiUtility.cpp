#include "yox/clientbase/WmiUtility.h"

#include "yox/platform/Platform.h"
#include "yox/platform/system/ManagementQueries.h"

namespace YOX {

bool WmiUtility::ExecQuery(const WString& name_space, const WString& query, const WString& property,
                           std::vector<platform::ManagementValue>& values) {
  platform::ManagementAnswer answer =
      platform::Platform::Get().management_queries().Ask(name_space, query, property);
  for (platform::ManagementRow& row : answer.rows) {
    if (row.error == 0) values.push_back(std::move(row.value));
  }
  return answer.failed == platform::ManagementAnswer::Step::kNone;
}

}  // namespace YOX
