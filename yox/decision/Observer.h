#pragma once

#include <cstddef>
#include <exception>

#include "yox/base/String.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/Dates.h"
#include "yox/decision/DeviceFacts.h"

namespace yox::decision {

// Why a filter does not match: the first criterion that is false.
struct Failure {
  const CompiledList::Program& program;
  const CompiledList::Step& step;
  DeviceFacts& facts;
  // There was nothing to hold the criterion against, and a reason does not name it.
  bool is_unnamed = false;
};

// Follows a decision while it is made, to write down a reason, log lines or a trace. Every function
// is called on the deciding thread; what it throws leaves the decision.
class Observer {
 public:
  virtual ~Observer() = default;

  // One of the three for each filter that the walk comes to, in order; `filter` is its index. The
  // walk goes on after an undecided filter, some of whose criteria are unknown and none is false.
  virtual void FilterPassed(std::size_t /*filter*/, const Failure& /*failure*/) {}
  virtual void FilterUndecided(std::size_t /*filter*/) {}
  virtual void FilterDecided(std::size_t /*filter*/, const CompiledList::Program& /*program*/,
                             bool /*applies*/) {}

  // What makes a criterion false and is worth a line of its own, before the filter is passed:
  // a roll-out that is at none of the stages kGrowing and kComplete,
  virtual void RolloutStopped(const Rollout& /*rollout*/, const RolloutProgress& /*progress*/) {}
  // a term whose integers cannot be compared, which counts as false,
  virtual void TermFailed(String::IntegerStatus /*status*/) {}
  // and a clock that threw when a date range asked for the day.
  virtual void DateRangeFailed(const std::exception& /*exception*/) {}
};

}  // namespace yox::decision
