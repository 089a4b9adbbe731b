#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <random>

namespace yoxd {

// Exponential back-off with full jitter: the n-th wait is drawn evenly from 0 to
// min(most, first * 2^n), so that clients that lost the same server do not return together.
class Backoff {
 public:
  Backoff(std::chrono::milliseconds first, std::chrono::milliseconds most)
      : first_(first), most_(most) {}

  std::chrono::milliseconds Next() {
    const auto limit = std::min(most_, first_ * (std::int64_t{1} << std::min(failures_, 20)));
    ++failures_;
    std::uniform_int_distribution<std::int64_t> draw(0, limit.count());
    return std::chrono::milliseconds(draw(random_));
  }
  void Reset() { failures_ = 0; }
  int failures() const { return failures_; }

 private:
  const std::chrono::milliseconds first_;
  const std::chrono::milliseconds most_;
  int failures_ = 0;
  std::mt19937_64 random_{std::random_device()()};
};

}  // namespace yoxd
