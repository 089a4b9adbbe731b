#pragma once

#include "yox/base/Document.h"
#include "yox/base/LocalDate.h"
#include "yox/decision/Dates.h"

// The parts of a roll-out function for callers that refuse a malformed one, where a decision lets
// no device in. All throw DocumentError, which names what was expected and what was found.
namespace yox::decision {

// The most days of a roll-out that is computed day by day.
inline constexpr int kMostRolloutDays = 36525;

// The first day, with numbers that need not be a real day.
LocalDate FirstDayOf(const Rollout& rollout);
[[noreturn]] void RefuseFirstDay(const Rollout& rollout);

// The number of days, at least 1 and at most kMostRolloutDays.
int DaysOf(const Rollout& rollout);

}  // namespace yox::decision
