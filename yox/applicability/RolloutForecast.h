#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "yox/base/Document.h"
#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/decision/CheckedRollout.h"
#include "yox/platform/clock/Clock.h"

namespace yox::applicability {

// What a roll-out function will do: whom it lets in on which day. It is computed by what the
// evaluator decides with. An immutable value.
class YOX_API RolloutForecast {
 public:
  static constexpr int kBuckets = 4096;
  static constexpr int kMostDays = decision::kMostRolloutDays;

  // Reads `START|DAYS|GROWTH` or `START|DAYS|GROWTH|SEGMENT`; the start is a day of the platform's
  // clock. Throws yox::DocumentError, with what is wrong, for a function that never lets anybody
  // in, and for one of more than a hundred years.
  explicit RolloutForecast(yox::WStringView function);

  // Whether organisations come in as a whole, by their realm; else devices by their serial number.
  bool by_organisation() const { return by_organisation_; }
  // False for an unknown word: then nobody comes in before the last day.
  bool has_known_growth() const { return has_known_growth_; }

  // The day from which on everybody is in; the first day is 1.
  int days() const { return static_cast<int>(buckets_.size()); }
  // The calendar day of a day from 1 on. Days follow each other after 24 hours, so that one begins
  // an hour beside midnight when clocks have been changed since the first.
  yox::LocalDate DateOf(std::int64_t day) const;
  // The middle of that day, in seconds since 1970: it is on the same calendar day even when clocks
  // were changed since the first.
  std::int64_t NoonOf(std::int64_t day) const;
  // How many buckets are in on a day, and which: those below this number. 0 before day 1.
  int BucketsOn(std::int64_t day) const;

  // The day of a moment of the clock, such as now; 0 for every moment before the first day.
  std::int64_t DayAt(std::int64_t moment) const;
  // How far into its days a moment is, negative before the first.
  double DaysUntil(std::int64_t moment) const;

  // The first day of a bucket.
  int FirstDayOf(int bucket) const;
  // The bucket of a serial number or realm.
  static int BucketOf(yox::WStringView serial_number_or_realm);

 private:
  std::int64_t start_ = 0;
  bool by_organisation_ = false;
  bool has_known_growth_ = false;
  std::vector<int> buckets_;  // by day
};

}  // namespace yox::applicability
