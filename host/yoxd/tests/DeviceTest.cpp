#include <gtest/gtest.h>

#include <fstream>

#include "host/yoxd/Device.h"
#include "host/yoxd/HostSystem.h"
#include "tests/support/TemporaryFolder.h"

namespace yoxd {
namespace {

TEST(DeviceTest, TheDayEndsAtMidnightOfTheDevicesZone) {
  const yox_test::TemporaryFolder root;
  const auto profile = root.path() / "device.json";
  std::ofstream(profile)
      << R"({"clock": {"now": "2026-03-28T23:59:50", "time_zone": "Europe/Berlin"}})";
  ChosenPlatform platform({.profile = PathText(profile), .state_dir = PathText(root.path())});
  EXPECT_EQ(SecondsOfToday(), 10);
  platform.simulated()->clock().AdvanceMilliseconds(10'000);
  // The clocks are set an hour forward on this day.
  EXPECT_EQ(SecondsOfToday(), 23 * 3'600);
}

}  // namespace
}  // namespace yoxd
