#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "yox/base/TimeZone.h"
#include "yox/decision/Dates.h"

namespace yox::decision {
namespace {

constexpr std::int64_t kHour = 3600;
// Midnight, UTC, at the beginning of 2026-03-10.
const std::int64_t kMidnight = TimeZone().ToMoment({2026, 3, 10}, 0);

// "9 10 10": the days of March 2026.
std::string DaysAnywhere(std::int64_t moment) {
  std::string text;
  const LocalDays anywhere = LocalDays::Anywhere(moment);
  for (const LocalDate& day : anywhere.Possible()) {
    EXPECT_EQ(day.year, 2026);
    EXPECT_EQ(day.month, 3);
    text += (text.empty() ? "" : " ") + std::to_string(day.day);
  }
  return text;
}

TEST(LocalDaysTest, TheFirstZoneIsTwelveHoursBehindAndTheLastFourteenAhead) {
  EXPECT_EQ(DaysAnywhere(kMidnight - 14 * kHour - 1), "8 9 9");
  EXPECT_EQ(DaysAnywhere(kMidnight - 14 * kHour), "8 9 10");
  EXPECT_EQ(DaysAnywhere(kMidnight - 12 * kHour - 1), "8 9 10");
  EXPECT_EQ(DaysAnywhere(kMidnight - 12 * kHour), "9 9 10");
  EXPECT_EQ(DaysAnywhere(kMidnight), "9 10 10");
  EXPECT_EQ(DaysAnywhere(kMidnight + 10 * kHour - 1), "9 10 10");
  EXPECT_EQ(DaysAnywhere(kMidnight + 10 * kHour), "9 10 11");
  EXPECT_EQ(DaysAnywhere(kMidnight + 12 * kHour - 1), "9 10 11");
  EXPECT_EQ(DaysAnywhere(kMidnight + 12 * kHour), "10 10 11");
}

TEST(DayStartTest, BeginsFourteenHoursBeforeAndAtTheLatestTwelveAfter) {
  const DayStart start = DayStart::Anywhere(2026, 3, 10);
  EXPECT_EQ(start.earliest, kMidnight - 14 * kHour);
  EXPECT_EQ(start.latest, kMidnight + 12 * kHour);
}

}  // namespace
}  // namespace yox::decision
