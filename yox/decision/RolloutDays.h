#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "yox/base/Export.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/DeviceFacts.h"
#include "yox/decision/ListDays.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/decision/Truth.h"

namespace yox::decision {

// The days of a roll-out on which a list is decided on each device, at noon of the device's own
// calendar. Immutable, so safe from any thread.
class YOX_API RolloutDays {
 public:
  // `question` gives all but the time.
  RolloutDays(const CompiledList& list, const DaySpan& span, const Question& question);

  // Calls `visit(day, verdict)` for each day of the span in order, where a day is a number from 0
  // on. The list must be the one of the constructor. The device's time zone need not be known.
  template <class Visit>
  void ForEachDay(const CompiledList& list, DeviceFacts& device, Visit visit) const {
    for (std::size_t i = 0; i < changes_.size(); ++i) {
      const Truth verdict = DecideOn(list, device, questions_[i]);
      const std::int64_t end = i + 1 < changes_.size() ? changes_[i + 1] : span_.last + 1;
      for (std::int64_t day = changes_[i]; day < end; ++day) {
        visit(static_cast<std::size_t>(day - span_.first), verdict);
      }
    }
  }

  const DaySpan& span() const { return span_; }
  std::size_t size() const { return static_cast<std::size_t>(span_.last - span_.first + 1); }

 private:
  static Truth DecideOn(const CompiledList& list, DeviceFacts& device, const Question& question);

  DaySpan span_;
  std::vector<std::int64_t> changes_;  // the days that are decided on
  std::vector<Question> questions_;    // by change
};

}  // namespace yox::decision
