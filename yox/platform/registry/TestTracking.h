#pragma once

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include "yox/platform/registry/Registry.h"

namespace yox_test {

// Lets threads keep a number, which each reads again with `read` whenever the tracker does not say
// that it is as it was, while `write` writes 1, 2, up to `last`. Returns how often a thread had
// kept an older number than one that was already written. Ends when all have read the last one.
template <class Read, class Write>
int CountLateReads(yox::platform::RegistryTracker& tracker, int thread_count, std::uint32_t last,
                   Read read, Write write) {
  std::atomic<std::uint32_t> written{0};
  std::atomic<int> late{0};
  const auto keep = [&] {
    std::uint64_t kept = 0;
    std::uint32_t number = 0;
    while (number < last && late == 0) {
      const std::uint32_t expected = written;
      const std::uint64_t now = tracker.Generation();
      if (now == 0 || now != kept) {
        number = read();
        kept = tracker.Generation() == now ? now : 0;
      }
      if (number < expected) ++late;
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < thread_count; ++i) threads.emplace_back(keep);
  for (std::uint32_t number = 1; number <= last; ++number) {
    write(number);
    written = number;
  }
  for (std::thread& thread : threads) thread.join();
  return late;
}

}  // namespace yox_test
