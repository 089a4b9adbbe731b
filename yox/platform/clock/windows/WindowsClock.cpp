#include "yox/platform/clock/windows/WindowsClock.h"

#include <time.h>
#include <windows.h>

#include <limits>

#include "yox/platform/clock/CalendarCache.h"

namespace yox::platform {

std::int64_t WindowsClock::Now() const { return _time64(nullptr); }

LocalDate WindowsClock::ToLocalDate(std::int64_t moment) const {
  return CachedLocalDate(moment, [](std::int64_t seconds) {
    tm fields{};
    _localtime64_s(&fields, &seconds);
    return LocalDate{fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday};
  });
}

std::optional<std::int64_t> WindowsClock::StartOfLocalDay(int year, int month, int day) const {
  constexpr int kLowest = std::numeric_limits<int>::min();
  if (year < kLowest + 1900 || month == kLowest) return std::nullopt;
  // The runtime refuses days behind the year 3000; a start as far away is as good as any in the
  // future.
  constexpr std::int64_t kFarFuture = 32'535'215'999;
  if (year > 3000) return kFarFuture;
  return CachedStartOfDay(Now(), year, month, day, [](int y, int m, int d) -> std::int64_t {
    tm fields{};
    fields.tm_year = y - 1900;
    fields.tm_mon = m - 1;
    fields.tm_mday = d;
    fields.tm_isdst = -1;
    return _mktime64(&fields);
  });
}

std::int64_t WindowsClock::SteadyMilliseconds() const { return SteadyNanoseconds() / 1'000'000; }

std::int64_t WindowsClock::SteadyNanoseconds() const {
  ULONGLONG ticks = 0;
  QueryUnbiasedInterruptTime(&ticks);
  return static_cast<std::int64_t>(ticks) * 100;
}

std::int64_t WindowsClock::UptimeSeconds() const {
  return static_cast<std::int64_t>(GetTickCount64() / 1000);
}

}  // namespace yox::platform
