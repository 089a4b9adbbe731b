#pragma once

#include <cstdint>
#include <iterator>

#include "yox/platform/clock/Clock.h"

// What a thread remembers of its last conversions between moments and local time. The C library
// takes a process-wide lock for each, and decisions ask about the same moment and the same days
// over and over.
//
// Nothing is remembered longer than the minute of `now` in which it was computed, because the time
// zone can be changed under a running process.
namespace yox::platform {

struct LocalMoment {
  LocalDate date;
  std::int32_t utc_offset = 0;
};

inline std::int64_t MinuteOf(std::int64_t moment) { return moment / 60 - (moment % 60 < 0); }

// Time zones change their offset on whole minutes, so a day and an offset are valid for their
// minute. `convert(moment)` returns a LocalMoment; one is remembered, until the thread's next call.
template <class Convert>
const LocalMoment& CachedLocalMoment(std::int64_t now, std::int64_t moment, Convert convert) {
  struct Entry {
    std::int64_t computed = INT64_MIN;
    std::int64_t minute = INT64_MIN;
    LocalMoment local;
  };
  constinit thread_local Entry entry;
  const std::int64_t computed = MinuteOf(now);
  const std::int64_t minute = MinuteOf(moment);
  if (entry.computed != computed || entry.minute != minute) {
    entry = {computed, minute, convert(moment)};
  }
  return entry.local;
}

// `convert(year, month, day)` returns the moment at which the day begins. Filter lists name many
// days, so the days of any two and a half years have a slot each.
template <class Convert>
std::int64_t CachedStartOfDay(std::int64_t now, int year, int month, int day, Convert convert) {
  struct Entry {
    // Counted from 1, so that an empty table is all zeros and takes no space in the binary.
    std::int64_t computed = 0;
    int year = 0, month = 0, day = 0;
    std::int64_t start = 0;
  };
  constinit thread_local Entry entries[1024];
  const std::int64_t computed = MinuteOf(now) + 1;
  // Unsigned, because the numbers are the filter author's and the products may overflow.
  const unsigned slot = static_cast<unsigned>(year) * 372 + static_cast<unsigned>(month) * 31 +
                        static_cast<unsigned>(day);
  Entry& entry = entries[slot % std::size(entries)];
  if (entry.computed != computed || entry.year != year || entry.month != month ||
      entry.day != day) {
    entry = {computed, year, month, day, convert(year, month, day)};
  }
  return entry.start;
}

}  // namespace yox::platform
