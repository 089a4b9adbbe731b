#include "yox/clientbase/ProcessWrap.h"

#include "yox/platform/Platform.h"
#include "yox/platform/users/Users.h"

namespace YOX {

bool ProcessWrap::IsSystemProcess() { return platform::Platform::Get().users().IsSystemProcess(); }

}  // namespace YOX
