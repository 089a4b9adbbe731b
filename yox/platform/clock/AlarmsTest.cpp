#include <gtest/gtest.h>

#include <string>

#include "yox/platform/clock/Alarms.h"

namespace {

using yox::platform::Alarms;
using yox::platform::Clock;

TEST(AlarmsTest, AnAlarmRingsOnceWhenItsMomentIsReached) {
  Alarms alarms;
  int rings = 0;
  const auto alarm = alarms.Set(100, [&] { ++rings; });
  alarms.Reach(99);
  EXPECT_EQ(rings, 0);
  alarms.Reach(100);
  alarms.Reach(200);
  EXPECT_EQ(rings, 1);
}

TEST(AlarmsTest, AnAlarmForAReachedMomentRingsAtOnce) {
  Alarms alarms;
  alarms.Reach(100);
  int rings = 0;
  const auto alarm = alarms.Set(100, [&] { ++rings; });
  EXPECT_EQ(rings, 1);
}

TEST(AlarmsTest, ADestroyedAlarmIsSilent) {
  Alarms alarms;
  int rings = 0;
  alarms.Set(100, [&] { ++rings; });
  alarms.Reach(100);
  EXPECT_EQ(rings, 0);
}

TEST(AlarmsTest, TheEarliestRingsFirst) {
  Alarms alarms;
  std::string order;
  const auto late = alarms.Set(20, [&] { order += "late "; });
  const auto early = alarms.Set(10, [&] { order += "early "; });
  alarms.Reach(30);
  EXPECT_EQ(order, "early late ");
}

TEST(AlarmsTest, ARingMayDestroyItsOwnAlarmAndSetAnother) {
  Alarms alarms;
  int rings = 0;
  std::unique_ptr<Clock::Alarm> alarm;
  alarm = alarms.Set(10, [&] {
    alarm = nullptr;
    alarm = alarms.Set(20, [&] { ++rings; });
  });
  alarms.Reach(30);
  EXPECT_EQ(rings, 1);
}

TEST(AlarmsTest, ARingWithinARingMayDestroyTheOuterAlarm) {
  Alarms alarms;
  std::string order;
  std::unique_ptr<Clock::Alarm> outer;
  const auto inner = alarms.Set(20, [&] {
    outer = nullptr;
    order += "inner ";
  });
  outer = alarms.Set(10, [&] {
    alarms.Reach(20);
    order += "outer ";
  });
  alarms.Reach(10);
  EXPECT_EQ(order, "inner outer ");
}

TEST(AlarmsTest, TheEarliestAlarmCanBeAwaited) {
  Alarms alarms;
  EXPECT_EQ(alarms.AwaitNext(0), std::nullopt);
  const auto late = alarms.Set(20, [] {});
  const auto early = alarms.Set(10, [] {});
  EXPECT_EQ(alarms.AwaitNext(0), 10);
  alarms.Reach(10);
  EXPECT_EQ(alarms.AwaitNext(0), 20);
}

}  // namespace
