#pragma once

#include "yox/platform/clock/Clock.h"

namespace yox::platform {

// The system's clocks, and its time zone as the C runtime applies it.
class WindowsClock final : public Clock {
 public:
  std::int64_t Now() const override;
  LocalDate ToLocalDate(std::int64_t moment) const override;
  std::int32_t UtcOffset(std::int64_t moment) const override;
  std::optional<std::int64_t> StartOfLocalDay(int year, int month, int day) const override;
  std::int64_t SteadyMilliseconds() const override;
  std::int64_t SteadyNanoseconds() const override;
  std::int64_t Tick() const override;
};

}  // namespace yox::platform
