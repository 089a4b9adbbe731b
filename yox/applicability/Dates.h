#pragma once

#include <cstdint>
#include <optional>

#include "yox/clientbase/WString.h"
#include "yox/clientbase/platform/Clock.h"

// Windows of days and growing roll-outs: pure functions.
namespace YOX::match {

// `start|end`, each YYYY-MM-DD or "*" for an open end, both inclusive. Compared field by field, so
// that the texts need not be real dates; what is not of this form holds never.
bool DateWithinRange(WStringView range, const platform::LocalDate& today);

enum class Growth : std::uint8_t { kLinear, kExponentialNormal, kExponentialSlow };

std::optional<Growth> ParseGrowth(WStringView word);

// Day 1 is the first day; `now` is not before `start`. Seconds.
std::int64_t ElapsedDays(std::int64_t start, std::int64_t now);

// The share of buckets that a roll-out of `days` days has reached on day `elapsed`; 1 on the last.
double RolloutShare(Growth growth, std::int64_t elapsed, int days);

inline constexpr int kLastBucket = 4095;

// The bucket of a device or an organisation, 0 to 4095: the first three hexadecimal digits of the
// hash.
int RolloutBucket(WStringView hash);

inline bool BucketIsIn(int bucket, double share) { return bucket <= share * kLastBucket; }

}  // namespace YOX::match
