#include "yox/clientbase/ProcessWrap.h"

#include "yox/clientbase/platform/Platform.h"

namespace YOX {

bool ProcessWrap::IsSystemProcess() { return platform::Platform::Get().users().IsSystemProcess(); }

}  // namespace YOX
