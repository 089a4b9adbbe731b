#pragma once

#include <cstdint>
#include <optional>

#include "yox/base/LocalDate.h"
#include "yox/base/TimeZone.h"
#include "yox/base/WString.h"

namespace yox::platform {

struct LocalTime {
  LocalDate date;
  std::int32_t second_of_day = 0;
};

struct NamedZone {
  WString text = "UTC"_w;  // as the document names it
  TimeZone rule;
};

// What a device profile says of its clock.
struct ClockSection {
  std::optional<LocalTime> now;  // the local time that a clock on the wall shows
  NamedZone time_zone;
  std::optional<std::uint32_t> uptime_seconds;
};

}  // namespace yox::platform
