#include "yox/platform/clock/linux/LinuxClock.h"

#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <string_view>

#include "yox/base/ThreadSafety.h"
#include "yox/platform/clock/CalendarCache.h"
#include "yox/platform/files/PathText.h"

namespace yox::platform {
namespace {

// The C library locks its zone itself, in a way that ThreadSanitizer does not see.
constinit yox::Mutex g_zone_mutex;

LocalMoment Convert(std::int64_t moment) {
  tm fields{};
  const MutexLock lock(g_zone_mutex);
  // localtime_r reads the zone once per process. tzset reads it again if TZ or, without TZ, the
  // file /etc/localtime has changed.
  tzset();
  localtime_r(&moment, &fields);
  return {{fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday},
          static_cast<std::int32_t>(fields.tm_gmtoff)};
}

}  // namespace

std::int64_t LinuxClock::Now() const { return time(nullptr); }

LocalDate LinuxClock::ToLocalDate(std::int64_t moment) const {
  return CachedLocalMoment(Now(), moment, Convert).date;
}

std::int32_t LinuxClock::UtcOffset(std::int64_t moment) const {
  return CachedLocalMoment(Now(), moment, Convert).utc_offset;
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
    const MutexLock lock(g_zone_mutex);
    return std::max<std::int64_t>(mktime(&fields), -1);
  });
}

WString LinuxClock::ZoneName() const {
  // TZ is a name or a POSIX rule, with or without a colon in front; empty, it means UTC.
  if (const char* const variable = getenv("TZ")) {
    const std::string_view name(*variable == ':' ? variable + 1 : variable);
    return name.empty() ? "UTC"_w : String::UTF8ToUTF16(name);
  }
  // /etc/localtime is a link to /usr/share/zoneinfo/Europe/Berlin, mostly through "..".
  constexpr std::string_view kDatabase = "/zoneinfo/";
  std::error_code error;
  const std::string target = std::filesystem::read_symlink("/etc/localtime", error).native();
  const std::size_t found = target.find(kDatabase);
  if (error || found == std::string::npos) return {};
  return String::UTF8ToUTF16(target.substr(found + kDatabase.size()));
}

std::int64_t LinuxClock::SteadyMilliseconds() const { return SteadyNanoseconds() / 1'000'000; }

std::int64_t LinuxClock::SteadyNanoseconds() const {
  timespec time{};
  clock_gettime(CLOCK_BOOTTIME, &time);  // CLOCK_MONOTONIC stands still while the device sleeps
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

std::int64_t LinuxClock::Tick() const { return time(nullptr); }

}  // namespace yox::platform
