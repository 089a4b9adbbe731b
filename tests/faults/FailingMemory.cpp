#include "tests/faults/FailingMemory.h"

#include <cstdlib>
#include <new>

namespace yox_test {
namespace {

// -1: allocations are not counted. Plain data: its first use in a thread allocates nothing.
thread_local std::int64_t g_count = -1;
thread_local std::int64_t g_failing = 0;

bool Fails() { return g_count >= 0 && ++g_count == g_failing; }

}  // namespace

void FailAllocation(std::int64_t number) {
  g_failing = number;
  g_count = 0;
}

std::int64_t StopFailing() {
  const std::int64_t count = g_count;
  g_count = -1;
  return count;
}

}  // namespace yox_test

// The other forms call these, but for those with an alignment, which the library does not use.
void* operator new(std::size_t size) {
  void* const memory = yox_test::Fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
