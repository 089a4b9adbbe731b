#include "yox/decision/RolloutForecast.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "yox/base/SaltedHash.h"
#include "yox/base/String.h"
#include "yox/decision/CheckedRollout.h"
#include "yox/decision/Dates.h"

namespace yox::decision {

using YOX::String;

namespace {

constexpr std::int64_t kSecondsPerDay = 86400;

std::int64_t StartOf(const Rollout& rollout, const Calendar& calendar) {
  const LocalDate first = FirstDayOf(rollout);
  const auto start = calendar.start_of_day(first.year, first.month, first.day);
  if (!start) RefuseFirstDay(rollout);
  return *start;
}

int BucketsIn(const Rollout& rollout, int day) {
  const std::optional<double> share = ShareOnDay(rollout, day);
  if (!share) return 0;
  return FirstWhere(0, RolloutForecast::kBuckets,
                    [&](int bucket) { return !BucketIsIn(bucket, *share); });
}

}  // namespace

RolloutForecast::RolloutForecast(WStringView function, Calendar calendar)
    : calendar_(std::move(calendar)) {
  const Rollout rollout = Rollout::Parse(function);
  start_ = StartOf(rollout, calendar_);
  by_organisation_ = rollout.by_tenant;
  has_known_growth_ = rollout.growth.has_value();
  const int days = DaysOf(rollout);
  buckets_.reserve(static_cast<std::size_t>(days));
  for (int day = 1; day <= days; ++day) buckets_.push_back(BucketsIn(rollout, day));
}

std::int64_t RolloutForecast::NoonOf(std::int64_t day) const {
  return start_ + (day - 1) * kSecondsPerDay + kSecondsPerDay / 2;
}

LocalDate RolloutForecast::DateOf(std::int64_t day) const { return calendar_.date_of(NoonOf(day)); }

int RolloutForecast::BucketsOn(std::int64_t day) const {
  if (day < 1) return 0;
  return day >= days() ? buckets_.back() : buckets_[static_cast<std::size_t>(day - 1)];
}

std::int64_t RolloutForecast::DayAt(std::int64_t moment) const {
  return moment < start_ ? 0 : ElapsedDays(start_, moment);
}

double RolloutForecast::DaysUntil(std::int64_t moment) const {
  return static_cast<double>(moment - start_) / kSecondsPerDay;
}

int RolloutForecast::FirstDayOf(int bucket) const {
  const auto first = std::ranges::find_if(buckets_, [&](int in) { return bucket < in; });
  return static_cast<int>(first - buckets_.begin()) + 1;
}

int RolloutForecast::BucketOf(WStringView serial_number_or_realm) {
  const std::string utf8 = String::UTF16ToUTF8(serial_number_or_realm);
  return RolloutBucket(String::UTF8ToUTF16(YOX::utility::SHA256WithSalt(utf8)));
}

}  // namespace yox::decision
