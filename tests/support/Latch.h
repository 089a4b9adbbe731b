#pragma once

#include <chrono>
#include <memory>

#include "yox/base/ThreadSafety.h"

namespace yox_test {

// Opens when it has been counted down to zero; threads wait for it, for half a minute at most. It
// may end as soon as Wait has returned, while the thread that opened it is still in CountDown.
class Latch {
 public:
  explicit Latch(int count = 1) : state_(std::make_shared<State>(count)) {}
  Latch(const Latch&) = delete;
  Latch& operator=(const Latch&) = delete;

  void CountDown() {
    const auto state = state_;
    const yox::MutexLock lock(state->mutex);
    if (--state->count <= 0) state->open.NotifyAll();
  }

  // False when it did not open in time.
  [[nodiscard]] bool Wait() {
    const auto state = state_;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    yox::MutexLock lock(state->mutex);
    while (state->count > 0) {
      if (!state->open.WaitUntil(lock, end)) return state->count <= 0;
    }
    return true;
  }

 private:
  struct State {
    explicit State(int from) : count(from) {}

    yox::Mutex mutex;
    yox::ConditionVariable open;
    int count YOX_GUARDED_BY(mutex);
  };

  const std::shared_ptr<State> state_;
};

}  // namespace yox_test
