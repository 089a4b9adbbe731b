#pragma once

#include "yox/platform/clock/Clock.h"

namespace yox::platform {

// The system's clocks, and the zone of the C runtime.
class WindowsClock final : public Clock {
 public:
  std::int64_t Now() const override;
  LocalDate ToLocalDate(std::int64_t moment) const override;
  std::optional<std::int64_t> StartOfLocalDay(int year, int month, int day) const override;
  std::int64_t SteadyMilliseconds() const override;
  std::int64_t SteadyNanoseconds() const override;
  std::int64_t UptimeSeconds() const override;
};

}  // namespace yox::platform
