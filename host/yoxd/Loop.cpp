#include <algorithm>
#include <optional>
#include <vector>

#include "host/yoxd/HostSystem.h"

namespace yoxd {

void TakeTurns(std::span<Part* const> parts) {
  std::vector<Watched> watched;
  std::optional<Moment> due;
  for (Part* const part : parts) {
    part->Watch(watched);
    if (const auto moment = part->Due()) due = std::min(due.value_or(*moment), *moment);
  }
  std::optional<std::chrono::milliseconds> limit;
  if (due) {
    // Rounded up, so that what is due is due after the wait.
    limit = std::clamp(std::chrono::ceil<std::chrono::milliseconds>(*due - SteadyClock::now()),
                       std::chrono::milliseconds(0), std::chrono::milliseconds(86'400'000));
  }
  WaitFor(watched, limit);
  const Moment now = SteadyClock::now();
  for (Part* const part : parts) part->Run(now);
}

}  // namespace yoxd
