#pragma once

#include <stdexcept>

#include "yox/platform/clock/Clock.h"

namespace yox_test {

// A clock whose time of day cannot be read, which does not happen with a system's clock.
class FailingClock final : public yox::platform::Clock {
 public:
  std::int64_t Now() const override { throw std::runtime_error("the clock fällt aus"); }
  yox::LocalDate ToLocalDate(std::int64_t) const override { return {}; }
  std::int32_t UtcOffset(std::int64_t) const override { return 0; }
  std::optional<std::int64_t> StartOfLocalDay(int, int, int) const override { return 0; }
  std::int64_t SteadyMilliseconds() const override { return 0; }
};

}  // namespace yox_test
