#include <exception>
#include <new>
#include <stdexcept>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/DecisionLog.h"
#include "yox/applicability/EvaluatorLog.h"
#include "yox/base/String.h"
#include "yox/decision/Dates.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"

using yox::WString;
using yox::applicability::LogDateRangeFailure;
using yox::applicability::LogStoppedRollout;
using yox::decision::DateRange;
using yox::decision::ProgressOf;
using yox::decision::Rollout;
using yox::decision::RolloutProgress;
using yox::platform::Clock;
using yox::platform::Platform;

WString ApplicabilityEvaluator::GetHashedSaltedString(WString text) {
  return yox::decision::SaltedHashOf(text);
}

bool ApplicabilityEvaluator::IsCurrentDateWithinRange(const WString& range) {
  try {
    const Clock& clock = Platform::Get().clock();
    return DateRange::Parse(range).Contains(clock.ToLocalDate(clock.Now()));
  } catch (const std::exception& exception) {
    LogDateRangeFailure(exception);
    return false;
  }
}

bool ApplicabilityEvaluator::DoesDateFunctionMatch(const WString& function,
                                                   const WString* serialNumber,
                                                   const WString* orgName) {
  using enum RolloutProgress::Stage;
  constexpr const char* kOrigin = "ApplicabilityEvaluator::DoesDateFunctionMatch";
  const Rollout rollout = Rollout::Parse(function);
  const auto stopped = [&](const RolloutProgress& progress) {
    LogStoppedRollout(rollout, progress);
    return false;
  };
  if (const auto flaw = FlawOf(rollout)) return stopped({*flaw});
  const Clock& clock = Platform::Get().clock();
  const auto& fields = rollout.start.fields;
  const auto start = clock.StartOfLocalDay(fields[0].number, fields[1].number, fields[2].number);
  const RolloutProgress progress = ProgressOf(rollout, start, clock.Now());
  if (progress.stage == kComplete) return true;
  if (progress.stage != kGrowing) return stopped(progress);
  const WString* const seed = rollout.by_tenant ? orgName : serialNumber;
  try {
    if (seed != nullptr) {
      const int bucket = yox::decision::RolloutBucket(GetHashedSaltedString(*seed));
      return yox::decision::BucketIsIn(bucket, progress.share);
    }
    if (rollout.by_tenant) {
      g_evaluator_log.e("%s No org/tenant name", kOrigin);
    } else {
      g_evaluator_log.e("%s No serial number", kOrigin);
    }
    return false;
  } catch (const std::bad_alloc&) {
    return stopped({kHashOutOfMemory});
  } catch (const std::out_of_range&) {
    return stopped({kHashOutOfRange});
  }
}
