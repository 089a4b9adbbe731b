#include <gtest/gtest.h>

#include <array>
#include <string>

#include "yox/applicability/TestClock.h"
#include "yox/applicability/TestEvaluator.h"
#include "yox/base/String.h"
#include "yox/decision/Dates.h"
#include "yox/decision/RolloutForecast.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/support/Rows.h"

namespace {

using namespace yox::literals;
using yox::LocalDate;
using YOX::String;
using yox::WString;
using yox::decision::Calendar;
using yox::decision::RolloutForecast;
using yox::platform::ScopedPlatform;
using yox::platform::SimulatedDevice;
using yox_test::At;

Calendar ThisCalendar() { return Calendar::Of(yox::platform::Platform::Get().clock()); }

WString Serial(int number) { return String::UTF8ToUTF16("SN" + std::to_string(number)); }

TEST(RolloutBuckets, AHundredThousandSerialNumbersFillThemEvenly) {
  constexpr int kSerials = 100'000;
  std::array<int, RolloutForecast::kBuckets> filled{};
  for (int i = 0; i < kSerials; ++i) {
    const int bucket = RolloutForecast::BucketOf(Serial(i));
    ASSERT_TRUE(bucket >= 0 && bucket < RolloutForecast::kBuckets);
    ++filled[static_cast<std::size_t>(bucket)];
  }
  constexpr double kExpected = double{kSerials} / RolloutForecast::kBuckets;
  double chi_squared = 0;
  for (const int count : filled)
    chi_squared += (count - kExpected) * (count - kExpected) / kExpected;
  // 4095 degrees of freedom: mean 4095, standard deviation 90.5; both sides at one in a thousand.
  EXPECT_GT(chi_squared, 3822);
  EXPECT_LT(chi_squared, 4381);
}

TEST(RolloutBuckets, AreThoseOfTheEvaluator) {
  for (const WString& text : {""_w, "C0FFEE12"_w, "Größe"_w}) {
    EXPECT_EQ(RolloutForecast::BucketOf(text),
              yox::decision::RolloutBucket(yox_test::AnyEvaluator().GetHashedSaltedString(text)));
  }
}

struct FunctionRow {
  const char* name;
  WString function;
  const char* eve;  // noon of the day before the first
  const char* zone;
};

class Forecast : public testing::TestWithParam<FunctionRow> {};

// Day by day, at noon, by the evaluator over some devices or organisations.
TEST_P(Forecast, ByEnumerationEqualsCountingDayByDay) {
  constexpr int kDevices = 40;
  At now(GetParam().eve, GetParam().zone);
  const RolloutForecast forecast(GetParam().function, ThisCalendar());
  yox_test::TestEvaluator evaluator;
  const auto& clock = now.device.clock();
  for (int day = 0; day <= forecast.days() + 2; ++day) {
    ASSERT_EQ(forecast.DayAt(clock.Now()), day);
    if (day != 0) {
      ASSERT_EQ(forecast.DateOf(day), clock.ToLocalDate(clock.Now()));
    }
    int counted = 0;
    for (int i = 0; i < kDevices; ++i) {
      const WString text = Serial(i);
      const bool is_in = evaluator.DoesDateFunctionMatch(GetParam().function, &text, &text);
      const int bucket = RolloutForecast::BucketOf(text);
      ASSERT_EQ(is_in, bucket < forecast.BucketsOn(day)) << "day " << day;
      ASSERT_EQ(is_in, forecast.FirstDayOf(bucket) <= day) << "day " << day;
      counted += is_in ? 1 : 0;
    }
    EXPECT_TRUE(day < forecast.days() || counted == kDevices) << "day " << day;
    now.device.clock().Advance(86400);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Forecast,
    testing::Values(
        FunctionRow{"Linear", "2026-01-05|28|linear"_w, "2026-01-04T12:00:00", "UTC"},
        FunctionRow{"OneDay", "2026-01-05|1|linear"_w, "2026-01-04T12:00:00", "UTC"},
        FunctionRow{"Tenant", "2026-01-05|9|linear|tenant"_w, "2026-01-04T12:00:00", "UTC"},
        FunctionRow{"Normal", "2026-01-05|40|exponentialNormal"_w, "2026-01-04T12:00:00", "UTC"},
        FunctionRow{"Slow", "2026-01-05|40|exponentialSlow"_w, "2026-01-04T12:00:00", "UTC"},
        FunctionRow{"UnknownGrowth", "2026-01-05|5|cubic"_w, "2026-01-04T12:00:00", "UTC"},
        FunctionRow{"NegativeDays", "2026-01-05|-5|linear"_w, "2026-01-04T12:00:00", "UTC"},
        FunctionRow{"CarriedOver", "2026-02-30|5|linear"_w, "2026-03-01T12:00:00", "UTC"},
        // The clocks go forward on March 29th, and back on October 25th.
        FunctionRow{"ClocksGoForward", "2026-03-25|9|linear"_w, "2026-03-24T12:00:00",
                    "Europe/Berlin"},
        FunctionRow{"ClocksGoBack", "2026-10-20|9|linear"_w, "2026-10-19T12:00:00",
                    "Europe/Berlin"}),
    yox_test::RowName());

TEST(RolloutForecastTest, GivesTheSharesOfTheBuckets) {
  const At now("2026-01-05T00:00:00");
  const RolloutForecast forecast("2026-01-05|4|linear"_w, ThisCalendar());
  EXPECT_EQ(forecast.days(), 4);
  EXPECT_FALSE(forecast.by_organisation());
  EXPECT_TRUE(forecast.has_known_growth());
  EXPECT_EQ(forecast.BucketsOn(0), 0);
  EXPECT_EQ(forecast.BucketsOn(1), 1024);
  EXPECT_EQ(forecast.BucketsOn(2), 2048);
  EXPECT_EQ(forecast.BucketsOn(3), 3072);
  EXPECT_EQ(forecast.BucketsOn(4), 4096);
  EXPECT_EQ(forecast.BucketsOn(400), 4096);
  EXPECT_EQ(forecast.FirstDayOf(0), 1);
  EXPECT_EQ(forecast.FirstDayOf(1023), 1);
  EXPECT_EQ(forecast.FirstDayOf(1024), 2);
  EXPECT_EQ(forecast.FirstDayOf(4095), 4);
  EXPECT_EQ(forecast.DateOf(4), (LocalDate{2026, 1, 8}));
  EXPECT_EQ(forecast.DaysUntil(yox::platform::Platform::Get().clock().Now() + 43200), 0.5);
}

struct ForecastRefusalRow {
  const char* name;
  WString function;
  const char* error;
};

class RefusedForecast : public testing::TestWithParam<ForecastRefusalRow> {};

TEST_P(RefusedForecast, SaysWhatIsWrong) {
  try {
    const RolloutForecast forecast(GetParam().function, ThisCalendar());
    FAIL() << "was read";
  } catch (const yox::DocumentError& error) {
    EXPECT_STREQ(error.what(), GetParam().error);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedForecast,
    testing::Values(ForecastRefusalRow{"Empty", ""_w, "expected START|DAYS|GROWTH, found \"\""},
                    ForecastRefusalRow{"TwoPieces", "2026-01-05|9"_w,
                                       "expected START|DAYS|GROWTH, found \"2026-01-05|9\""},
                    ForecastRefusalRow{"NoDate", "soon|9|linear"_w,
                                       "expected a first day YYYY-MM-DD, found \"soon\""},
                    ForecastRefusalRow{
                        "NoCalendar", "-2147483648-1-1|9|linear"_w,
                        "expected a first day YYYY-MM-DD, found \"-2147483648-1-1\""},
                    ForecastRefusalRow{"NoDays", "2026-01-05|x|linear"_w,
                                       "expected a number of days, found \"x\""},
                    ForecastRefusalRow{"ZeroDays", "2026-01-05|0|linear"_w,
                                       "expected a number of days, found \"0\""},
                    ForecastRefusalRow{"TooManyDays", "2026-01-05|36526|linear"_w,
                                       "expected at most 36525 days, found \"36526\""}),
    yox_test::RowName());

}  // namespace
