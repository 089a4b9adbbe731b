#include "host/yoxd/linux/Loop.h"

#include <poll.h>

#include <algorithm>
#include <optional>
#include <vector>

namespace yoxd {

void TakeTurns(std::span<Part* const> parts) {
  std::vector<Watched> watched;
  std::optional<Moment> due;
  for (Part* const part : parts) {
    part->Watch(watched);
    if (const auto moment = part->Due()) due = std::min(due.value_or(*moment), *moment);
  }
  std::vector<pollfd> descriptors;
  for (const Watched& entry : watched) {
    const int events = (entry.read ? POLLIN : 0) | (entry.write ? POLLOUT : 0);
    descriptors.push_back({entry.descriptor, static_cast<short>(events), 0});
  }
  int limit = -1;
  if (due) {
    // Rounded up, so that what is due is due after the wait.
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*due - SteadyClock::now()).count();
    limit = static_cast<int>(std::clamp<std::int64_t>(left, 0, 86'400'000));
  }
  if (poll(descriptors.data(), descriptors.size(), limit) > 0) {
    for (std::size_t i = 0; i < descriptors.size(); ++i) {
      const int events = descriptors[i].revents;
      const bool readable = (events & (POLLIN | POLLHUP | POLLERR)) != 0;
      const bool writable = (events & POLLOUT) != 0;
      if ((readable || writable) && watched[i].ready) watched[i].ready(readable, writable);
    }
  }
  const Moment now = SteadyClock::now();
  for (Part* const part : parts) part->Run(now);
}

}  // namespace yoxd
