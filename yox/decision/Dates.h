#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "yox/base/LocalDate.h"
#include "yox/base/String.h"
#include "yox/base/WString.h"

// The languages of `date_range` and `date_function`: windows of days, and roll-outs that grow day
// by day. As in MatchOperators.h, parsed forms keep views of the text, and neither parsing nor
// matching allocates or fails. All functions are pure and safe from any thread.
namespace yox::decision {

// A text that is expected to be an integer, and its value if `status` is kOk.
struct IntegerText {
  WStringView text = {};
  String::IntegerStatus status = String::IntegerStatus::kInvalid;
  int number = 0;

  // Reads the text as String::TryToInteger does, so that characters after the digits are ignored.
  static IntegerText Parse(WStringView text);
};

// YYYY-MM-DD. The numbers need not be a real day.
struct DateText {
  WStringView text = {};
  bool has_three_pieces = false;
  std::array<IntegerText, 3> fields = {};

  // Splits the text at each "-"; of a text without exactly three pieces only `text` is set.
  static DateText Parse(WStringView text);

  // Returns a negative number, 0 or a positive number: this date is before, on or after `day`.
  // Year, month and day are compared in this order, until two differ. std::nullopt when one that is
  // compared is not a number, or when there are not three pieces.
  std::optional<int> CompareTo(const LocalDate& day) const;
};

// `start|end`, each a date or "*" for an open end, both inclusive. A text of another form contains
// no day.
struct DateRange {
  bool has_two_pieces = false;
  bool open_start = false;
  bool open_end = false;
  DateText start = {};
  DateText end = {};

  // Splits the text at each "|".
  static DateRange Parse(WStringView range);
  // Returns whether the day is within. A bound that does not compare (DateText::CompareTo) excludes
  // every day.
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

  // Splits the text at each "|". FlawOf says what is wrong with the result.
  static Rollout Parse(WStringView text);
};

// How far a roll-out is at one moment, counted from its first day.
struct RolloutProgress {
  enum class Stage : std::uint8_t {
    kMalformed,        // not three pieces
    kMalformedDate,    // not three numbers between "-"
    kDateUnreadable,   // one of them is no number
    kDateOutOfRange,   // or a number too large
    kNoSuchDay,        // the calendar cannot express the first day
    kNotBegun,         // the first day is in the future
    kDaysUnreadable,   // the number of days is not a number
    kDaysOutOfRange,   // or too large
    kNoDays,           // or 0
    kUnknownGrowth,    // before the last day
    kGrowing,          // `share` says how many buckets are in
    kComplete,         // every device is in, whatever its bucket
    kHashOutOfMemory,  // the bucket could not be computed
    kHashOutOfRange,
  };

  Stage stage = Stage::kMalformed;
  std::optional<std::int64_t> start = {};    // of the first day, in seconds
  std::int64_t now = 0;                      // in seconds; counts from kNotBegun on
  std::optional<std::int64_t> elapsed = {};  // days, the first being 1
  double share = 0;
  std::optional<int> bucket = {};  // set once it has been computed
};

// Returns what is wrong with the text of a roll-out, whatever the day; std::nullopt if its first
// day can be looked up in a calendar.
std::optional<RolloutProgress::Stage> FlawOf(const Rollout& rollout);

// Returns how far a roll-out without such a flaw is at the moment `now`. `start` is the beginning
// of its first day, from DeviceFacts::StartOfDay; std::nullopt if the calendar cannot express it.
RolloutProgress ProgressOf(const Rollout& rollout, std::optional<std::int64_t> start,
                           std::int64_t now);

// The device's calendar day. If its time zone is unknown, the days that it may be, some of which
// may be equal.
struct LocalDays {
  std::array<LocalDate, 3> days = {};
  std::size_t count = 1;

  static LocalDays Of(const LocalDate& day) { return {{day}, 1}; }
  // Every day that it is somewhere on earth at this moment.
  static LocalDays Anywhere(std::int64_t moment);

  std::span<const LocalDate> Possible() const { return std::span(days).first(count); }
};

// The moment at which a calendar day begins on the device, in seconds since 1970: the earliest and
// the latest possible one if its time zone is unknown. std::nullopt for a day that the calendar
// cannot express.
struct DayStart {
  std::optional<std::int64_t> earliest = {};
  std::optional<std::int64_t> latest = {};

  static DayStart Of(std::optional<std::int64_t> start) { return {start, start}; }
  // A month or day out of its range carries over, as in TimeZone::StartOfLocalDay.
  static DayStart Anywhere(int year, int month, int day);
};

// Returns the number of the day that contains `now`; the first day is 1. Both are in seconds since
// 1970; `now` must not be before `start`.
std::int64_t ElapsedDays(std::int64_t start, std::int64_t now);

// Returns the share of buckets, 0 to 1, that a roll-out of `days` days has reached on day
// `elapsed`; 1 on the last day.
double RolloutShare(Growth growth, std::int64_t elapsed, int days);

// Returns the share on day `elapsed`: 1 from the last day on, whatever the growth word; before
// that, std::nullopt if the word is unknown. The roll-out's days must be a number other than 0.
std::optional<double> ShareOnDay(const Rollout& rollout, std::int64_t elapsed);

inline constexpr int kLastBucket = 4095;

// Returns the salted SHA-256 of a serial number or realm, as 64 hexadecimal digits.
WString SaltedHashOf(WStringView text);

// The bucket of a device or an organisation, 0 to 4095: the first three hexadecimal digits of its
// hash.
int RolloutBucket(WStringView hash);

inline bool BucketIsIn(int bucket, double share) { return bucket <= share * kLastBucket; }

// Binary search: returns the first number from `begin` on, but before `end`, for which `holds`
// returns true; `end` if there is none. `holds` must be true for every number after the first.
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

// Returns the first day on which a bucket is in. The roll-out must have days and a known growth
// word.
std::int64_t FirstDayIn(const Rollout& rollout, int bucket);

}  // namespace yox::decision
