#pragma once

#include "yox/base/Export.h"

// The choices about privacy that the user made when the device was set up.
class YOX_API ZeroDayUtil {
 public:
  ZeroDayUtil() = delete;

  // Returns whether the user allows anonymous data to be collected. Read from the registry at every
  // call. `reserved` must be 0. Safe from any thread.
  static bool IsAnonymousMetricsEnabled(int reserved);
};
