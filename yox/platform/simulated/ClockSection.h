#pragma once

#include <cstdint>
#include <optional>

#include "yox/base/LocalDate.h"
#include "yox/base/TimeZone.h"
#include "yox/base/WString.h"

namespace yox::platform {

// What a clock on the wall shows: "2026-03-01T12:00:00".
struct LocalTime {
  LocalDate date;
  std::int32_t second_of_day = 0;
  // The seconds by which it is ahead of UTC. Says which of two times is meant in the hour that
  // comes twice when clocks go back; without it, it is the first.
  std::optional<std::int32_t> utc_offset = {};

  friend bool operator==(const LocalTime&, const LocalTime&) = default;
};

// A time zone, and how the profile spells it.
struct NamedZone {
  WString text = "UTC"_w;  // a text that TimeZone::Parse reads
  TimeZone rule;           // what it was read as

  friend bool operator==(const NamedZone&, const NamedZone&) = default;
};

// The clock of a device profile.
struct ClockSection {
  std::optional<LocalTime> now;  // absent: the real time
  NamedZone time_zone;
  std::optional<std::uint32_t> uptime_seconds;  // absent: a day

  // The moment of `now`; std::nullopt without one.
  std::optional<std::int64_t> Moment() const {
    if (!now) return std::nullopt;
    if (!now->utc_offset) return time_zone.rule.ToMoment(now->date, now->second_of_day);
    return TimeZone().ToMoment(now->date, now->second_of_day) - *now->utc_offset;
  }

  friend bool operator==(const ClockSection&, const ClockSection&) = default;
};

}  // namespace yox::platform
