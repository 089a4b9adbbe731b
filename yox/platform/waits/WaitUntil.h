#pragma once

#include <chrono>
#include <cstdint>

#include "yox/base/ThreadSafety.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/waits/Waits.h"

namespace yox::platform {

// Waits on a condition variable until `done` is true. The limit is in milliseconds of the
// platform's clock; returns false when it came first. `lock` has the mutex that guards what `done`
// reads.
template <class Done>
bool WaitUntil(MutexLock& lock, ConditionVariable& condition, std::int64_t milliseconds,
               Done done) YOX_NO_THREAD_SAFETY_ANALYSIS {  // the lock is the caller's
  if (milliseconds == kNoTimeLimit) {
    while (!done()) condition.Wait(lock);
    return true;
  }
  Clock& clock = Platform::Get().clock();
  if (!clock.MovedByHand()) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (!done()) {
      if (!condition.WaitUntil(lock, deadline)) return done();
    }
    return true;
  }
  if (done()) return true;
  bool rung = false;
  // The alarm is set and disarmed without the lock, because the ring takes it.
  lock.Unlock();
  auto alarm = clock.RingAt(clock.SteadyMilliseconds() + milliseconds, [&] {
    const MutexLock ringing(lock.mutex());
    rung = true;
    condition.NotifyAll();
  });
  lock.Lock();
  while (!rung && !done()) condition.Wait(lock);
  const bool in_time = done();
  lock.Unlock();
  alarm.reset();
  lock.Lock();
  return in_time;
}

}  // namespace yox::platform
