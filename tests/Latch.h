#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace yox_test {

// Opens when it has been counted down to zero; threads wait for it, for half a minute at most.
class Latch {
 public:
  explicit Latch(int count = 1) : count_(count) {}
  Latch(const Latch&) = delete;
  Latch& operator=(const Latch&) = delete;

  void CountDown() {
    const std::lock_guard lock(mutex_);
    if (--count_ <= 0) open_.notify_all();
  }

  // False when it did not open in time.
  [[nodiscard]] bool Wait() {
    std::unique_lock lock(mutex_);
    return open_.wait_for(lock, std::chrono::seconds(30), [this] { return count_ <= 0; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable open_;
  int count_;
};

}  // namespace yox_test
