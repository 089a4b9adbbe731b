#include <gtest/gtest.h>

#include <vector>

#include "yox/clientbase/CaptureDevice.h"
#include "yox/platform/PlatformContract.h"
#include "yox/platform/devices/Accelerators.h"
#include "yox/platform/devices/DisplayAdapters.h"

namespace yox::platform {
namespace {

class CaptureContract : public yox_test::PlatformContract {};

TEST_P(CaptureContract, ACapturedDeviceHasTheSameDisplayAdaptersAndAccelerators) {
  SimulatedDevice captured(CaptureDevice(platform(), {}));
  EXPECT_EQ(captured.display_adapters().Enumerate().value(),
            platform().display_adapters().Enumerate().value_or(std::vector<DisplayAdapter>()));
  EXPECT_EQ(captured.accelerators().Enumerate().value(),
            platform().accelerators().Enumerate().value_or(std::vector<Accelerator>()));
}

TEST_P(CaptureContract, ACapturedDeviceIsCapturedAsTheSameProfile) {
  const DeviceProfile profile = CaptureDevice(platform(), {"SOFTWARE"_w});
  SimulatedDevice captured(ReadDeviceProfile(WriteDeviceProfile(profile)));
  EXPECT_EQ(WriteDeviceProfile(CaptureDevice(captured, {"SOFTWARE"_w})),
            WriteDeviceProfile(profile));
}

INSTANTIATE_TEST_SUITE_P(, CaptureContract, yox_test::kEveryPlatform, yox_test::RowName());

}  // namespace
}  // namespace yox::platform
