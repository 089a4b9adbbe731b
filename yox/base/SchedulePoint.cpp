#include "yox/base/SchedulePoint.h"

#if defined(YOX_PERTURB_SCHEDULES)

#include <atomic>
#include <chrono>
#include <thread>

namespace yox::schedule {
namespace {

// Relaxed throughout: a point must not order what the threads do, or ThreadSanitizer would see no
// race across it.
std::atomic<std::uint64_t> g_seed{0};
std::atomic<std::uint32_t> g_numbered{1000};

struct State {
  std::uint64_t seed;
  std::uint64_t value;
  std::uint32_t number;
};
constinit thread_local State t_state{};

// SplitMix64 (Steele, Lea, Flood: Fast splittable pseudorandom number generators, 2014).
std::uint64_t Next(std::uint64_t& state) {
  std::uint64_t mixed = state += 0x9E3779B97F4A7C15U;
  mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
  mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
  return mixed ^ (mixed >> 31U);
}

}  // namespace

void Point() noexcept {
  const std::uint64_t seed = g_seed.load(std::memory_order_relaxed);
  if (seed == 0) return;
  State& state = t_state;
  if (state.number == 0) state.number = g_numbered.fetch_add(1, std::memory_order_relaxed);
  if (state.seed != seed) {
    state.seed = seed;
    state.value = seed * 0x10001U + state.number;
    Next(state.value);
  }
  const std::uint64_t drawn = Next(state.value);
  if (drawn % 8 == 0) {
    std::this_thread::yield();
  } else if (drawn % 64 == 1) {
    std::this_thread::sleep_for(std::chrono::microseconds((drawn >> 32U) % 100));
  }
}

void Perturb(std::uint64_t seed) noexcept { g_seed.store(seed, std::memory_order_relaxed); }

void NumberThread(std::uint32_t number) noexcept {
  t_state.number = number;
  t_state.seed = 0;
}

}  // namespace yox::schedule

#endif
