#include "yox/clientbase/ZeroDayUtil.h"

#include "yox/platform/Platform.h"
#include "yox/platform/system/Client.h"

bool ZeroDayUtil::IsAnonymousMetricsEnabled(int /*reserved*/) {
  return yox::platform::Platform::Get().client().AnonymousMetrics();
}
