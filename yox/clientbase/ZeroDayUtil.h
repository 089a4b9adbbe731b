#pragma once

#include "yox/base/Export.h"

class YOX_API ZeroDayUtil {
 public:
  ZeroDayUtil() = delete;

  // Whether the user allows anonymous data to be collected. Read from the registry at every call.
  // `reserved` is 0. May be called from any thread.
  static bool IsAnonymousMetricsEnabled(int reserved);
};
