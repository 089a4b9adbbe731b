#pragma once

#include <cstddef>
#include <exception>

#include "yox/base/String.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/Dates.h"
#include "yox/decision/DeviceFacts.h"

namespace yox::decision {

// Why a filter does not match: its first criterion that is false. Valid during the call that it is
// passed to.
struct Failure {
  const CompiledList::Program& program;
  const CompiledList::Step& step;
  DeviceFacts& facts;
  // The device has no fact to compare the criterion with; reason texts do not name such a
  // criterion.
  bool is_unnamed = false;
};

// Receives the steps of a decision, to write a reason, log lines or a trace. Every function is
// called on the deciding thread; an exception from it ends the decision and reaches its caller.
class Observer {
 public:
  virtual ~Observer() = default;

  // One of these three is called for each filter that is evaluated, in order; `filter` is its
  // index. A filter is undecided when some of its criteria are unknown and none is false;
  // evaluation goes on after it.
  virtual void FilterPassed(std::size_t /*filter*/, const Failure& /*failure*/) {}
  virtual void FilterUndecided(std::size_t /*filter*/) {}
  virtual void FilterDecided(std::size_t /*filter*/, const CompiledList::Program& /*program*/,
                             bool /*applies*/) {}

  // These are called before FilterPassed, for three causes of a false criterion. First: a roll-out
  // that is at neither of the stages kGrowing and kComplete.
  virtual void RolloutStopped(const Rollout& /*rollout*/, const RolloutProgress& /*progress*/) {}
  // Second: a term with a text that is not an integer, which counts as false.
  virtual void TermFailed(String::IntegerStatus /*status*/) {}
  // Third: an exception from the clock while a date range read the day.
  virtual void DateRangeFailed(const std::exception& /*exception*/) {}
};

}  // namespace yox::decision
