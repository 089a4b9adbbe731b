#pragma once

#include "yox/base/Export.h"

class YOX_API ZeroDayUtil {
 public:
  ZeroDayUtil() = delete;

  // Whether the user lets anonymous data be collected; asked afresh at every call. Safe from any
  // thread. `reserved` is 0.
  static bool IsAnonymousMetricsEnabled(int reserved);
};
