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

}  // namespace yox
