#include <gtest/gtest.h>
#include <stdlib.h>

#include "yox/platform/clock/CalendarCache.h"
#include "yox/platform/clock/linux/LinuxClock.h"

namespace yox::platform {
namespace {

constexpr std::int64_t kNoon = 1772366400;  // 2026-03-01T12:00:00 UTC

// Each test runs in a process of its own, so a zone that it sets is seen by no other.
void SetZone(const char* text) { setenv("TZ", text, 1); }

TEST(LinuxClockTest, AChangeOfTheTimeZoneTakesEffectWhileTheProcessRuns) {
  const LinuxClock clock;
  SetZone("UTC0");
  EXPECT_EQ(clock.UtcOffset(kNoon), 0);
  EXPECT_EQ(clock.ToLocalDate(kNoon), (LocalDate{2026, 3, 1}));
  SetZone("TWELVE-12");
  // Another minute: what a thread converted last is remembered for a minute.
  EXPECT_EQ(clock.UtcOffset(kNoon + 60), 12 * 3600);
  EXPECT_EQ(clock.ToLocalDate(kNoon + 60), (LocalDate{2026, 3, 2}));
  EXPECT_EQ(clock.StartOfLocalDay(2026, 3, 2), kNoon);
}

TEST(LinuxClockTest, TheZoneIsNamedByTheEnvironment) {
  const LinuxClock clock;
  for (const auto& [variable, name] :
       {std::pair{"Europe/Berlin", "Europe/Berlin"_w},
        {":Asia/Tokyo", "Asia/Tokyo"_w},
        {"CET-1CEST,M3.5.0,M10.5.0/3", "CET-1CEST,M3.5.0,M10.5.0/3"_w},
        {"", "UTC"_w}}) {
    SetZone(variable);
    EXPECT_EQ(clock.ZoneName(), name) << variable;
  }
}

TEST(CalendarCacheTest, AMomentIsConvertedAgainInTheNextMinute) {
  int conversions = 0;
  const auto convert = [&](std::int64_t) {
    return LocalMoment{{2026, 3, 1}, static_cast<std::int32_t>(++conversions)};
  };
  EXPECT_EQ(CachedLocalMoment(60, kNoon, convert).utc_offset, 1);
  EXPECT_EQ(CachedLocalMoment(119, kNoon + 59, convert).utc_offset, 1);
  EXPECT_EQ(CachedLocalMoment(119, kNoon + 60, convert).utc_offset, 2);
  EXPECT_EQ(CachedLocalMoment(120, kNoon + 60, convert).utc_offset, 3);
}

TEST(CalendarCacheTest, AStartOfADayIsComputedAgainInTheNextMinute) {
  std::int64_t computations = 0;
  const auto start = [&](int, int, int) { return ++computations; };
  EXPECT_EQ(CachedStartOfDay(60, 2026, 3, 1, start), 1);
  EXPECT_EQ(CachedStartOfDay(119, 2026, 3, 1, start), 1);
  EXPECT_EQ(CachedStartOfDay(119, 2026, 3, 2, start), 2);
  EXPECT_EQ(CachedStartOfDay(119, 2026, 3, 1, start), 1);
  EXPECT_EQ(CachedStartOfDay(120, 2026, 3, 1, start), 3);
}

}  // namespace
}  // namespace yox::platform
