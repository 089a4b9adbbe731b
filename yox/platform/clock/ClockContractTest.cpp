#include <chrono>
#include <climits>
#include <cstdlib>
#include <thread>
#include <utility>

#include "yox/base/TimeZone.h"
#include "yox/platform/PlatformContract.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/simulated/SimulatedClock.h"

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

TEST_P(ClockContract, DaysFarInTheFutureBeginLater) {
  constexpr std::int64_t kYear3000 = 32'503'680'000;
  constexpr std::int64_t kDay = 86400;
  EXPECT_EQ(clock_.StartOfLocalDay(3000, 13, 1), clock_.StartOfLocalDay(3001, 1, 1));
  EXPECT_EQ(clock_.StartOfLocalDay(2999, 12, 400), clock_.StartOfLocalDay(3001, 1, 4));
  for (const int year : {3000, 3001, 3400, 9999, 2'000'000}) {
    const std::int64_t start = clock_.StartOfLocalDay(year, 7, 1).value_or(0);
    EXPECT_GE(start, kYear3000) << year;
    EXPECT_EQ(clock_.ToLocalDate(start), (LocalDate{year, 7, 1}));
    EXPECT_EQ(clock_.ToLocalDate(start - 1), (LocalDate{year, 6, 30}));
    // The calendar repeats every 400 years.
    EXPECT_EQ(clock_.StartOfLocalDay(year + 400, 7, 1), start + 146'097 * kDay) << year;
  }
}

TEST_P(ClockContract, MomentsBefore1970HaveADayAndAnOffset) {
  constexpr std::int64_t kMarch1960 = -310'392'000;  // the first, at noon, UTC
  EXPECT_EQ(clock_.ToLocalDate(kMarch1960), (LocalDate{1960, 3, 1}));
  EXPECT_EQ(clock_.ToLocalDate(kMarch1960 - 3 * 86400), (LocalDate{1960, 2, 27}));
}

TEST_P(ClockContract, TheOffsetIsWhatSeparatesLocalTimeFromUtc) {
  const TimeZone utc;
  for (int day = 1; day <= 400; ++day) {
    const std::int64_t start = clock_.StartOfLocalDay(2026, 1, day).value_or(0);
    for (std::int64_t moment = start; moment < start + 86400; moment += 900) {
      const std::int32_t offset = clock_.UtcOffset(moment);
      EXPECT_LE(std::abs(offset), 26 * 3600);
      EXPECT_EQ(utc.ToLocalDate(moment + offset), clock_.ToLocalDate(moment)) << moment;
    }
  }
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
  EXPECT_GE(steady, 0);
  for (int i = 0; i < 1000; ++i) {
    const std::int64_t next = clock_.SteadyMilliseconds();
    EXPECT_GE(next, std::exchange(steady, next));
  }
}

TEST_P(ClockContract, TheTickIsAnotherOneASecondLater) {
  const std::int64_t begin = clock_.SteadyMilliseconds();
  const std::int64_t tick = clock_.Tick();
  auto* const by_hand = dynamic_cast<SimulatedClock*>(&clock_);
  if (by_hand != nullptr && by_hand->MovedByHand()) by_hand->Advance(1);
  constexpr std::int64_t kSecondAndItsDelay = 1020;
  while (clock_.Tick() == tick && clock_.SteadyMilliseconds() - begin < kSecondAndItsDelay) {
    std::this_thread::yield();
  }
  EXPECT_NE(clock_.Tick(), tick);
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
INSTANTIATE_TEST_SUITE_P(
    RunningDevice, ClockContract,
    testing::Values(yox_test::PlatformRow{"SouthernSummer",
                                          R"({"clock": {"time_zone": "Australia/Lord_Howe"}})"},
                    yox_test::PlatformRow{"WestOfGreenwich", R"({"clock": {"time_zone": "UTC-9:30",
                                                                  "uptime_seconds": 60}})"}),
    yox_test::RowName());

}  // namespace
}  // namespace yox::platform
