#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace yox_test {

// Opens when it has been counted down to zero; threads wait for it, for half a minute at most. It
// may end as soon as Wait has returned, while the thread that opened it is still in CountDown.
class Latch {
 public:
  explicit Latch(int count = 1) { state_->count = count; }
  Latch(const Latch&) = delete;
  Latch& operator=(const Latch&) = delete;

  void CountDown() {
    const auto state = state_;
    const std::lock_guard lock(state->mutex);
    if (--state->count <= 0) state->open.notify_all();
  }

  // False when it did not open in time.
  [[nodiscard]] bool Wait() {
    const auto state = state_;
    std::unique_lock lock(state->mutex);
    return state->open.wait_for(lock, std::chrono::seconds(30), [&] { return state->count <= 0; });
  }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable open;
    int count = 0;
  };

  const std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace yox_test
