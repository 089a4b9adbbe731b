#include "host/yoxctl/RolloutCounts.h"

#include <cstddef>

#include "yox/base/TimeZone.h"

#include "host/yoxctl/RolloutPlot.h"

namespace yoxctl {

using yox::decision::Truth;

void RolloutCounts::Add(const yox::decision::CompiledList& list,
                        yox::decision::DeviceFacts& device) {
  ++devices_;
  days_.get().ForEachDay(list, device, [&](std::size_t day, Truth applies) {
    if (applies == Truth::kTrue) ++counts_[day].in;
    if (applies == Truth::kUnknown) ++counts_[day].undetermined;
  });
}

void RolloutCounts::Merge(const RolloutCounts& other) {
  devices_ += other.devices_;
  for (std::size_t i = 0; i < counts_.size(); ++i) {
    counts_[i].in += other.counts_[i].in;
    counts_[i].undetermined += other.counts_[i].undetermined;
  }
}

std::string DayText(std::int64_t day) {
  constexpr std::int64_t kSecondsPerDay = 86400;
  return DateText(yox::TimeZone().ToLocalDate(day * kSecondsPerDay));
}

}  // namespace yoxctl
