#include <exception>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>

#include "yox/applicability/Decision.h"
#include "yox/applicability/EvaluatorLog.h"
#include "yox/base/SaltedHash.h"
#include "yox/base/String.h"
#include "yox/decision/Dates.h"
#include "yox/decision/Fetched.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"

using yox::decision::Fetched;

using yox::LocalDate;
using YOX::String;
using yox::WString;
using yox::decision::DateRange;
using yox::decision::Rollout;
using yox::decision::RolloutProgress;
using yox::platform::Clock;
using yox::platform::Platform;

namespace {

constexpr const char* kOrigin = "ApplicabilityEvaluator::DoesDateFunctionMatch";

template <class Today>
bool ContainsToday(const DateRange& range, Today today) {
  try {
    return range.Contains(today());
  } catch (const std::exception& exception) {
    g_evaluator_log.d("%s : Exception occured - %s",
                      "ApplicabilityEvaluator::IsCurrentDateWithinRange", exception.what());
    return false;
  }
}

bool ReadStart(const Rollout& rollout, std::optional<std::int64_t>& start) {
  const auto& fields = rollout.start.fields;
  for (const auto& field : fields) {
    if (field.status == String::IntegerStatus::kInvalid) {
      g_evaluator_log.e("%s Invalid integer value. Year: %s Month: %s Day: %s", kOrigin,
                        fields[0].text, fields[1].text, fields[2].text);
      return false;
    }
    if (field.status == String::IntegerStatus::kOutOfRange) {
      g_evaluator_log.e("%s Out of range exception!", kOrigin);
      return false;
    }
  }
  start =
      Platform::Get().clock().StartOfLocalDay(fields[0].number, fields[1].number, fields[2].number);
  return start.has_value();
}

bool ReadDays(const Rollout& rollout) {
  switch (rollout.days.status) {
    case String::IntegerStatus::kInvalid:
      g_evaluator_log.e("%s Invalid days count: %s", kOrigin, rollout.days.text);
      return false;
    case String::IntegerStatus::kOutOfRange:
      g_evaluator_log.e("%s Out of range exception on days count!", kOrigin);
      return false;
    case String::IntegerStatus::kOk:
      break;
  }
  if (rollout.days.number == 0) g_evaluator_log.d("%s Days count is zero", kOrigin);
  return rollout.days.number != 0;
}

// `now()` is asked when the start is known, `bucket(by_tenant)` when the share counts; no bucket
// means that there is nobody to count.
template <class Now, class Bucket>
bool HasReached(const Rollout& rollout, Now now_of, Bucket bucket_of, RolloutProgress& progress) {
  YOX::Log& log = g_evaluator_log;
  if (!rollout.has_three_pieces) {
    log.e("%s Invalid date function string: %s", kOrigin, rollout.text);
    return false;
  }
  if (!rollout.start.has_three_pieces) {
    log.e("%s Invalid date format: %s", kOrigin, rollout.start.text);
    return false;
  }
  std::optional<std::int64_t>& start = progress.start;
  if (!ReadStart(rollout, start)) return false;
  const std::int64_t now = now_of();
  if (now < *start) {
    log.d("%s Filter date is after current date. currentDateUTCTime: %ld dateUTCTime: %ld", kOrigin,
          now, *start);
    return false;
  }
  if (!ReadDays(rollout)) return false;
  const std::int64_t elapsed = yox::decision::ElapsedDays(*start, now);
  progress.elapsed = elapsed;
  const std::optional<double> share = yox::decision::ShareOnDay(rollout, elapsed);
  if (!share) {
    log.e("%s Unknown growth type: %s", kOrigin, rollout.growth_word);
    return false;
  }
  if (*share >= 1) return true;
  try {
    const std::optional<int>& bucket = progress.bucket = bucket_of(rollout.by_tenant);
    return bucket && yox::decision::BucketIsIn(*bucket, *share);
  } catch (const std::bad_alloc&) {
    log.e("%s Bad alloc on seed hash.", kOrigin);
  } catch (const std::out_of_range&) {
    log.e("%s Out of range on seed hash", kOrigin);
  }
  return false;
}

}  // namespace

WString ApplicabilityEvaluator::GetHashedSaltedString(WString text) {
  return String::UTF8ToUTF16(YOX::utility::SHA256WithSalt(String::UTF16ToUTF8(text)));
}

bool ApplicabilityEvaluator::IsCurrentDateWithinRange(const WString& range) {
  return ContainsToday(DateRange::Parse(range), [] {
    const Clock& clock = Platform::Get().clock();
    return clock.ToLocalDate(clock.Now());
  });
}

bool ApplicabilityEvaluator::DoesDateFunctionMatch(const WString& function,
                                                   const WString* serialNumber,
                                                   const WString* orgName) {
  RolloutProgress progress;
  return HasReached(
      Rollout::Parse(function), [] { return Platform::Get().clock().Now(); },
      [&](bool by_tenant) -> std::optional<int> {
        if (by_tenant && orgName == nullptr) {
          g_evaluator_log.e("%s No org/tenant name", kOrigin);
          return std::nullopt;
        }
        if (!by_tenant && serialNumber == nullptr) {
          g_evaluator_log.e("%s No serial number", kOrigin);
          return std::nullopt;
        }
        return yox::decision::RolloutBucket(
            GetHashedSaltedString(by_tenant ? *orgName : *serialNumber));
      },
      progress);
}

std::int64_t ApplicabilityEvaluator::Decision::Now() {
  return Fetched(now_, [] { return Platform::Get().clock().Now(); });
}

const LocalDate& ApplicabilityEvaluator::Decision::Today() {
  return Fetched(today_, [this] { return Platform::Get().clock().ToLocalDate(Now()); });
}

bool ApplicabilityEvaluator::Decision::HoldDateRange(const DateRange& range) {
  return ContainsToday(range, [this]() -> const LocalDate& { return Today(); });
}

bool ApplicabilityEvaluator::Decision::HoldRollout(const Rollout& rollout,
                                                   RolloutProgress& progress) {
  return HasReached(
      rollout, [this] { return Now(); },
      [this](bool by_tenant) -> std::optional<int> {
        if (by_tenant) return yox::decision::RolloutBucket(RealmHash());
        int bucket = machine_.serial_number_bucket();
        if (bucket < 0) {
          bucket = yox::decision::RolloutBucket(evaluator_.GetHashedSaltedString(
              machine_.View(MachineInformation::Text::serial_number)));
          machine_.remember_serial_number_bucket(bucket);
        }
        return bucket;
      },
      progress);
}
