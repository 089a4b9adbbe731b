#include "yox/platform/clock/windows/WindowsClock.h"

#include <time.h>
#include <windows.h>

#include "yox/base/TimeZone.h"
#include "yox/platform/clock/CalendarCache.h"

namespace yox::platform {
namespace {

// The runtime's conversions reach from 1970 to 3000. The calendar with its weekdays, and with them
// a time zone's rule, repeats every 400 years: any other moment is converted as the one in 1970 to
// 2369 that corresponds to it.
constexpr int kYearsPerCycle = 400;
constexpr std::int64_t kSecondsPerCycle = std::int64_t{146'097} * 86'400;

constexpr std::int64_t CycleOf(std::int64_t number, std::int64_t size) {
  return number / size - (number % size < 0);
}

LocalMoment Convert(std::int64_t moment) {
  const std::int64_t cycle = CycleOf(moment, kSecondsPerCycle);
  const std::int64_t within = moment - cycle * kSecondsPerCycle;
  _tzset();  // reads a changed zone
  tm fields{};
  _localtime64_s(&fields, &within);
  LocalDate date{fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday};
  const std::int64_t as_utc =
      TimeZone().ToMoment(date, (fields.tm_hour * 60 + fields.tm_min) * 60 + fields.tm_sec);
  date.year += static_cast<int>(cycle * kYearsPerCycle);
  return {date, static_cast<std::int32_t>(as_utc - within)};
}

}  // namespace

std::int64_t WindowsClock::Now() const { return _time64(nullptr); }

LocalDate WindowsClock::ToLocalDate(std::int64_t moment) const {
  return CachedLocalMoment(Now(), moment, Convert).date;
}

std::int32_t WindowsClock::UtcOffset(std::int64_t moment) const {
  return CachedLocalMoment(Now(), moment, Convert).utc_offset;
}

std::optional<std::int64_t> WindowsClock::StartOfLocalDay(int year, int month, int day) const {
  // In UTC, where months and days out of range are carried over and what mktime refuses is refused.
  const TimeZone universal;
  const std::optional<std::int64_t> there = universal.StartOfLocalDay(year, month, day);
  if (!there || *there < 0) return there;
  return CachedStartOfDay(Now(), year, month, day, [&](int, int, int) -> std::int64_t {
    const LocalDate date = universal.ToLocalDate(*there);
    const std::int64_t cycle = CycleOf(date.year - 1970, kYearsPerCycle);
    _tzset();
    tm fields{};
    fields.tm_year = date.year - static_cast<int>(cycle * kYearsPerCycle) - 1900;
    fields.tm_mon = date.month - 1;
    fields.tm_mday = date.day;
    fields.tm_isdst = -1;
    const std::int64_t start = _mktime64(&fields);
    return start < 0 ? -1 : start + cycle * kSecondsPerCycle;
  });
}

std::int64_t WindowsClock::SteadyMilliseconds() const { return SteadyNanoseconds() / 1'000'000; }

std::int64_t WindowsClock::SteadyNanoseconds() const {
  // Counts from the start of the system and goes on while the device sleeps.
  LARGE_INTEGER count{}, frequency{};
  QueryPerformanceCounter(&count);
  QueryPerformanceFrequency(&frequency);
  constexpr std::int64_t kNanoseconds = 1'000'000'000;
  // In two steps: the product of both would overflow within a quarter of an hour.
  const std::int64_t seconds = count.QuadPart / frequency.QuadPart;
  const std::int64_t rest = count.QuadPart % frequency.QuadPart;
  return seconds * kNanoseconds + rest * kNanoseconds / frequency.QuadPart;
}

std::int64_t WindowsClock::Tick() const { return static_cast<std::int64_t>(GetTickCount64()); }

}  // namespace yox::platform
