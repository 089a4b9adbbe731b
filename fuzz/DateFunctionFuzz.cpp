#include <cmath>

#include "yox/applicability/TestEvaluator.h"
#include "yox/decision/Dates.h"
#include "yox/decision/RolloutForecast.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"

#include "fuzz/FuzzInput.h"

using YOX::String;
using yox::WString;
using yox::decision::RolloutForecast;
using namespace yox::literals;
using namespace yox::decision;

namespace {

// A roll-out only grows, and includes every device on its last day.
void CheckShares(const std::optional<Growth>& growth, int days, int elapsed) {
  if (!growth || days <= 0 || elapsed < 1 || elapsed >= days) return;
  const double share = RolloutShare(*growth, elapsed, days);
  FUZZ_CHECK(std::isfinite(share) && share > 0 && share < 1);
  FUZZ_CHECK(RolloutShare(*growth, elapsed + 1, days) >= share);
  FUZZ_CHECK(RolloutShare(*growth, days, days) == 1);
  FUZZ_CHECK(BucketIsIn(0, share) && BucketIsIn(kLastBucket, 1));
}

// A forecast says of now what the evaluator says; one is refused when no device would ever be in.
void CheckForecast(const WString& function, const WString& seed, bool matched) {
  try {
    const RolloutForecast forecast(
        function, yox::decision::Calendar::Of(yox::platform::Platform::Get().clock()));
    const std::int64_t day = forecast.DayAt(yox::platform::Platform::Get().clock().Now());
    const int bucket = RolloutForecast::BucketOf(seed);
    FUZZ_CHECK((bucket < forecast.BucketsOn(day)) == matched);
    FUZZ_CHECK((forecast.FirstDayOf(bucket) <= day) == matched);
    for (int later = 2; later <= forecast.days(); ++later) {
      FUZZ_CHECK(forecast.BucketsOn(later) >= forecast.BucketsOn(later - 1));
    }
    FUZZ_CHECK(forecast.BucketsOn(forecast.days()) == RolloutForecast::kBuckets);
  } catch (const yox::DocumentError&) {
    FUZZ_CHECK(!matched || Rollout::Parse(function).days.number > RolloutForecast::kMostDays);
  }
}

}  // namespace

// A roll-out function, a serial number, an organisation, a hash, and a day of the roll-out.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static yox_test::TestEvaluator evaluator;
  yox_fuzz::FuzzInput input(data, size);
  const WString function = input.Text();
  const WString serial_number = input.Text();
  const WString organisation = input.Text();
  const int bucket = RolloutBucket(input.Text());
  FUZZ_CHECK(bucket >= 0 && bucket <= kLastBucket);

  const bool matched = evaluator.DoesDateFunctionMatch(function, &serial_number, &organisation);
  const auto pieces = String::Split(function, '|');
  FUZZ_CHECK(pieces.size() >= 3 || !matched);
  // Only the one seed that the segment names counts.
  const bool by_tenant = pieces.size() > 3 && String::CaseInsesitiveEqual(pieces[3], "tenant"_wv);
  WString other = serial_number;
  other.append(organisation).push_back(yox::WChar{'x'});
  FUZZ_CHECK(evaluator.DoesDateFunctionMatch(function, by_tenant ? &other : &serial_number,
                                             by_tenant ? &organisation : &other) == matched);
  // Without it, only a roll-out that is over counts.
  const bool over = evaluator.DoesDateFunctionMatch(function, nullptr, nullptr);
  FUZZ_CHECK(!over || matched);

  CheckForecast(function, by_tenant ? organisation : serial_number, matched);

  int elapsed = 0;
  String::TryToInteger(input.Text(), elapsed);
  const Rollout rollout = Rollout::Parse(function);
  FUZZ_CHECK(rollout.has_three_pieces == (pieces.size() >= 3));
  if (rollout.days.status == String::IntegerStatus::kOk) {
    CheckShares(rollout.growth, rollout.days.number, elapsed);
  }
  return 0;
}
