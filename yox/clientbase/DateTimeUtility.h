#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace YOX {

// When the device was first put to use. Asked afresh at every call; safe from any thread. Both
// answers are empty where the system cannot tell.
//
// `dateFlag` asks that the 64-bit view of the registry be read, as a program for another processor
// has to on ARM64. It is always read, and outside Windows there is no other: the flag changes
// nothing.
class YOX_API DateTimeUtility {
 public:
  DateTimeUtility() = delete;

  // The day in the device's time zone, "2025-01-10".
  static WString GetFirstRunDate(bool dateFlag);
  // The days of the calendar from that day to today as a decimal number; "0" for a day to come.
  static WString GetDaysSinceOobe(bool dateFlag);
};

}  // namespace YOX
