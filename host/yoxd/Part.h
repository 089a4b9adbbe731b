#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

#include "yox/platform/waits/Waits.h"

namespace yoxd {

// Moments of the service's own schedule: connections, retries and limits pass in real time, also
// when the device is simulated.
using SteadyClock = std::chrono::steady_clock;
using Moment = SteadyClock::time_point;

// What the service waits for, and what it calls when that is ready: a descriptor on Linux, and on
// Windows a handle, which is ready as a whole.
struct Watched {
  yox::platform::WaitHandle::Native descriptor;
  bool read = true;
  bool write = false;
  std::function<void(bool readable, bool writable)> ready;
};

// A part of the service. All parts run on the service's one thread: none of them has a lock, and
// what a part may not do is block.
class Part {
 public:
  virtual ~Part() = default;

  // Appends what the part waits for. Called before each wait.
  virtual void Watch(std::vector<Watched>& /*watched*/) {}
  // When `Run` is to be called next; std::nullopt: only after something else has happened.
  virtual std::optional<Moment> Due() const { return std::nullopt; }
  // Called after each wait.
  virtual void Run(Moment /*now*/) {}
};

}  // namespace yoxd
