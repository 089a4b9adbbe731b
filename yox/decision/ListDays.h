#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "yox/base/Export.h"
#include "yox/decision/CompiledList.h"

// The days on which a list decides by the date. A day is a number of days since 1970-01-01 in a
// device's own calendar.
namespace yox::decision {

struct DaySpan {
  std::int64_t first = 0;
  std::int64_t last = 0;  // included

  friend bool operator==(const DaySpan&, const DaySpan&) = default;
};

// From the first day of the earliest roll-out to the last day of the latest; std::nullopt for a
// list without a roll-out that ever includes a device.
YOX_API std::optional<DaySpan> RolloutDaysOf(const CompiledList& list);

// The days of the span, sorted, on which a verdict on a device may differ from that on the day
// before: the first day of the span, every day of a roll-out, and the days on which a date range
// begins or has ended.
YOX_API std::vector<std::int64_t> DaysOfChange(const CompiledList& list, const DaySpan& span);

}  // namespace yox::decision
