#include <gtest/gtest.h>

#include <string>

#include "yox/platform/registry/RegistryContract.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/faults/FailingPlatform.h"
#include "tests/faults/WholeOperations.h"
#include "tests/support/CapturedLog.h"

namespace {

using yox_test::FailingPlatform;
using yox_test::WholeOperation;
using yox_test::WholeOperations;

// Every operation with every one of its calls failing, one at a time.
class PlatformFaultsTest : public testing::TestWithParam<WholeOperation> {
 protected:
  // Lets one call after the other fail until the operation needs fewer. Whatever failed, nothing
  // is thrown, and the next time, when nothing fails, the operation does what it always does.
  static void FailEachCall(yox::platform::Platform& base) {
    const yox_test::CapturedLog quiet;
    FailingPlatform failing(base);
    const yox::platform::ScopedPlatform installed(failing.platform());
    const WholeOperation& operation = GetParam();
    operation.run();  // fills what the process keeps
    const std::string expected = operation.run();
    ASSERT_EQ(operation.run(), expected) << "the operation does not start afresh";
    int number = 1;
    for (bool failed = true; failed; ++number) {
      failing.call().Choose(number);
      ASSERT_NO_THROW(operation.run()) << "call " << number << " failed";
      failed = failing.call().calls() >= number;
      failing.call().Choose(0);
      ASSERT_EQ(operation.run(), expected) << "after call " << number << " had failed";
    }
    EXPECT_EQ(number > 2, operation.uses_what_can_fail);
    RecordProperty("calls", number - 2);
  }
};

INSTANTIATE_TEST_SUITE_P(Every, PlatformFaultsTest, testing::ValuesIn(WholeOperations()),
                         [](const auto& row) { return row.param.name; });

TEST_P(PlatformFaultsTest, OnASimulatedDevice) {
  yox::platform::SimulatedDevice device(yox::platform::ReadDeviceProfile(yox_test::kDevice));
  FailEachCall(device);
}

// Its own sources, with a clock, a registry and folders of the test's own.
TEST_P(PlatformFaultsTest, OnThisMachine) {
  yox::platform::SimulatedDevice device(yox::platform::ReadDeviceProfile(yox_test::kDevice));
  const auto registry = yox_test::NativeRegistryMaker().make();
  registry->Isolate();
  yox_test::SubstitutedPlatform machine(yox::platform::Platform::Native());
  machine.Set(device.clock());
  machine.Set(device.files());
  machine.Set(registry->registry());
  FailEachCall(machine);
}

}  // namespace
