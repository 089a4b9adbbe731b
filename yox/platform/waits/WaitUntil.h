#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/waits/Waits.h"

namespace yox::platform {

// Waits on a condition variable until `done` is true; answers false when the limit, in milliseconds
// of the platform's clock, came first. `lock` holds the mutex that guards what `done` reads.
template <class Done>
bool WaitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& condition,
               std::int64_t milliseconds, Done done) {
  if (milliseconds == kNoTimeLimit) {
    condition.wait(lock, done);
    return true;
  }
  Clock& clock = Platform::Get().clock();
  if (!clock.MovedByHand()) {
    return condition.wait_for(lock, std::chrono::milliseconds(milliseconds), done);
  }
  if (done()) return true;
  bool rung = false;
  // Neither setting nor disarming happens with the lock held: the ring takes it.
  lock.unlock();
  auto alarm = clock.RingAt(clock.SteadyMilliseconds() + milliseconds, [&] {
    const std::lock_guard ringing(*lock.mutex());
    rung = true;
    condition.notify_all();
  });
  lock.lock();
  condition.wait(lock, [&] { return rung || done(); });
  const bool in_time = done();
  lock.unlock();
  alarm.reset();
  lock.lock();
  return in_time;
}

}  // namespace yox::platform
