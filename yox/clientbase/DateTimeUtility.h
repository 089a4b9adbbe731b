#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace YOX {

// The day on which the device was first used. Read from the system at every call. Both functions
// return an empty text if the system does not know it. May be called from any thread.
//
// `dateFlag` has no effect: it asks for the 64-bit view of the registry, which is always read.
class YOX_API DateTimeUtility {
 public:
  DateTimeUtility() = delete;

  // The day in the device's time zone: "2025-01-10".
  static WString GetFirstRunDate(bool dateFlag);
  // The number of calendar days from that day to today, in decimal: "17". "0" for a day in the
  // future.
  static WString GetDaysSinceOobe(bool dateFlag);
};

}  // namespace YOX
