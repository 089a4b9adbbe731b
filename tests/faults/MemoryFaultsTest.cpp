#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <string>

#include "yox/applicability/TestEvaluator.h"
#include "yox/base/WString.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/faults/FailingMemory.h"
#include "tests/faults/WholeOperations.h"
#include "tests/support/CapturedLog.h"

namespace {

using namespace yox::literals;
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

TEST(MemoryFaultsTest, ASeedThatCannotBeHashedIsLoggedAndOutOfTheRollout) {
  yox::platform::SimulatedDevice device(
      yox::platform::ReadDeviceProfile(R"({"clock": {"now": "2026-04-10T12:00:00"}})"));
  const yox::platform::ScopedPlatform installed(device);
  const yox::WString serial(1000, 'x');
  const yox::WString function = "2026-01-01|101|linear"_w;  // the day before the last one
  yox_test::AnyEvaluator();
  yox_test::CapturedLog log;
  int failures = 0;
  for (std::int64_t number = 1;; ++number) {
    log.Clear();
    yox_test::FailAllocation(number);
    const bool reached = yox_test::AnyEvaluator().DoesDateFunctionMatch(function, &serial, nullptr);
    if (yox_test::StopFailing() < number) {
      EXPECT_TRUE(reached);
      break;
    }
    ++failures;
    EXPECT_FALSE(reached);
    EXPECT_THAT(log.Text(), testing::EndsWith("E ApplicabilityEvaluator::DoesDateFunctionMatch "
                                              "Bad alloc on seed hash.\n"));
  }
  EXPECT_GT(failures, 0);
}

}  // namespace
