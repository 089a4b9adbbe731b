#pragma once

#include <cstdint>

namespace yox_bench {

struct Allocations {
  std::uint64_t count = 0;
  std::uint64_t bytes = 0;
};

// What the current thread has asked of operator new so far, in a program that links
// AllocationCounter.cpp, the shared library included.
Allocations AllocationsSoFar();

}  // namespace yox_bench
