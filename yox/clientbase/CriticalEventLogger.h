#pragma once

#include "yox/base/Export.h"

// Records a serious failure as a pair of numbers that the product's support knows. Each call writes
// a line such as "critical event 1001, 86" to a log of its own, "CriticalEvents.log", at error
// level. Safe from any thread.
class YOX_API CriticalEventLogger {
 public:
  CriticalEventLogger() = delete;

  // Writes the line "critical event EVENT, DETAIL", both in decimal. Throws nothing.
  static void Log(int event, int detail);
};
