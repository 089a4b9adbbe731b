#include "bindings/sql/Buckets.h"

#include <string>

#include "yox/base/Document.h"
#include "yox/base/String.h"
#include "yox/base/TimeZone.h"
#include "yox/decision/CheckedRollout.h"
#include "yox/decision/Dates.h"

namespace yox::sql {
namespace {

double ShareOf(const decision::Rollout& rollout, std::int64_t moment) {
  const LocalDate first = FirstDayOf(rollout);
  const auto start = TimeZone().StartOfLocalDay(first.year, first.month, first.day);
  if (!start) RefuseFirstDay(rollout);
  DaysOf(rollout);
  if (moment < *start) return 0;
  const auto share = ShareOnDay(rollout, decision::ElapsedDays(*start, moment));
  if (!share) return 0;
  constexpr int kBuckets = decision::kLastBucket + 1;
  const int buckets = decision::FirstWhere(
      0, kBuckets, [&](int bucket) { return !decision::BucketIsIn(bucket, *share); });
  return static_cast<double>(buckets) / kBuckets;
}

}  // namespace

int BucketOf(std::string_view serial_number_or_realm) {
  return decision::RolloutBucket(
      decision::SaltedHashOf(String::UTF8ToUTF16(serial_number_or_realm)));
}

double ShareAt(std::string_view function, std::int64_t moment) {
  const WString text = String::UTF8ToUTF16(function);
  const decision::Rollout rollout = decision::Rollout::Parse(text);
  try {
    return ShareOf(rollout, moment);
  } catch (const DocumentError& error) {
    throw DocumentError(std::string("function: ") + error.what());
  }
}

}  // namespace yox::sql
