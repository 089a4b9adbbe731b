#pragma once

#include <cstdint>
#include <iterator>

#include "yox/platform/clock/Clock.h"

namespace yox::platform {

// Time zones change their offset on whole minutes, so the day of a moment is the day of its minute.
// The C library takes a lock for every conversion; this remembers, per thread, the last minute
// asked for.
template <class Convert>
LocalDate CachedLocalDate(std::int64_t moment, Convert convert) {
  struct Entry {
    std::int64_t minute = INT64_MIN;
    LocalDate date;
  };
  thread_local Entry entry;
  const std::int64_t minute = moment / 60 - (moment % 60 < 0);
  if (entry.minute != minute) entry = {minute, convert(moment)};
  return entry.date;
}

// The same for the start of a day. Many lists name many days, so those of any two and a half years
// have a place each. Kept no longer than the minute in which they were computed, for a zone may be
// changed under a running process.
template <class Convert>
std::int64_t CachedStartOfDay(std::int64_t now, int year, int month, int day, Convert convert) {
  struct Entry {
    std::int64_t minute = 0;  // counted from 1; all zero, so that a thread's table costs no image
    int year = 0, month = 0, day = 0;
    std::int64_t start = 0;
  };
  thread_local Entry entries[1024];
  const std::int64_t minute = now / 60 + 1;
  // Unsigned: the numbers are what a filter's author wrote.
  const unsigned slot = static_cast<unsigned>(year) * 372 + static_cast<unsigned>(month) * 31 +
                        static_cast<unsigned>(day);
  Entry& entry = entries[slot % std::size(entries)];
  if (entry.minute != minute || entry.year != year || entry.month != month || entry.day != day) {
    entry = {minute, year, month, day, convert(year, month, day)};
  }
  return entry.start;
}

}  // namespace yox::platform
