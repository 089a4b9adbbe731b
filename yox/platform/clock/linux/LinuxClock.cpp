#include "yox/platform/clock/linux/LinuxClock.h"

#include <time.h>

#include <algorithm>
#include <limits>
#include <mutex>

#include "yox/platform/clock/CalendarCache.h"

namespace yox::platform {
namespace {

std::int64_t Seconds(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return time.tv_sec;
}

// The C library guards its zone with a lock that ThreadSanitizer does not see.
constinit std::mutex g_zone_mutex;

}  // namespace

std::int64_t LinuxClock::Now() const { return time(nullptr); }

LocalDate LinuxClock::ToLocalDate(std::int64_t moment) const {
  return CachedLocalDate(moment, [](std::int64_t seconds) {
    tm fields{};
    const std::lock_guard lock(g_zone_mutex);
    localtime_r(&seconds, &fields);
    return LocalDate{fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday};
  });
}

std::optional<std::int64_t> LinuxClock::StartOfLocalDay(int year, int month, int day) const {
  constexpr int kLowest = std::numeric_limits<int>::min();
  if (year < kLowest + 1900 || month == kLowest) return std::nullopt;
  return CachedStartOfDay(Now(), year, month, day, [](int y, int m, int d) {
    tm fields{};
    fields.tm_year = y - 1900;
    fields.tm_mon = m - 1;
    fields.tm_mday = d;
    fields.tm_isdst = -1;
    const std::lock_guard lock(g_zone_mutex);
    return std::max<std::int64_t>(mktime(&fields), -1);
  });
}

std::int64_t LinuxClock::SteadyMilliseconds() const { return SteadyNanoseconds() / 1'000'000; }

std::int64_t LinuxClock::SteadyNanoseconds() const {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

std::int64_t LinuxClock::UptimeSeconds() const { return Seconds(CLOCK_BOOTTIME); }

}  // namespace yox::platform
