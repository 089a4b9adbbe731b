#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace yox_test {

// A small generator of numbers (xorshift64*) that is the same on every system, unlike the
// distributions of the standard library.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15U + 0xD1B54A32D192ED03U) {
    if (state_ == 0) state_ = 1;
  }

  std::uint64_t Next() {
    state_ ^= state_ >> 12;
    state_ ^= state_ << 25;
    state_ ^= state_ >> 27;
    return state_ * 0x2545F4914F6CDD1DU;
  }
  // 0 to `limit` - 1; `limit` is not 0.
  std::size_t Below(std::size_t limit) { return static_cast<std::size_t>((Next() >> 32) % limit); }
  int Between(int first, int last) {
    return first + static_cast<int>(Below(static_cast<std::size_t>(last - first) + 1));
  }
  bool Percent(std::size_t chance) { return Below(100) < chance; }
  template <class Values>
  const auto& Pick(const Values& values) {
    return std::data(values)[Below(std::size(values))];
  }

 private:
  std::uint64_t state_;
};

}  // namespace yox_test
