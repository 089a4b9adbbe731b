#include <gtest/gtest.h>

#include <new>
#include <string>

#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/faults/FailingMemory.h"
#include "tests/faults/WholeOperations.h"
#include "tests/support/CapturedLog.h"

namespace {

using yox_test::WholeOperation;
using yox_test::WholeOperations;

class MemoryFaultsTest : public testing::TestWithParam<WholeOperation> {};

INSTANTIATE_TEST_SUITE_P(Every, MemoryFaultsTest, testing::ValuesIn(WholeOperations()),
                         [](const auto& row) { return row.param.name; });

// Lets one allocation after the other fail. The operation may say so by std::bad_alloc and by
// nothing else; the next time it does what it always does.
TEST_P(MemoryFaultsTest, OnASimulatedDevice) {
  const yox_test::CapturedLog quiet;
  yox::platform::SimulatedDevice device(yox::platform::ReadDeviceProfile(yox_test::kDevice));
  const yox::platform::ScopedPlatform installed(device);
  const WholeOperation& operation = GetParam();
  operation.run();  // fills what the process keeps
  const std::string expected = operation.run();
  ASSERT_EQ(operation.run(), expected) << "the operation does not start afresh";

  // After the first ones, every seventh: a whole operation makes thousands.
  std::int64_t number = 1;
  for (bool failed = true; failed; number += number < 500 ? 1 : 7) {
    yox_test::FailAllocation(number);
    try {
      operation.run();
    } catch (const std::bad_alloc&) {  // one of the two ways to end
    } catch (const std::exception& exception) {
      yox_test::StopFailing();
      FAIL() << "allocation " << number << ": " << exception.what();
    }
    failed = yox_test::StopFailing() >= number;
    ASSERT_EQ(operation.run(), expected) << "after allocation " << number << " had failed";
  }
  EXPECT_GT(number, 10);
}

}  // namespace
