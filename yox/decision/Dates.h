#pragma once

#include <array>
#include <cstdint>
#include <optional>

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

// How far the decision over a roll-out went, and what it met; the rest is unset.
struct RolloutProgress {
  std::optional<std::int64_t> start;  // seconds
  std::optional<std::int64_t> elapsed;
  std::optional<int> bucket;
};

// Day 1 is the first day; `now` is not before `start`. Seconds.
std::int64_t ElapsedDays(std::int64_t start, std::int64_t now);

// The share of buckets that a roll-out of `days` days has reached on day `elapsed`; 1 on the last.
double RolloutShare(Growth growth, std::int64_t elapsed, int days);

// The share on day `elapsed`: all from the last day on, whatever the growth word, and nothing when
// it is unknown before. The roll-out's days are a number and not 0.
std::optional<double> ShareOnDay(const Rollout& rollout, std::int64_t elapsed);

inline constexpr int kLastBucket = 4095;

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
