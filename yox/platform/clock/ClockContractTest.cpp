#include <chrono>
#include <climits>
#include <thread>
#include <utility>

#include "yox/platform/PlatformContract.h"
#include "yox/platform/clock/Clock.h"

namespace yox::platform {
namespace {

class ClockContract : public yox_test::PlatformContract {
 protected:
  Clock& clock_ = platform().clock();
};

TEST_P(ClockContract, ADayBeginsOnItselfAndTheSecondBeforeIsTheDayBefore) {
  for (int day = 1; day <= 4 * 366; ++day) {
    const std::optional<std::int64_t> start = clock_.StartOfLocalDay(2024, 1, day);
    ASSERT_TRUE(start);
    const LocalDate date = clock_.ToLocalDate(*start);
    EXPECT_EQ(clock_.StartOfLocalDay(date.year, date.month, date.day), start) << day;
    EXPECT_EQ(clock_.ToLocalDate(*start + 3600), date) << day;
    EXPECT_NE(clock_.ToLocalDate(*start - 1), date) << day;
  }
}

TEST_P(ClockContract, MonthsAndDaysCarryOver) {
  EXPECT_EQ(clock_.StartOfLocalDay(2025, 13, 1), clock_.StartOfLocalDay(2026, 1, 1));
  EXPECT_EQ(clock_.StartOfLocalDay(2026, 0, 31), clock_.StartOfLocalDay(2025, 12, 31));
  EXPECT_EQ(clock_.StartOfLocalDay(2024, 2, 30), clock_.StartOfLocalDay(2024, 3, 1));
  EXPECT_EQ(clock_.StartOfLocalDay(2026, 3, 0), clock_.StartOfLocalDay(2026, 2, 28));
  EXPECT_EQ(clock_.StartOfLocalDay(2026, 1, -364), clock_.StartOfLocalDay(2025, 1, 1));
}

TEST_P(ClockContract, ADayBefore1970BeginsAtMinusOne) {
  EXPECT_EQ(clock_.StartOfLocalDay(1969, 12, 30), -1);
  EXPECT_EQ(clock_.StartOfLocalDay(1900, 1, 1), -1);
  EXPECT_EQ(clock_.StartOfLocalDay(0, 0, 0), -1);
}

TEST_P(ClockContract, WhatTheCalendarCannotHoldGivesNothing) {
  EXPECT_EQ(clock_.StartOfLocalDay(INT_MIN + 1899, 1, 1), std::nullopt);
  EXPECT_EQ(clock_.StartOfLocalDay(INT_MIN, 1, 1), std::nullopt);
  EXPECT_EQ(clock_.StartOfLocalDay(2026, INT_MIN, 1), std::nullopt);
}

TEST_P(ClockContract, SystemTimeIsTheMomentOfNow) {
  const std::int64_t before = clock_.Now();
  const auto time = std::chrono::floor<std::chrono::seconds>(clock_.SystemTime());
  EXPECT_LE(before, time.time_since_epoch().count());
  EXPECT_LE(time.time_since_epoch().count(), clock_.Now() + 1);  // Now may lag by a tick
}

TEST_P(ClockContract, TimeDoesNotGoBack) {
  std::int64_t steady = clock_.SteadyMilliseconds();
  std::int64_t uptime = clock_.UptimeSeconds();
  EXPECT_GE(uptime, 0);
  for (int i = 0; i < 1000; ++i) {
    EXPECT_GE(clock_.SteadyMilliseconds(), std::exchange(steady, clock_.SteadyMilliseconds()));
    EXPECT_GE(clock_.UptimeSeconds(), std::exchange(uptime, clock_.UptimeSeconds()));
  }
}

TEST_P(ClockContract, OnlyAClockThatIsMovedByHandHasAlarms) {
  const auto alarm = clock_.RingAt(clock_.SteadyMilliseconds() + 1000, [] {});
  EXPECT_EQ(alarm != nullptr, clock_.MovedByHand());
}

TEST_P(ClockContract, IsAskedFromSeveralThreads) {
  const auto ask = [this] {
    for (int day = 1; day <= 500; ++day) {
      const std::int64_t start = clock_.StartOfLocalDay(2026, 1, day).value_or(0);
      EXPECT_EQ(clock_.ToLocalDate(start), clock_.ToLocalDate(start + 3600));
    }
  };
  std::thread other(ask);
  ask();
  other.join();
}

INSTANTIATE_TEST_SUITE_P(, ClockContract, yox_test::kEveryPlatform, yox_test::RowName());

}  // namespace
}  // namespace yox::platform
