#include <gmock/gmock.h>

#include <set>
#include <stdexcept>

#include "yox/platform/devices/DeviceTreeContract.h"

#include "tests/support/CapturedLog.h"

namespace yox_test {
namespace {

using namespace yox::literals;
using testing::Contains;
using testing::IsEmpty;
using testing::Not;
using yox::WString;
using yox::platform::PresentDevice;

constexpr auto kArrived = CM_NOTIFY_ACTION_DEVICEINSTANCEENUMERATED;
constexpr auto kRemoved = CM_NOTIFY_ACTION_DEVICEINSTANCEREMOVED;

TEST_P(DeviceTreeContract, EnumerationNamesEachInstanceOnceWithItsIds) {
  std::set<WString> seen;
  for (const PresentDevice& device : Present()) {
    EXPECT_TRUE(seen.insert(device.instance_id).second);
    EXPECT_THAT(device.instance_id, Not(IsEmpty()));
    EXPECT_THAT(device.hardware_ids, Not(IsEmpty()));
    EXPECT_THAT(device.hardware_ids, Not(Contains(WString())));
  }
}

TEST_P(DeviceTreeContract, ReadingOneInstanceAgreesWithTheEnumeration) {
  for (const PresentDevice& device : Present()) {
    EXPECT_EQ(tree().HardwareIds(device.instance_id), device.hardware_ids);
  }
}

TEST_P(DeviceTreeContract, AnUnknownInstanceHasNoIds) {
  EXPECT_THAT(tree().HardwareIds("USB\\VID_0000&PID_0000\\NOWHERE"_w), IsEmpty());
  EXPECT_THAT(tree().HardwareIds(WString()), IsEmpty());
}

TEST_P(DeviceTreeContract, RegistrationsComeAndGoInAnyOrder) {
  auto first = std::make_unique<HeardEvents>(tree());
  if (!first->registered()) GTEST_SKIP() << "this system takes no registration";
  HeardEvents second(tree());
  EXPECT_TRUE(second.registered());
  first.reset();
  HeardEvents third(tree());
  EXPECT_TRUE(third.registered());
}

TEST_P(DeviceTreeEventsContract, ComingAndGoingIsToldByTheEnumeratedName) {
  HeardEvents events(tree());
  ASSERT_TRUE(events.registered());
  ASSERT_THAT(Present(), IsEmpty());
  Plug(1);
  const std::vector<PresentDevice> present = Present();
  ASSERT_EQ(present.size(), 1U);
  EXPECT_TRUE(events.Wait({kArrived, present[0].instance_id}));
  EXPECT_EQ(tree().HardwareIds(present[0].instance_id), present[0].hardware_ids);
  Unplug(1);
  EXPECT_TRUE(events.Wait({kRemoved, present[0].instance_id}));
  EXPECT_THAT(Present(), IsEmpty());
  EXPECT_THAT(tree().HardwareIds(present[0].instance_id), IsEmpty());
}

TEST_P(DeviceTreeEventsContract, TheSameDeviceAtTwoPlacesIsTwoInstances) {
  Plug(1);
  Plug(2);
  const std::vector<PresentDevice> present = Present();
  ASSERT_EQ(present.size(), 2U);
  EXPECT_NE(present[0].instance_id, present[1].instance_id);
  EXPECT_EQ(present[0].hardware_ids, present[1].hardware_ids);
}

TEST_P(DeviceTreeEventsContract, ADeviceThatNobodyEnumeratedIsToldToo) {
  HeardEvents events(tree());
  Plug(1);
  Plug(2);
  const std::vector<PresentDevice> present = Present();
  ASSERT_EQ(present.size(), 2U);
  EXPECT_TRUE(events.Wait({kArrived, present[0].instance_id}));
  EXPECT_TRUE(events.Wait({kArrived, present[1].instance_id}));
}

yox::platform::Dword Throw(HCMNOTIFICATION, void* context, CM_NOTIFY_ACTION, PCM_NOTIFY_EVENT_DATA,
                           yox::platform::Dword) {
  if (context != nullptr) throw std::runtime_error("no room");
  throw 7;
}

TEST_P(DeviceTreeEventsContract, ACallbackThatThrowsIsLoggedAndHoldsNothingUp) {
  const CapturedLog log;
  int context = 0;
  auto standard = tree().Register(Throw, &context);
  auto other = tree().Register(Throw, nullptr);
  HeardEvents events(tree());
  Plug(1);
  const std::vector<PresentDevice> present = Present();
  ASSERT_EQ(present.size(), 1U);
  EXPECT_TRUE(events.Wait({kArrived, present[0].instance_id}));
  // Ending waits for callbacks that run, and these have ended although they threw.
  standard.reset();
  other.reset();
  EXPECT_NE(log.Text().find("a callback threw an exception: no room"), std::string::npos);
  EXPECT_NE(log.Text().find("a callback threw an exception: not a standard"), std::string::npos);
}

TEST_P(DeviceTreeEventsContract, EveryRegistrationIsToldAndAnEndedOneIsNot) {
  HeardEvents ended(tree());
  HeardEvents one(tree());
  HeardEvents other(tree());
  ended.End();
  Plug(1);
  const std::vector<PresentDevice> present = Present();
  ASSERT_EQ(present.size(), 1U);
  EXPECT_TRUE(one.Wait({kArrived, present[0].instance_id}));
  EXPECT_TRUE(other.Wait({kArrived, present[0].instance_id}));
  Unplug(1);
  EXPECT_TRUE(one.Wait({kRemoved, present[0].instance_id}));
  EXPECT_TRUE(other.Wait({kRemoved, present[0].instance_id}));
  EXPECT_THAT(ended.heard(), IsEmpty());
}

}  // namespace
}  // namespace yox_test
