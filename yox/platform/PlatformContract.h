#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string_view>

#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/support/Rows.h"

// Runs a test suite on every implementation of the platform's interfaces: on this machine's own
// platform, on an empty simulated device and on one that has everything.
//   class ClockContract : public yox_test::PlatformContract {};
//   TEST_P(ClockContract, ...) { ... platform().clock() ... }
//   INSTANTIATE_TEST_SUITE_P(, ClockContract, yox_test::kEveryPlatform, yox_test::RowName());
namespace yox_test {

struct PlatformRow {
  const char* name;
  const char* profile;  // null: the machine's own
};

class PlatformContract : public testing::TestWithParam<PlatformRow> {
 protected:
  PlatformContract() {
    if (GetParam().profile != nullptr) {
      device_.emplace(yox::platform::ReadDeviceProfile(GetParam().profile));
    }
  }

  yox::platform::Platform& platform() {
    return device_ ? *device_ : yox::platform::Platform::Native();
  }
  // Whether the device has one of everything, as the profile below says. A case that looks at each
  // of several things must see that one, or it looks at nothing and cannot fail.
  bool has_everything() const { return GetParam().name == std::string_view("FullDevice"); }

 private:
  std::optional<yox::platform::SimulatedDevice> device_;
};

inline const auto kEveryPlatform = testing::Values(
    PlatformRow{"Native", nullptr}, PlatformRow{"EmptyDevice", "{}"}, PlatformRow{"FullDevice", R"({
        "clock": {"now": "2026-03-01T12:00:00", "time_zone": "America/Havana"},
        "firmware": {"manufacturer": "Contoso", "serial_number": "C0FFEE12"},
        "os": {"caption": "Microsoft Windows 11 Pro", "version": "10.0.22631.4460",
               "architecture": 9, "update_service_start_type": 3},
        "region": {"country_code": "US", "language_code": "en-US"},
        "user": {"sid": "S-1-5-21-1-2-3-1001"},
        "accelerators": [{}],
        "display_adapters": [{"description": "Contoso Graphics 7"}, {}],
        "installed_apps": [{"key": "{1}", "name": "Contoso Editor", "version": "7.1.0"}],
        "store_apps": {"Contoso.Notes": "2.0.1.0"},
        "services": {"ccmexec": "running"},
        "join": {"domain": true}})"});

}  // namespace yox_test
