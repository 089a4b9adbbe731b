#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "yox/base/Document.h"
#include "yox/base/Export.h"
#include "yox/base/LocalDate.h"
#include "yox/base/WString.h"
#include "yox/decision/CheckedRollout.h"

namespace yox::decision {

// How a time zone maps moments, in seconds since 1970 UTC, to calendar days and back.
struct Calendar {
  // Created from a platform::Clock or a TimeZone, which must live as long as the calendar.
  template <class Source>
  static Calendar Of(const Source& source) {
    return {[&source](int year, int month, int day) {
              return source.StartOfLocalDay(year, month, day);
            },
            [&source](std::int64_t moment) { return source.ToLocalDate(moment); }};
  }

  // std::nullopt for a day that the calendar cannot express.
  std::function<std::optional<std::int64_t>(int year, int month, int day)> start_of_day;
  std::function<LocalDate(std::int64_t moment)> date_of;
};

// Which share of the devices a roll-out function lets in on which day. Computed with the functions
// that the decision uses. An immutable value; safe from any thread if the calendar is.
class YOX_API RolloutForecast {
 public:
  static constexpr int kBuckets = 4096;
  static constexpr int kMostDays = kMostRolloutDays;

  // Reads `START|DAYS|GROWTH` or `START|DAYS|GROWTH|SEGMENT`; the start is a day of the calendar.
  // Throws yox::DocumentError, which says what is wrong, for a function that never lets a device
  // in, and for one of more than kMostDays days.
  RolloutForecast(WStringView function, Calendar calendar);

  // Whether organisations are let in as a whole, by their realm; otherwise devices are, by their
  // serial number.
  bool by_organisation() const { return by_organisation_; }
  // False for an unknown word: then no device is let in before the last day.
  bool has_known_growth() const { return has_known_growth_; }

  // The day from which on every device is in; the first day is 1.
  int days() const { return static_cast<int>(buckets_.size()); }
  // The calendar day of a day from 1 on. Days are 24 hours long, so that one begins an hour before
  // or after midnight when clocks have been changed since the first.
  LocalDate DateOf(std::int64_t day) const;
  // The middle of that day, in seconds since 1970: it is on the same calendar day even when clocks
  // were changed since the first.
  std::int64_t NoonOf(std::int64_t day) const;
  // The number of buckets that are in on a day: those with a lower number. 0 before day 1.
  int BucketsOn(std::int64_t day) const;

  // The day that contains a moment; 0 for every moment before the first day.
  std::int64_t DayAt(std::int64_t moment) const;
  // The number of days since the start, with fractions; negative before the start.
  double DaysUntil(std::int64_t moment) const;

  // The first day on which a bucket is in.
  int FirstDayOf(int bucket) const;
  // The bucket of a serial number or realm, from 0 to kBuckets - 1.
  static int BucketOf(WStringView serial_number_or_realm);

 private:
  Calendar calendar_;
  std::int64_t start_ = 0;
  bool by_organisation_ = false;
  bool has_known_growth_ = false;
  std::vector<int> buckets_;  // by day
};

}  // namespace yox::decision
