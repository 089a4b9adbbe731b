#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

#include "yox/applicability/DecisionLog.h"
#include "yox/applicability/TestClock.h"
#include "yox/applicability/TestEvaluator.h"
#include "yox/base/SaltedHash.h"
#include "yox/decision/Dates.h"
#include "yox/decision/Decide.h"
#include "yox/decision/FilterDocument.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Rows.h"
#include "tests/support/SubstitutedPlatform.h"
#include "tests/support/TestRecord.h"

namespace {

using namespace yox::literals;
using YOX::String;
using yox::WString;
using yox::platform::ScopedPlatform;
using yox::platform::SimulatedDevice;
using yox_test::AnyEvaluator;
using yox_test::At;
using yox_test::CapturedLog;
using yox_test::TestEvaluator;

struct RangeCase {
  const char* name;
  WString range;
  bool holds;
};

class DateWindow : public testing::TestWithParam<RangeCase> {};

// 2026-03-15
TEST_P(DateWindow, HoldsAsTold) {
  const At now("2026-03-15T23:59:59");
  const CapturedLog log;
  EXPECT_EQ(AnyEvaluator().IsCurrentDateWithinRange(GetParam().range), GetParam().holds);
  EXPECT_EQ(log.Text(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DateWindow,
    testing::Values(
        RangeCase{"OpenAtBothEnds", "*|*"_w, true},
        RangeCase{"StartIsIncluded", "2026-03-15|*"_w, true},
        RangeCase{"StartTomorrow", "2026-03-16|*"_w, false},
        RangeCase{"StartLastYear", "2025-12-31|*"_w, true},
        RangeCase{"StartNextYear", "2027-01-01|*"_w, false},
        RangeCase{"StartNextMonth", "2026-04-01|*"_w, false},
        RangeCase{"StartLastMonthLaterDay", "2026-02-28|*"_w, true},
        RangeCase{"EndIsIncluded", "*|2026-03-15"_w, true},
        RangeCase{"EndYesterday", "*|2026-03-14"_w, false},
        RangeCase{"EndLastYearLaterMonth", "*|2025-12-31"_w, false},
        RangeCase{"EndNextYearEarlierMonth", "*|2027-01-01"_w, true},
        RangeCase{"EndNextMonth", "*|2026-04-01"_w, true},
        RangeCase{"EndLastMonth", "*|2026-02-28"_w, false},
        RangeCase{"WithinOneDay", "2026-03-15|2026-03-15"_w, true},
        RangeCase{"EndBeforeStart", "2026-03-16|2026-03-14"_w, false},
        RangeCase{"OnePiece", "2026-03-15"_w, false}, RangeCase{"ThreePieces", "*|*|*"_w, false},
        RangeCase{"TwoNumbers", "2026-03|*"_w, false},
        RangeCase{"FourNumbers", "2026-03-15-1|*"_w, false}, RangeCase{"EmptyStart", "|*"_w, false},
        RangeCase{"EmptyEnd", "*|"_w, false}, RangeCase{"SpacedStarIsNoOpenEnd", "* |*"_w, false},
        RangeCase{"NoNumber", "abc-1-1|*"_w, false},
        RangeCase{"OutOfRangeNumber", "99999999999-1-1|*"_w, false},
        RangeCase{"NotADateComparesFieldByField", "2024-13-45|*"_w, true},
        RangeCase{"NotADateInTheFuture", "2026-13-45|*"_w, false},
        RangeCase{"LaterPiecesAreNotReadWhenTheYearDecides", "2025-x-y|2027-x-y"_w, true},
        RangeCase{"TheDayIsNotReadWhenTheMonthDecides", "2026-02-x|2026-04-y"_w, true},
        RangeCase{"TheMonthIsReadWhenTheYearIsEqual", "2026-x-1|*"_w, false},
        RangeCase{"NumbersEndAtTheFirstLetter", "2026x-3y-15z|*"_w, true}),
    yox_test::RowName());

TEST(DateWindowTest, TheDayIsTheDevicesOwn) {
  // One moment, four minutes before midnight in Berlin.
  At berlin("2026-03-15T23:56:00", "Europe/Berlin");
  EXPECT_TRUE(AnyEvaluator().IsCurrentDateWithinRange("*|2026-03-15"_w));
  berlin.device.clock().Advance(4 * 60);
  EXPECT_FALSE(AnyEvaluator().IsCurrentDateWithinRange("*|2026-03-15"_w));
}

TEST(DateWindowTest, AnOpenWindowHoldsFromItsStartOnAndUntilItsEnd) {
  At now("2019-12-01T12:00:00");
  TestEvaluator evaluator;
  for (int day = -31; day <= 31; ++day) {
    EXPECT_TRUE(evaluator.IsCurrentDateWithinRange("*|*"_w)) << day;
    EXPECT_EQ(evaluator.IsCurrentDateWithinRange("2020-01-01|*"_w), day >= 0) << day;
    EXPECT_EQ(evaluator.IsCurrentDateWithinRange("*|2020-01-01"_w), day <= 0) << day;
    now.device.clock().Advance(86400);
  }
}

TEST(DateWindowTest, AClockThatFailsIsLoggedAndFalse) {
  SimulatedDevice device;
  yox_test::FailingClock clock;
  yox_test::SubstitutedPlatform platform(device);
  platform.Set(clock);
  const ScopedPlatform installed(platform);
  const CapturedLog log;
  EXPECT_FALSE(AnyEvaluator().IsCurrentDateWithinRange("2020-01-01|*"_w));
  EXPECT_EQ(log.Text(),
            "ApplicabilityEvaluator D ApplicabilityEvaluator::IsCurrentDateWithinRange : Exception "
            "occured - the clock fällt aus\n");
}

TEST(DateWindowTest, InADecisionAClockThatFailsIsLoggedAndFalse) {
  SimulatedDevice device;
  yox_test::FailingClock clock;
  yox_test::SubstitutedPlatform platform(device);
  platform.Set(clock);
  const ScopedPlatform installed(platform);
  Filter filter;
  filter.set_date_range("2020-01-01|*"_w);
  const auto record = std::make_shared<yox_test::TestRecord>();
  const CapturedLog log;
  WString reason;
  EXPECT_FALSE(AnyEvaluator().EvaluateApplicability(record, {}, ApplicabilityFilter({filter}),
                                                    nullptr, nullptr, {}, reason));
  EXPECT_EQ(reason, "Filter [0]: date_range = false; "_w);
  EXPECT_EQ(log.Lines().front().text,
            "ApplicabilityEvaluator::IsCurrentDateWithinRange : Exception occured - the clock "
            "fällt aus");
}

const WString kSerial = "C0FFEE12"_w;
const WString kOrg = "contoso"_w;

int BucketOf(const WString& text) {
  return yox::decision::RolloutBucket(AnyEvaluator().GetHashedSaltedString(text));
}

TEST(RolloutTest, TheHashIsSaltedHexadecimalText) {
  EXPECT_EQ(AnyEvaluator().GetHashedSaltedString("größe"_w),
            String::UTF8ToUTF16(YOX::utility::SHA256WithSalt("größe")));
}

struct FunctionCase {
  const char* name;
  const char* now;
  WString function;
  bool holds;
  std::string log;
};

class DateFunction : public testing::TestWithParam<FunctionCase> {};

TEST_P(DateFunction, HoldsAndLogsAsTold) {
  At now(GetParam().now);
  const CapturedLog log;
  EXPECT_EQ(AnyEvaluator().DoesDateFunctionMatch(GetParam().function, &kSerial, &kOrg),
            GetParam().holds);
  EXPECT_EQ(log.Text(), GetParam().log);
}

std::string Line(const char* level, const std::string& text) {
  return std::string("ApplicabilityEvaluator ") + level +
         " ApplicabilityEvaluator::DoesDateFunctionMatch" + text + "\n";
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DateFunction,
    testing::Values(
        FunctionCase{"TwoPieces", "2026-01-05T00:00:00", "2026-01-05|28"_w, false,
                     Line("E", " Invalid date function string: 2026-01-05|28")},
        FunctionCase{"NoPiece", "2026-01-05T00:00:00", ""_w, false,
                     Line("E", " Invalid date function string: ")},
        FunctionCase{"DateOfTwoNumbers", "2026-01-05T00:00:00", "2026-01|28|linear"_w, false,
                     Line("E", " Invalid date format: 2026-01")},
        FunctionCase{"DateOfFourNumbers", "2026-01-05T00:00:00", "2026-01-05-1|28|linear"_w, false,
                     Line("E", " Invalid date format: 2026-01-05-1")},
        FunctionCase{"DateWithoutNumber", "2026-01-05T00:00:00", "2026-x-05|28|linear"_w, false,
                     Line("E", " Invalid integer value. Year: 2026 Month: x Day: 05")},
        FunctionCase{"DateOutOfRange", "2026-01-05T00:00:00", "99999999999-1-5|28|linear"_w, false,
                     Line("E", " Out of range exception!")},
        FunctionCase{"DateEndsAtTheFirstLetter", "2026-01-05T00:00:00", "2024x-1-1|1|linear"_w,
                     true, ""},
        FunctionCase{"StartInTheFuture", "2026-01-04T23:59:59", "2026-01-05|28|linear"_w, false,
                     Line("D",
                          " Filter date is after current date. currentDateUTCTime: 1767571199 "
                          "dateUTCTime: 1767571200")},
        FunctionCase{"StartInTheFutureOnAnyGrowth", "2026-01-04T23:59:59",
                     "2026-01-05|1|nonsense"_w, false,
                     Line("D",
                          " Filter date is after current date. currentDateUTCTime: 1767571199 "
                          "dateUTCTime: 1767571200")},
        FunctionCase{"DaysWithoutNumber", "2026-01-05T00:00:00", "2026-01-05|x|linear"_w, false,
                     Line("E", " Invalid days count: x")},
        FunctionCase{"DaysOutOfRange", "2026-01-05T00:00:00", "2026-01-05|99999999999|linear"_w,
                     false, Line("E", " Out of range exception on days count!")},
        FunctionCase{"NoDays", "2026-01-05T00:00:00", "2026-01-05|0|linear"_w, false,
                     Line("D", " Days count is zero")},
        FunctionCase{"NegativeDaysAreOver", "2026-01-05T00:00:00", "2026-01-05|-3|linear"_w, true,
                     ""},
        FunctionCase{"NegativeDaysAreOverOnAnyDayBehind", "2026-09-05T00:00:00",
                     "2026-01-05|-300|linear"_w, true, ""},
        FunctionCase{"NegativeDaysStillBegin", "2026-01-04T23:59:59", "2026-01-05|-3|linear"_w,
                     false,
                     Line("D",
                          " Filter date is after current date. currentDateUTCTime: 1767571199 "
                          "dateUTCTime: 1767571200")},
        FunctionCase{"OneDayIsWholeFromTheFirst", "2026-01-05T00:00:00", "2026-01-05|1|linear"_w,
                     true, ""},
        FunctionCase{"UnknownGrowthBeforeTheLastDay", "2026-01-31T23:59:59",
                     "2026-01-05|28|cubic"_w, false, Line("E", " Unknown growth type: cubic")},
        FunctionCase{"UnknownGrowthFromTheLastDay", "2026-02-01T00:00:00", "2026-01-05|28|cubic"_w,
                     true, ""},
        FunctionCase{"TheLastDayIsWhole", "2026-02-01T00:00:00", "2026-01-05|28|linear"_w, true,
                     ""},
        FunctionCase{"LongAfterTheEnd", "2031-02-01T00:00:00", "2026-01-05|28|linear"_w, true, ""},
        FunctionCase{"StartBeforeTheEpochIsOver", "2026-01-05T00:00:00", "1960-01-01|28|linear"_w,
                     true, ""},
        FunctionCase{"FarFutureYear", "2026-01-05T00:00:00", "2147483647-01-01|28|linear"_w, false,
                     Line("D",
                          " Filter date is after current date. currentDateUTCTime: 1767571200 "
                          "dateUTCTime: 67767976201996800")},
        FunctionCase{"YearThatDoesNotFit", "2026-01-05T00:00:00", "-2147483648|28|linear"_w, false,
                     Line("E", " Invalid date format: -2147483648")},
        FunctionCase{"FurtherPiecesAreIgnored", "2026-02-01T00:00:00",
                     "2026-01-05|28|linear|tenant|x|y"_w, true, ""}),
    yox_test::RowName());

// Day 1 to the last: who is in and since when, against the share computed again.
TEST(RolloutTest, TheBucketIsInOnceTheShareReachesIt) {
  const int bucket = BucketOf(kSerial);
  for (const char* growth : {"linear", "exponentialNormal", "exponentialSlow", "LINEAR"}) {
    const double base = std::string(growth) == "exponentialNormal" ? 1.2
                        : std::string(growth) == "exponentialSlow" ? 1.8
                                                                   : 0.0;
    const WString function = "2026-01-01|100|"_w + String::UTF8ToUTF16(growth);
    At now("2026-01-01T12:00:00");
    bool was_in = false;
    for (int day = 1; day <= 100; ++day) {
      const double share = day == 100    ? 1.0
                           : base == 0.0 ? day / 100.0
                                         : std::pow(base, (day - 100) / 5.0);
      const bool is_in = AnyEvaluator().DoesDateFunctionMatch(function, &kSerial, nullptr);
      EXPECT_EQ(is_in, bucket <= share * 4095.0) << growth << " day " << day;
      EXPECT_TRUE(is_in || !was_in) << growth << " day " << day << ": left again";
      was_in = is_in;
      now.device.clock().Advance(86400);
    }
    EXPECT_TRUE(was_in) << growth;
  }
}

TEST(RolloutTest, AStartInTheFutureIsFalseForEveryGrowth) {
  const At now("2026-01-04T23:59:59");
  for (const WString& growth : {"linear"_w, "exponentialNormal"_w, "exponentialSlow"_w}) {
    for (const WString& days : {"|1|"_w, "|100|"_w}) {
      EXPECT_FALSE(
          AnyEvaluator().DoesDateFunctionMatch("2026-01-05"_w + days + growth, &kSerial, &kOrg));
    }
  }
}

TEST(RolloutTest, BucketsUpTo40AreInOnTheFirstOfAHundredLinearDays) {
  const double share = yox::decision::RolloutShare(yox::decision::Growth::kLinear, 1, 100);
  EXPECT_DOUBLE_EQ(share, 0.01);
  EXPECT_TRUE(yox::decision::BucketIsIn(40, share));
  EXPECT_FALSE(yox::decision::BucketIsIn(41, share));
}

TEST(RolloutTest, ExponentialCurvesBeginLowAndEndWhole) {
  using yox::decision::Growth;
  using yox::decision::RolloutShare;
  for (const int days : {20, 100, 365}) {
    EXPECT_NEAR(RolloutShare(Growth::kExponentialNormal, 0, days), 0.026084, 1e-6);
    EXPECT_NEAR(RolloutShare(Growth::kExponentialSlow, 0, days), 7.84e-6, 1e-7);
    EXPECT_DOUBLE_EQ(RolloutShare(Growth::kExponentialNormal, days, days), 1.0);
    EXPECT_DOUBLE_EQ(RolloutShare(Growth::kExponentialSlow, days, days), 1.0);
  }
}

TEST(RolloutTest, TheBucketIsReadOffTheFirstThreeDigits) {
  EXPECT_EQ(yox::decision::RolloutBucket("fff0"_w), 4095);
  EXPECT_EQ(yox::decision::RolloutBucket("0aB9"_w), 0x0AB);
  EXPECT_EQ(yox::decision::RolloutBucket("1f"_w), 0x1F);
  EXPECT_EQ(yox::decision::RolloutBucket("xyz"_w), 0);
  EXPECT_EQ(yox::decision::RolloutBucket("1xz"_w), 1);
  EXPECT_EQ(yox::decision::RolloutBucket(""_w), 0);
}

// Which of two seeds decides shows on a day on which one is in and the other is not.
TEST(RolloutTest, TheFourthPieceChoosesTheOrganisation) {
  WString low = "a"_w;
  WString high = "a"_w;
  while (BucketOf(low) > 400) low += 'a';
  while (BucketOf(high) < 3600) high += 'b';
  const At now("2026-02-19T12:00:00");  // day 50 of 100
  TestEvaluator evaluator;
  EXPECT_TRUE(evaluator.DoesDateFunctionMatch("2026-01-01|100|linear"_w, &low, &high));
  EXPECT_FALSE(evaluator.DoesDateFunctionMatch("2026-01-01|100|linear"_w, &high, &low));
  EXPECT_TRUE(evaluator.DoesDateFunctionMatch("2026-01-01|100|linear|tenant"_w, &high, &low));
  EXPECT_FALSE(evaluator.DoesDateFunctionMatch("2026-01-01|100|linear|Tenant"_w, &low, &high));
  EXPECT_TRUE(evaluator.DoesDateFunctionMatch("2026-01-01|100|linear| tenant"_w, &low, &high));
  EXPECT_TRUE(evaluator.DoesDateFunctionMatch("2026-01-01|100|linear|device"_w, &low, &high));
}

TEST(RolloutTest, AllDevicesOfAnOrganisationAnswerAlike) {
  At now("2026-01-01T12:00:00");
  for (int day = 1; day <= 100; ++day) {
    const bool is_in = BucketOf(kOrg) <= day / 100.0 * 4095.0;
    for (const WString& serial : {"C0FFEE12"_w, "KM020417"_w, ""_w}) {
      EXPECT_EQ(
          AnyEvaluator().DoesDateFunctionMatch("2026-01-01|100|linear|Tenant"_w, &serial, &kOrg),
          is_in)
          << day;
    }
    now.device.clock().Advance(86400);
  }
}

// A log sink that throws while the seed is chosen takes the place of a hash that cannot be
// computed.
TEST(RolloutTest, ASeedThatCannotBeHashedIsLoggedAndFalse) {
  const At now("2026-01-01T12:00:00");
  std::vector<std::string> lines;
  YOX::Log::SetSink([&](std::string_view, YOX::LogLevel level, std::string_view line) {
    lines.push_back("DWE"[static_cast<int>(level)] + std::string(line));
    if (line.ends_with("No serial number")) throw std::out_of_range("too far");
  });
  EXPECT_FALSE(AnyEvaluator().DoesDateFunctionMatch("2026-01-01|100|linear"_w, nullptr, nullptr));
  YOX::Log::SetSink({});
  EXPECT_EQ(lines.back(),
            "EApplicabilityEvaluator::DoesDateFunctionMatch Out of range on seed hash");
}

// A device whose bucket cannot be computed.
template <class Exception>
class WithoutBucket final : public yox::decision::DeviceFacts {
 public:
  WithoutBucket() : DeviceFacts(yox::decision::NoPairs()) {}

  yox::decision::DayStart StartOfDay(int, int, int) override {
    return yox::decision::DayStart::Of(0);
  }

 private:
  yox::decision::BucketFact FetchBucket(bool) override { throw Exception("no bucket"); }
  std::int64_t FetchNow() override { return 3600; }
};
struct BadAlloc : std::bad_alloc {
  explicit BadAlloc(const char*) {}
};

template <class Exception>
std::string DecidedWithoutBucket() {
  const auto list =
      yox::decision::ReadFilterDocument(R"([{"date_function": "1970-01-01|100|linear"}])")
          .snapshot();
  WithoutBucket<Exception> facts;
  LogThrottler throttler;
  yox::applicability::DecisionLog observer(*list, throttler, nullptr);
  const CapturedLog log;
  EXPECT_EQ(yox::decision::Decide(*list, facts, &observer).applies, yox::decision::Truth::kFalse);
  return log.Lines().empty() ? "" : log.Lines().front().text;
}

TEST(RolloutTest, ADecisionWithoutABucketIsLoggedAndFalse) {
  const std::string function = "ApplicabilityEvaluator::DoesDateFunctionMatch ";
  EXPECT_EQ(DecidedWithoutBucket<BadAlloc>(), function + "Bad alloc on seed hash.");
  EXPECT_EQ(DecidedWithoutBucket<std::out_of_range>(), function + "Out of range on seed hash");
}

TEST(RolloutTest, AMissingSeedIsLogged) {
  const At now("2026-01-01T12:00:00");
  const CapturedLog log;
  TestEvaluator evaluator;
  EXPECT_FALSE(evaluator.DoesDateFunctionMatch("2026-01-01|100|linear"_w, nullptr, &kOrg));
  EXPECT_FALSE(
      evaluator.DoesDateFunctionMatch("2026-01-01|100|linear|tenant"_w, &kSerial, nullptr));
  EXPECT_EQ(log.Text(), Line("E", " No serial number") + Line("E", " No org/tenant name"));
}

TEST(RolloutTest, TheEmptySeedHashesLikeAnyOther) {
  const WString empty;
  At now("2026-04-09T12:00:00");  // day 99 of 100
  EXPECT_EQ(AnyEvaluator().DoesDateFunctionMatch("2026-01-01|100|linear"_w, &empty, nullptr),
            BucketOf(empty) <= 0.99 * 4095.0);
}

TEST(RolloutTest, TheStartIsLocalMidnight) {
  At berlin("2026-01-05T00:00:00", "Europe/Berlin");
  EXPECT_TRUE(AnyEvaluator().DoesDateFunctionMatch("2026-01-05|1|linear"_w, &kSerial, nullptr));
  berlin.device.clock().Advance(-1);
  EXPECT_FALSE(AnyEvaluator().DoesDateFunctionMatch("2026-01-05|1|linear"_w, &kSerial, nullptr));
}

}  // namespace
