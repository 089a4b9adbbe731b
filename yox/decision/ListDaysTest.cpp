#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "yox/base/TimeZone.h"
#include "yox/decision/Decide.h"
#include "yox/decision/Filter.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/ListDays.h"
#include "yox/decision/PreparedDevice.h"

namespace yox::decision {
namespace {

constexpr std::int64_t kDay = 86400;

std::int64_t DayOf(int year, int month, int day) {
  return TimeZone().ToMoment({year, month, day}, 0) / kDay;
}

std::shared_ptr<const CompiledList> ListOf(FilterField field, const std::string& text) {
  Filter filter;
  filter.Set(field, YOX::String::UTF8ToUTF16(text));
  return ApplicabilityFilter({filter}).snapshot();
}

// At noon, of a device in the middle of a roll-out's buckets.
bool AppliesOn(const CompiledList& list, std::int64_t day) {
  FactsRecord record;
  record.time_zone = TimeZone();
  record.rollout_bucket = Given<int>::Known(1000);
  const PreparedDevice device(record);
  const Question question{.now = day * kDay + kDay / 2};
  PreparedFacts facts(device, question);
  return Decide(list, facts).applies == Truth::kTrue;
}

struct DaysRow {
  const char* name;
  FilterField field;
  const char* text;
};

class DaysOfChangeOf : public testing::TestWithParam<DaysRow> {};

TEST_P(DaysOfChangeOf, HaveEveryDayOnWhichAVerdictChanges) {
  const auto list = ListOf(GetParam().field, GetParam().text);
  const DaySpan span{DayOf(2025, 12, 1), DayOf(2027, 2, 1)};
  const std::vector<std::int64_t> days = DaysOfChange(*list, span);
  ASSERT_TRUE(std::ranges::is_sorted(days));
  EXPECT_EQ(days.front(), span.first);
  EXPECT_LE(days.back(), span.last);
  int changes = 0;
  for (std::int64_t day = span.first + 1; day <= span.last; ++day) {
    if (AppliesOn(*list, day) == AppliesOn(*list, day - 1)) continue;
    ++changes;
    EXPECT_TRUE(std::ranges::binary_search(days, day)) << day - span.first;
  }
  EXPECT_GT(changes, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DaysOfChangeOf,
    testing::ValuesIn(std::vector<DaysRow>{
        {"Range", FilterField::date_range, "2026-03-01|2026-03-31"},
        {"OpenEnd", FilterField::date_range, "2026-03-01|*"},
        {"OpenStart", FilterField::date_range, "*|2026-12-31"},
        {"NoSuchDay", FilterField::date_range, "2026-02-31|2026-06-31"},
        {"DayZero", FilterField::date_range, "2026-03-00|*"},
        {"NoSuchMonth", FilterField::date_range, "2026-13-01|*"},
        {"UnreadableMonth", FilterField::date_range, "*|2026-x-01"},
        {"UnreadableDay", FilterField::date_range, "*|2026-03-x"},
        {"Rollout", FilterField::date_function, "2026-03-01|28|linear"},
        {"RolloutThatCarriesOver", FilterField::date_function, "2026-02-30|28|exponentialSlow"},
        {"UnknownGrowth", FilterField::date_function, "2026-03-01|28|fast"},
        {"NegativeDays", FilterField::date_function, "2026-03-01|-3|linear"},
        {"LongerThanTheSpan", FilterField::date_function, "2026-01-01|1000|linear"},
    }),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ListDaysTest, RolloutsSpanTheirFirstToTheirLastDay) {
  const auto list = ReadFilterDocument(R"([{"date_function": "2026-03-10|5|linear"},
      {"date_function": "2026-02-01|3|linear"}, {"date_function": "x|3|linear"},
      {"date_range": "2020-01-01|*"}, {"default": "true", "date_function": "2020-01-01|3|linear"}])");
  EXPECT_EQ(RolloutDaysOf(*list.snapshot()), (DaySpan{DayOf(2026, 2, 1), DayOf(2026, 3, 14)}));
  EXPECT_EQ(RolloutDaysOf(*ListOf(FilterField::date_range, "2026-01-01|*")), std::nullopt);
}

TEST(ListDaysTest, AYearThatCannotBeReadIsNotTheYearZero) {
  const auto list = ListOf(FilterField::date_range, "x-03-01|x-04-01");
  const DaySpan span{DayOf(-1, 1, 1), DayOf(1, 1, 1)};
  EXPECT_EQ(DaysOfChange(*list, span), std::vector<std::int64_t>{span.first});
}

// A month of each length, a leap year, and years before 1970 and at the end of four digits.
TEST(ListDaysTest, ARangeChangesOnItsFirstDayAndAfterItsLast) {
  struct Row {
    const char* range;
    std::vector<std::int64_t> days;
  };
  const Row rows[] = {
      {"1969-12-31|1969-12-31", {DayOf(1969, 12, 31), DayOf(1970, 1, 1)}},
      {"1960-02-29|1961-02-28", {DayOf(1960, 2, 29), DayOf(1961, 3, 1)}},
      {"2026-01-31|2026-04-30", {DayOf(2026, 1, 31), DayOf(2026, 5, 1)}},
      {"2026-12-01|2026-12-31", {DayOf(2026, 12, 1), DayOf(2027, 1, 1)}},
      {"*|9999-12-31", {DayOf(9999, 12, 31) + 1}},
      {"9999-01-01|*", {DayOf(9999, 1, 1)}},
      {"10000-01-01|*", {}},
      // Days that there are not: the month, and the year, in which they would be.
      {"2026-02-29|*", {DayOf(2026, 2, 1), DayOf(2026, 3, 1)}},
      {"2026-12-32|*", {DayOf(2026, 12, 1), DayOf(2027, 1, 1)}},
      {"2026-12-x|*", {DayOf(2026, 12, 1), DayOf(2027, 1, 1)}},
      {"2026-01-00|*", {DayOf(2026, 1, 1), DayOf(2026, 2, 1)}},
      {"2026-00-01|*", {DayOf(2026, 1, 1), DayOf(2027, 1, 1)}},
      {"2026-13-01|*", {DayOf(2026, 1, 1), DayOf(2027, 1, 1)}},
      {"2026-x-01|*", {DayOf(2026, 1, 1), DayOf(2027, 1, 1)}},
      {"2026-01|*", {}},
      {"x-01-01|*", {}},
  };
  const DaySpan span{DayOf(1900, 1, 1), DayOf(9999, 12, 31) + 10};
  for (const auto& [range, days] : rows) {
    std::vector<std::int64_t> found = DaysOfChange(*ListOf(FilterField::date_range, range), span);
    ASSERT_EQ(found.front(), span.first);
    found.erase(found.begin());
    EXPECT_EQ(found, days) << range;
  }
}

TEST(ListDaysTest, ARolloutChangesOnEachOfItsDaysWithinTheSpan) {
  const auto days = [](const char* rollout, std::int64_t first, std::int64_t last) {
    return DaysOfChange(*ListOf(FilterField::date_function, rollout), {first, last});
  };
  const std::int64_t start = DayOf(2026, 3, 10);
  const char* const kThree = "2026-03-10|3|linear";
  EXPECT_EQ(days(kThree, start - 2, start + 9),
            (std::vector{start - 2, start, start + 1, start + 2}));
  EXPECT_EQ(days(kThree, start + 1, start + 1), (std::vector{start + 1}));
  EXPECT_EQ(days(kThree, start, start + 2), (std::vector{start, start + 1, start + 2}));
  EXPECT_EQ(days(kThree, start + 3, start + 5), (std::vector{start + 3}));
  EXPECT_EQ(days("2026-03-10|-5|linear", start - 9, start + 9), (std::vector{start - 9, start}));
  for (const char* const none : {"2026-03-10|0|linear", "2026-03-10|x|linear", "2026-03-10|3",
                                 "2026-03|3|linear", "2026-x-10|3|linear"}) {
    EXPECT_EQ(days(none, start - 9, start + 9), (std::vector{start - 9})) << none;
  }
}

TEST(ListDaysTest, DaysWithoutAChangeAreLeftOut) {
  const auto list = ListOf(FilterField::date_range, "2026-03-01|2026-03-31");
  EXPECT_EQ(DaysOfChange(*list, {DayOf(2026, 1, 1), DayOf(2026, 12, 31)}),
            (std::vector{DayOf(2026, 1, 1), DayOf(2026, 3, 1), DayOf(2026, 4, 1)}));
}

}  // namespace
}  // namespace yox::decision
