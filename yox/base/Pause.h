#pragma once

#include <thread>

namespace yox {

// One step of a short busy wait.
inline void Pause() {
#if defined(__x86_64__)
  __builtin_ia32_pause();
#else
  std::this_thread::yield();
#endif
}

}  // namespace yox
