#include "yox/clientbase/DateTimeUtility.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>

#include "yox/base/String.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/system/OperatingSystem.h"

namespace YOX {
namespace {

using platform::LocalDate;

std::chrono::sys_days Day(const LocalDate& date) {
  using namespace std::chrono;
  return year_month_day(year(date.year), month(static_cast<unsigned>(date.month)),
                        day(static_cast<unsigned>(date.day)));
}

}  // namespace

WString DateTimeUtility::GetFirstRunDate(bool /*dateFlag*/) {
  const auto date = platform::Platform::Get().operating_system().FirstRunDate();
  if (!date) return {};
  char text[40];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d", date->year, date->month, date->day);
  return String::UTF8ToUTF16(text);
}

WString DateTimeUtility::GetDaysSinceOobe(bool /*dateFlag*/) {
  platform::Platform& device = platform::Platform::Get();
  const auto date = device.operating_system().FirstRunDate();
  if (!date) return {};
  const LocalDate today = device.clock().ToLocalDate(device.clock().Now());
  const auto days = (Day(today) - Day(*date)).count();
  return String::UTF8ToUTF16(std::to_string(std::max<decltype(days)>(days, 0)));
}

}  // namespace YOX
