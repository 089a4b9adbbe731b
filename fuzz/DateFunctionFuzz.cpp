#include <cmath>

#include "yox/applicability/Dates.h"
#include "yox/applicability/TestEvaluator.h"

#include "fuzz/FuzzInput.h"

using YOX::String;
using YOX::WString;
using namespace YOX::literals;
using namespace YOX::match;

namespace {

// A roll-out only grows, and has everybody on its last day.
void CheckShares(const std::optional<Growth>& growth, int days, int elapsed) {
  if (!growth || days <= 0 || elapsed < 1 || elapsed >= days) return;
  const double share = RolloutShare(*growth, elapsed, days);
  FUZZ_CHECK(std::isfinite(share) && share > 0 && share < 1);
  FUZZ_CHECK(RolloutShare(*growth, elapsed + 1, days) >= share);
  FUZZ_CHECK(RolloutShare(*growth, days, days) == 1);
  FUZZ_CHECK(BucketIsIn(0, share) && BucketIsIn(kLastBucket, 1));
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
  other.append(organisation).push_back(YOX::WChar{'x'});
  FUZZ_CHECK(evaluator.DoesDateFunctionMatch(function, by_tenant ? &other : &serial_number,
                                             by_tenant ? &organisation : &other) == matched);
  // Without it, only a roll-out that is over counts.
  const bool over = evaluator.DoesDateFunctionMatch(function, nullptr, nullptr);
  FUZZ_CHECK(!over || matched);

  int elapsed = 0;
  String::TryToInteger(input.Text(), elapsed);
  const Rollout rollout = Rollout::Parse(function);
  FUZZ_CHECK(rollout.has_three_pieces == (pieces.size() >= 3));
  if (rollout.days.status == String::IntegerStatus::kOk) {
    CheckShares(rollout.growth, rollout.days.number, elapsed);
  }
  return 0;
}
