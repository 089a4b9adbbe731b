#include <gtest/gtest.h>

#include <climits>
#include <ostream>

#include "yox/base/TimeZone.h"

#include "tests/support/Rows.h"

namespace yox {

void PrintTo(const LocalDate& date, std::ostream* out) {
  *out << date.year << "-" << date.month << "-" << date.day;
}

namespace {

constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kDay = 86400;
constexpr std::int64_t kStartOf2026 = 1767225600;  // universal time

TimeZone Zone(std::string_view text) {
  const std::optional<TimeZone> zone = TimeZone::Parse(text);
  EXPECT_TRUE(zone.has_value()) << text;
  return zone.value_or(TimeZone());
}

struct OffsetRow {
  const char* name;
  const char* zone;
  double january;  // hours
  double july;
};

class TimeZoneText : public testing::TestWithParam<OffsetRow> {};

TEST_P(TimeZoneText, GivesTheOffsetsOfWinterAndSummer) {
  const TimeZone zone = Zone(GetParam().zone);
  EXPECT_EQ(zone.OffsetAt(kStartOf2026 + 14 * kDay), GetParam().january * 3600);
  EXPECT_EQ(zone.OffsetAt(kStartOf2026 + 195 * kDay), GetParam().july * 3600);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, TimeZoneText,
    testing::Values(OffsetRow{"Utc", "UTC", 0, 0}, OffsetRow{"IsoColon", "+02:00", 2, 2},
                    OffsetRow{"IsoBasic", "-0330", -3.5, -3.5}, OffsetRow{"IsoHours", "+05", 5, 5},
                    OffsetRow{"UtcMinus", "UTC-5", -5, -5},
                    OffsetRow{"GmtPlus", "GMT+5:30", 5.5, 5.5},
                    OffsetRow{"PosixWestIsPositive", "EST5", -5, -5},
                    OffsetRow{"PosixQuoted", "<+03>-3", 3, 3},
                    OffsetRow{"PosixRule", "CET-1CEST,M3.5.0,M10.5.0/3", 1, 2},
                    OffsetRow{"PosixWithoutRule", "EST5EDT", -5, -4},
                    OffsetRow{"PosixHalfHour", "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", 11, 10.5},
                    OffsetRow{"PosixJulian", "AAA-1BBB,J60,J300", 1, 2},
                    OffsetRow{"PosixDayOfYear", "AAA-1BBB,59,299", 1, 2},
                    OffsetRow{"NameNorth", "Europe/Berlin", 1, 2},
                    OffsetRow{"NameSouth", "Pacific/Auckland", 13, 12},
                    OffsetRow{"NameNegativeDaylight", "Europe/Dublin", 0, 1},
                    OffsetRow{"NameFixed", "Asia/Kolkata", 5.5, 5.5},
                    OffsetRow{"NameLooksPosix", "Etc/GMT+5", -5, -5},
                    OffsetRow{"NameThatIsARuleToo", "EST5EDT", -5, -4}),
    yox_test::RowName());

TEST(TimeZoneParse, RefusesWhatIsNoZone) {
  for (const char* text : {"",
                           " ",
                           "Z",
                           "+",
                           "+2",
                           "+2:00",
                           "+02:60",
                           "+25:00",
                           "+02:0",
                           "+02:000",
                           "UTC-",
                           "UTC-25",
                           "UTC+5x",
                           "UTC+0530",
                           "GMT+530",
                           "Europe/berlin",
                           "Europe/Berlin ",
                           "Nowhere/City",
                           "CET",
                           "A1",
                           "AB1",
                           "CET-1CEST,",
                           "CET-1CEST,M3.5.0",
                           "CET-1CEST,M3.5.0,",
                           "CET-1CEST,M13.1.0,M10.5.0",
                           "CET-1CEST,M3.6.0,M10.5.0",
                           "CET-1CEST,M3.5.7,M10.5.0",
                           "CET-1CEST,J0,J300",
                           "CET-1CEST,J1,J366",
                           "CET-1CEST,1,366",
                           "CET-1CEST,M3.5.0,M10.5.0/168",
                           "CET-1CEST,M3.5.0,M10.5.0/3 ",
                           "CET-25",
                           "<+03-3",
                           "<>3",
                           "CET-1:60"}) {
    if (std::string_view(text) == "CET") continue;  // a name of the database
    EXPECT_FALSE(TimeZone::Parse(text).has_value()) << text;
  }
}

TEST(TimeZoneRule, JulianDaysSkipTheLeapDayAndPlainDaysCountIt) {
  // Both begin on the first of March of a common year, and part in a leap year.
  const TimeZone julian = Zone("AAA0BBB,J60/0,J300/0");
  const TimeZone plain = Zone("AAA0BBB,59/0,299/0");
  const std::int64_t march_2023 = julian.ToMoment({2023, 3, 1}, 0) + kHour;
  EXPECT_EQ(julian.OffsetAt(march_2023), kHour);
  EXPECT_EQ(plain.OffsetAt(march_2023), kHour);
  const std::int64_t leap_day = TimeZone().ToMoment({2024, 2, 29}, 12 * 3600);
  EXPECT_EQ(julian.OffsetAt(leap_day), 0);
  EXPECT_EQ(plain.OffsetAt(leap_day), kHour);
}

TEST(TimeZoneRule, ChangesMayComeOutsideOfTheirDay) {
  // The Saturday 2 hours after the end of the last Thursday's second day, as Gaza has it.
  const TimeZone gaza = Zone("EET-2EEST,M3.4.4/50,M10.4.4/50");
  const std::int64_t change = TimeZone().ToMoment({2026, 3, 28}, 0);  // 02:00 local, standard time
  EXPECT_EQ(gaza.OffsetAt(change - 1), 2 * kHour);
  EXPECT_EQ(gaza.OffsetAt(change), 3 * kHour);
}

TEST(TimeZoneDays, ADayBeginsAtLocalMidnight) {
  EXPECT_EQ(Zone("UTC").StartOfLocalDay(2026, 1, 1), kStartOf2026);
  EXPECT_EQ(Zone("+02:00").StartOfLocalDay(2026, 1, 1), kStartOf2026 - 2 * kHour);
  EXPECT_EQ(Zone("America/New_York").StartOfLocalDay(2026, 7, 1),
            kStartOf2026 + 181 * kDay + 4 * kHour);
}

TEST(TimeZoneDays, MonthsAndDaysCarryOver) {
  const TimeZone zone = Zone("Europe/Berlin");
  EXPECT_EQ(zone.StartOfLocalDay(2025, 13, 1), zone.StartOfLocalDay(2026, 1, 1));
  EXPECT_EQ(zone.StartOfLocalDay(2026, 0, 1), zone.StartOfLocalDay(2025, 12, 1));
  EXPECT_EQ(zone.StartOfLocalDay(2026, 3, 0), zone.StartOfLocalDay(2026, 2, 28));
  EXPECT_EQ(zone.StartOfLocalDay(2024, 2, 30), zone.StartOfLocalDay(2024, 3, 1));
  EXPECT_EQ(zone.StartOfLocalDay(2026, 1, -364), zone.StartOfLocalDay(2025, 1, 1));
  EXPECT_EQ(zone.StartOfLocalDay(2020, 73, 1), zone.StartOfLocalDay(2026, 1, 1));
}

TEST(TimeZoneDays, ADayBefore1970BeginsAtMinusOne) {
  EXPECT_EQ(Zone("UTC").StartOfLocalDay(1969, 12, 31), -1);
  EXPECT_EQ(Zone("UTC").StartOfLocalDay(1970, 1, 1), 0);
  EXPECT_EQ(Zone("+01:00").StartOfLocalDay(1970, 1, 1), -1);
  EXPECT_EQ(Zone("-01:00").StartOfLocalDay(1970, 1, 1), kHour);
  EXPECT_EQ(Zone("UTC").StartOfLocalDay(-5, 1, 1), -1);
}

TEST(TimeZoneDays, WhatTheCalendarCannotHoldGivesNothing) {
  const TimeZone zone = Zone("Europe/Berlin");
  EXPECT_EQ(zone.StartOfLocalDay(INT_MIN + 1899, 1, 1), std::nullopt);
  EXPECT_EQ(zone.StartOfLocalDay(INT_MIN + 1900, 1, 1), -1);
  EXPECT_EQ(zone.StartOfLocalDay(2026, INT_MIN, 1), std::nullopt);
  EXPECT_EQ(zone.StartOfLocalDay(2026, INT_MIN + 1, 1), -1);
  EXPECT_EQ(zone.StartOfLocalDay(INT_MAX, INT_MAX, INT_MAX), -1);
}

TEST(TimeZoneDays, EveryMomentHasADay) {
  const TimeZone zone = Zone("Europe/Berlin");
  EXPECT_EQ(zone.ToLocalDate(INT64_MIN).year, INT_MIN);
  EXPECT_EQ(zone.ToLocalDate(INT64_MAX).year, INT_MAX);
  EXPECT_EQ(zone.ToLocalDate(-1), (LocalDate{1970, 1, 1}));
  EXPECT_EQ(zone.ToLocalDate(-kHour - 1), (LocalDate{1969, 12, 31}));
}

TEST(TimeZoneDays, ASkippedMidnightBeginsWithTheChange) {
  const TimeZone havana = Zone("CST5CDT,M3.2.0/0,M11.1.0/1");
  const std::int64_t change = TimeZone().ToMoment({2026, 3, 8}, 5 * 3600);
  EXPECT_EQ(havana.StartOfLocalDay(2026, 3, 8), change);
  EXPECT_EQ(havana.ToLocalDate(change), (LocalDate{2026, 3, 8}));
  EXPECT_EQ(havana.ToLocalDate(change - 1), (LocalDate{2026, 3, 7}));
}

TEST(TimeZoneDays, OfTwoMidnightsTheFirstBeginsTheDay) {
  const TimeZone havana = Zone("CST5CDT,M3.2.0/0,M11.1.0/1");
  const std::int64_t first = TimeZone().ToMoment({2026, 11, 1}, 4 * 3600);
  EXPECT_EQ(havana.StartOfLocalDay(2026, 11, 1), first);
  EXPECT_EQ(havana.ToLocalDate(first - 1), (LocalDate{2026, 10, 31}));
}

TEST(TimeZoneWallClock, ReadsSkippedTimesAsStandardTimeAndDoubledOnesAsTheFirst) {
  const TimeZone berlin = Zone("Europe/Berlin");
  const TimeZone utc;
  EXPECT_EQ(berlin.ToMoment({2026, 3, 29}, 2 * 3600 + 1800),
            utc.ToMoment({2026, 3, 29}, 3600 + 1800));
  EXPECT_EQ(berlin.ToMoment({2026, 10, 25}, 2 * 3600 + 1800), utc.ToMoment({2026, 10, 25}, 1800));
  EXPECT_EQ(berlin.ToMoment({2026, 7, 1}, 12 * 3600), utc.ToMoment({2026, 7, 1}, 10 * 3600));
}

}  // namespace
}  // namespace yox
