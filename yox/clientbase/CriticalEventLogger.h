#pragma once

#include "yox/base/Export.h"

// Records what went badly wrong, as a pair of numbers that support knows, in a log of its own:
// "CriticalEvents.log", the line "critical event 1001, 86". Safe from any thread.
class YOX_API CriticalEventLogger {
 public:
  CriticalEventLogger() = delete;

  static void Log(int event, int detail);
};
