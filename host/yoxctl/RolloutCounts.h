#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "yox/decision/RolloutDays.h"

namespace yoxctl {

// How many devices a list applies to on each day, at noon of each device's own calendar. A value
// without a lock: each thread counts into its own, and the results are merged.
class RolloutCounts {
 public:
  struct Count {
    std::uint64_t in = 0;            // the list applies
    std::uint64_t undetermined = 0;  // unknown facts decide
  };

  // `days` must outlive the object.
  explicit RolloutCounts(const yox::decision::RolloutDays& days)
      : days_(days), counts_(days.size()) {}
  // Counts that were made elsewhere, one for each day.
  RolloutCounts(const yox::decision::RolloutDays& days, std::uint64_t devices,
                std::vector<Count> counts)
      : days_(days), counts_(std::move(counts)), devices_(devices) {}

  // Decides the list on the device on each day. Its time zone need not be known.
  void Add(const yox::decision::CompiledList& list, yox::decision::DeviceFacts& device);
  // Adds the counts of other devices on the same days.
  void Merge(const RolloutCounts& other);

  std::uint64_t devices() const { return devices_; }
  const yox::decision::DaySpan& span() const { return days_.get().span(); }
  const Count& On(std::int64_t day) const {  // within the span
    return counts_[static_cast<std::size_t>(day - span().first)];
  }

 private:
  std::reference_wrapper<const yox::decision::RolloutDays> days_;
  std::vector<Count> counts_;  // by day
  std::uint64_t devices_ = 0;
};

// Returns for example "2026-03-01".
std::string DayText(std::int64_t day);

}  // namespace yoxctl
