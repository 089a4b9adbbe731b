#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "yox/decision/CompiledList.h"
#include "yox/decision/DeviceFacts.h"
#include "yox/decision/ListDays.h"
#include "yox/decision/PreparedDevice.h"

namespace yoxctl {

// How many devices a list applies to on each day, at noon of each device's own calendar. A value
// without a lock: each thread counts into its own, and the results are merged.
class RolloutCounts {
 public:
  struct Count {
    std::uint64_t in = 0;            // the list applies
    std::uint64_t undetermined = 0;  // unknown facts decide
  };

  // Counts the days of the span. `question` gives all but the time.
  RolloutCounts(const yox::decision::CompiledList& list, const yox::decision::DaySpan& span,
                const yox::decision::Question& question);

  // Decides the list on the device on each day. Its time zone need not be known.
  void Add(const yox::decision::CompiledList& list, yox::decision::DeviceFacts& device);
  // Adds the counts of other devices on the same days.
  void Merge(const RolloutCounts& other);

  std::uint64_t devices() const { return devices_; }
  const yox::decision::DaySpan& span() const { return span_; }
  const Count& On(std::int64_t day) const;  // within the span

 private:
  yox::decision::DaySpan span_;
  std::vector<std::int64_t> changes_;               // the days that are decided on
  std::vector<yox::decision::Question> questions_;  // by change
  std::vector<Count> counts_;                       // by change
  std::uint64_t devices_ = 0;
};

// Returns for example "2026-03-01".
std::string DayText(std::int64_t day);

}  // namespace yoxctl
