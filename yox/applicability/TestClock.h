#pragma once

#include <stdexcept>
#include <string>

#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"

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

// A device at a moment of its local time.
struct At {
  explicit At(const std::string& now, const std::string& zone = "UTC")
      : device(yox::platform::ReadDeviceProfile(R"({"clock": {"now": ")" + now +
                                                R"(", "time_zone": ")" + zone + R"("}})")),
        installed(device) {}

  yox::platform::SimulatedDevice device;
  yox::platform::ScopedPlatform installed;
};

}  // namespace yox_test
