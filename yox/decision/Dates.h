#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "yox/base/LocalDate.h"
#include "yox/base/String.h"
#include "yox/base/WString.h"

// Windows of days and growing roll-outs, in the same manner as MatchOperators.h.
namespace yox::decision {

// A text that should be an integer.
struct IntegerText {
  WStringView text = {};
  String::IntegerStatus status = String::IntegerStatus::kInvalid;
  int number = 0;

  static IntegerText Parse(WStringView text);
};

// YYYY-MM-DD; what stands there need not be a real day.
struct DateText {
  WStringView text = {};
  bool has_three_pieces = false;
  std::array<IntegerText, 3> fields = {};

  static DateText Parse(WStringView text);

  // Negative, 0 or positive: this date is before, on or after the day. A number counts only when
  // those before it are equal; nothing when one that counts is no number, or there are not three.
  std::optional<int> CompareTo(const LocalDate& day) const;
};

// `start|end`, each a date or "*" for an open end, both inclusive. What is not of this form never
// holds.
struct DateRange {
  bool has_two_pieces = false;
  bool open_start = false;
  bool open_end = false;
  DateText start = {};
  DateText end = {};

  static DateRange Parse(WStringView range);
  bool Contains(const LocalDate& day) const;
};

enum class Growth : std::uint8_t { kLinear, kExponentialNormal, kExponentialSlow };

// `start|days|growth` or `start|days|growth|segment`.
struct Rollout {
  WStringView text = {};
  bool has_three_pieces = false;
  DateText start = {};
  IntegerText days = {};
  WStringView growth_word = {};
  std::optional<Growth> growth = {};
  bool by_tenant = false;

  static Rollout Parse(WStringView text);
};

// How far a roll-out is at one moment, seen from the first day that it names.
struct RolloutProgress {
  enum class Stage : std::uint8_t {
    kMalformed,        // not three pieces
    kMalformedDate,    // not three numbers between "-"
    kDateUnreadable,   // one of them is no number
    kDateOutOfRange,   // or a number too large
    kNoSuchDay,        // no calendar has the first day
    kNotBegun,         // the first day is still to come
    kDaysUnreadable,   // the number of days is none
    kDaysOutOfRange,   // or too large
    kNoDays,           // or 0
    kUnknownGrowth,    // before the last day
    kGrowing,          // `share` says how many buckets are in
    kComplete,         // everybody is in, whatever the bucket
    kHashOutOfMemory,  // the bucket could not be computed
    kHashOutOfRange,
  };

  Stage stage = Stage::kMalformed;
  std::optional<std::int64_t> start = {};    // of the first day, in seconds
  std::int64_t now = 0;                      // in seconds; counts from kNotBegun on
  std::optional<std::int64_t> elapsed = {};  // days, the first being 1
  double share = 0;
  std::optional<int> bucket = {};  // when it was looked at
};

// What is wrong with a roll-out before any day is known; std::nullopt when its first day is worth
// looking up in a calendar.
std::optional<RolloutProgress::Stage> FlawOf(const Rollout& rollout);

// How far a roll-out without that flaw is at the moment `now`. `start` is the beginning of its
// first day, as Calendar gives it.
RolloutProgress ProgressOf(const Rollout& rollout, std::optional<std::int64_t> start,
                           std::int64_t now);

// The device's calendar day; several when its time zone is not known, not all of them different.
struct LocalDays {
  std::array<LocalDate, 3> days = {};
  std::size_t count = 1;

  static LocalDays Of(const LocalDate& day) { return {{day}, 1}; }
  // Every day that it is somewhere on earth at that moment.
  static LocalDays Anywhere(std::int64_t moment);

  std::span<const LocalDate> Possible() const { return std::span(days).first(count); }
};

// The moment at which a calendar day begins on the device, in seconds since 1970: two when its time
// zone is not known. std::nullopt for a day that no calendar holds.
struct DayStart {
  std::optional<std::int64_t> earliest = {};
  std::optional<std::int64_t> latest = {};

  static DayStart Of(std::optional<std::int64_t> start) { return {start, start}; }
  // A month or day out of its range carries over, as in TimeZone::StartOfLocalDay.
  static DayStart Anywhere(int year, int month, int day);
};

// Day 1 is the first day; `now` is not before `start`. Seconds.
std::int64_t ElapsedDays(std::int64_t start, std::int64_t now);

// The share of buckets that a roll-out of `days` days has reached on day `elapsed`; 1 on the last.
double RolloutShare(Growth growth, std::int64_t elapsed, int days);

// The share on day `elapsed`: all from the last day on, whatever the growth word, and nothing when
// it is unknown before. The roll-out's days are a number and not 0.
std::optional<double> ShareOnDay(const Rollout& rollout, std::int64_t elapsed);

inline constexpr int kLastBucket = 4095;

// The salted hash of a serial number or realm, as 64 hexadecimal digits.
WString SaltedHashOf(WStringView text);

// The bucket of a device or an organisation, 0 to 4095: the first three hexadecimal digits of its
// hash.
int RolloutBucket(WStringView hash);

inline bool BucketIsIn(int bucket, double share) { return bucket <= share * kLastBucket; }

// The first number before `end` for which `holds` answers true, as it does for all behind it; `end`
// when there is none.
template <class Number, class Holds>
Number FirstWhere(Number begin, Number end, Holds holds) {
  while (begin < end) {
    const Number middle = begin + (end - begin) / 2;
    if (holds(middle)) {
      end = middle;
    } else {
      begin = middle + 1;
    }
  }
  return begin;
}

// The first day on which a bucket is in. The roll-out has days, and a growth that is known.
std::int64_t FirstDayIn(const Rollout& rollout, int bucket);

}  // namespace yox::decision
