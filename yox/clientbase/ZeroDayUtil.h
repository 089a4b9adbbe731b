#pragma once

#include "yox/base/Export.h"

class YOX_API ZeroDayUtil {
 public:
  ZeroDayUtil() = delete;

  // Returns whether the user allows anonymous data to be collected. Read from the registry at every
  // call. `reserved` must be 0. Safe from any thread.
  static bool IsAnonymousMetricsEnabled(int reserved);
};
