#include "bench/AllocationCounter.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

// For each thread: a count that threads share would cost more than the allocation.
constinit thread_local yox_bench::Allocations t_allocations;

}  // namespace

void* operator new(std::size_t size) {
  ++t_allocations.count;
  t_allocations.bytes += size;
  if (void* const memory = std::malloc(size != 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

yox_bench::Allocations yox_bench::AllocationsSoFar() { return t_allocations; }
