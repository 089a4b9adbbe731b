#pragma once

#include <cstdint>

// Allocations of the calling thread that fail. The program's operator new is replaced for it; the
// other threads, and malloc, are as always.
namespace yox_test {

// Counts the allocations of this thread from now on, and lets the one of this number fail, counted
// from 1; 0: none fails.
void FailAllocation(std::int64_t number);
// Ends it, and returns how many allocations there were.
std::int64_t StopFailing();

}  // namespace yox_test
