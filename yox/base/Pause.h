#pragma once

#include <thread>

namespace yox {

// Tells the processor, or else the scheduler, that the thread is in a busy wait. Called once in
// each round of the loop.
inline void Pause() {
#if defined(__x86_64__)
  __builtin_ia32_pause();
#else
  std::this_thread::yield();
#endif
}

// Waits busily until the condition is met, for `rounds` looks at most: for what comes within a few
// microseconds, because falling asleep and waking cost more. Returns whether it was met.
template <class Condition>
bool SpinUntil(int rounds, Condition&& is_met) {
  for (int i = 0; i < rounds; ++i) {
    if (is_met()) return true;
    Pause();
  }
  return false;
}

}  // namespace yox
