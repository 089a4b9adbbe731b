#pragma once

#include <cstdint>

namespace yox_bench {

struct Allocations {
  std::uint64_t count = 0;
  std::uint64_t bytes = 0;
};

// What operator new was asked for so far, by all threads of a program that links
// AllocationCounter.cpp, the shared library included.
Allocations AllocationsSoFar();

}  // namespace yox_bench
