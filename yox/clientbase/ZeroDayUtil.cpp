#include "yox/clientbase/ZeroDayUtil.h"

#include "yox/clientbase/platform/Platform.h"

bool ZeroDayUtil::IsAnonymousMetricsEnabled(int /*reserved*/) {
  return YOX::platform::Platform::Get().client().AnonymousMetrics();
}
