#pragma once

#include <atomic>
#include <cstdint>

namespace yox::platform {

// A generation that is right as long as two numbers are what they were: a count of commits, and
// the number of the connection that read it. A seqlock, whose sequence is the generation: a reader
// takes no lock and writes nothing.
class CountedGeneration {
 public:
  // Returns the generation, or 0 unless it was set for `connection` and for the count that
  // `load_count` returns. Safe from any thread.
  template <class LoadCount>
  std::uint64_t Get(std::uint64_t connection, LoadCount load_count) const {
    const std::uint64_t generation = generation_.load(std::memory_order_acquire);
    const bool is_same = load_count() == count_.load(std::memory_order_relaxed) &&
                         connection == connection_.load(std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_acquire);
    const bool is_whole = generation_.load(std::memory_order_relaxed) == generation;
    return is_same && is_whole ? generation : 0;
  }

  // Sets a generation that was never set before. `change_source` may change where `load_count`
  // loads from; meanwhile Get returns 0. For one thread at a time.
  template <class ChangeSource>
  void Set(std::uint64_t generation, std::uint64_t connection, std::uint64_t count,
           ChangeSource change_source) {
    generation_.store(0, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_release);
    change_source();
    count_.store(count, std::memory_order_relaxed);
    connection_.store(connection, std::memory_order_relaxed);
    generation_.store(generation, std::memory_order_release);
  }

 private:
  std::atomic<std::uint64_t> generation_{0};
  std::atomic<std::uint64_t> count_{0};
  std::atomic<std::uint64_t> connection_{0};
};

}  // namespace yox::platform
