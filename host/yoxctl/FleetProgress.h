#pragma once

#include <chrono>
#include <cstddef>

#include "host/yoxctl/FactsSource.h"

namespace yoxctl {

// Shows on standard error, if that is a terminal, how far the reading of a fleet is: devices,
// share, rate and remaining time, in one line that is written again a few times a second and
// removed at the end.
class FleetProgress {
 public:
  FleetProgress();
  ~FleetProgress();
  FleetProgress(const FleetProgress&) = delete;
  FleetProgress& operator=(const FleetProgress&) = delete;

  void Show(const FactsCount& count);

 private:
  using Clock = std::chrono::steady_clock;

  const bool is_shown_;
  const Clock::time_point start_ = Clock::now();
  Clock::time_point next_;
  std::size_t columns_ = 0;  // of the line that is there
};

}  // namespace yoxctl
