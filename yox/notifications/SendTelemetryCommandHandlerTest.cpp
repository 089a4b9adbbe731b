#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "yox/base/String.h"
#include "yox/notifications/SendTelemetryCommandHandler.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Latch.h"
#include "tests/support/Rows.h"

namespace {

using namespace yox::literals;
using YOX::SendTelemetryCommandHandler;
using YOX::SendTelemetryCommandParams;
using YOX::String;
using yox::WString;
using yox_test::CapturedLog;
using yox_test::Latch;

constexpr std::int64_t kFiveMinutes = 300'000;

constexpr const char* kThrottled =
    "D YOX::SendTelemetryCommandHandler::ProcessCommand Ignored sendTelemetry command because "
    "threshold not met";
constexpr const char* kSpecific =
    "D YOX::SendTelemetryCommandHandler::ProcessCommand ignore sendTelemetry command because "
    "specific datasets have been mentioned";
constexpr const char* kNotDefined =
    "D YOX::SendTelemetryCommandHandler::ProcessCommand ignore sendTelemetry command because "
    "dataSet is not defined ";
constexpr const char* kFailed =
    "E YOX::SendTelemetryCommandHandler::DeserializeSendTelemetryCommand: failed to deserilaize "
    "sendTelemetry command ";

constinit YOX::Log g_test_log{"telemetry"};

YOXNotificationData Command(const std::string& param) {
  return {1, 1,
          String::UTF8ToUTF16(R"({"yox-message": {"action": {"cmd_param": )" + param + "}}}")};
}

const char* const kAll = R"({"dataSet": ["all"]})";

// A device that has been up for a day, whose time passes only when the test moves it.
class TelemetryTest : public testing::Test {
 protected:
  TelemetryTest() {
    handler_.RegisterRecollectTelemetryHandler([this](SendTelemetryCommandParams& params) {
      calls_ += "recollect ";
      params_ = params;
    });
    handler_.RegisterDuplicateTelemetryHandler([this](SendTelemetryCommandParams& params) {
      calls_ += "duplicate ";
      params_ = params;
    });
    SendTelemetryCommandHandler::ResetThrottle();
  }

  static yox::platform::DeviceProfile Profile() {
    yox::platform::DeviceProfile profile;
    profile.clock.emplace().now.emplace();
    return profile;
  }

  void Pass(std::int64_t milliseconds) { device_.clock().AdvanceMilliseconds(milliseconds); }

  std::string Lines() const {
    std::string lines;
    for (const auto& line : log_.Lines()) {
      EXPECT_EQ(line.log, "telemetry");
      lines += std::string(1, "DWE"[static_cast<int>(line.level)]) + " " + line.text + "\n";
    }
    return lines;
  }

  CapturedLog log_;
  yox::platform::SimulatedDevice device_{Profile()};
  yox::platform::ScopedPlatform installed_{device_};
  SendTelemetryCommandHandler handler_{g_test_log};
  std::string calls_;
  SendTelemetryCommandParams params_;
};

TEST_F(TelemetryTest, ACommandThreeMinutesAfterAnotherIsIgnored) {
  handler_.ProcessCommand(Command(kAll));
  Pass(180'000);
  handler_.ProcessCommand(Command("broken"));
  EXPECT_EQ(calls_, "duplicate ");
  EXPECT_EQ(Lines(), std::string(kThrottled) + "\n");
}

TEST_F(TelemetryTest, ACommandExactlyFiveMinutesAfterAnotherGetsThrough) {
  handler_.ProcessCommand(Command(kAll));
  Pass(kFiveMinutes - 1);
  handler_.ProcessCommand(Command(kAll));
  EXPECT_EQ(calls_, "duplicate ");
  Pass(1);
  handler_.ProcessCommand(Command(kAll));
  EXPECT_EQ(calls_, "duplicate duplicate ");
}

TEST_F(TelemetryTest, AThrottledCommandDoesNotBeginAnotherFiveMinutes) {
  handler_.ProcessCommand(Command(kAll));
  Pass(kFiveMinutes - 1);
  handler_.ProcessCommand(Command(kAll));
  Pass(1);
  handler_.ProcessCommand(Command(kAll));
  EXPECT_EQ(calls_, "duplicate duplicate ");
}

TEST_F(TelemetryTest, AnIgnoredCommandUsesUpItsFiveMinutes) {
  handler_.ProcessCommand(Command(R"({"dataSet": ["battery"]})"));
  handler_.ProcessCommand(Command(kAll));
  EXPECT_EQ(calls_, "");
  EXPECT_EQ(Lines(), std::string(kSpecific) + "\n" + kThrottled + "\n");
}

TEST_F(TelemetryTest, TheFirstFiveMinutesOfTheClockAreThrottled) {
  yox::platform::DeviceProfile profile = Profile();
  profile.clock->uptime_seconds = 299;
  yox::platform::SimulatedDevice young(profile);
  const yox::platform::ScopedPlatform installed(young);
  handler_.ProcessCommand(Command(kAll));
  EXPECT_EQ(calls_, "");
  young.clock().Advance(1);
  handler_.ProcessCommand(Command(kAll));
  EXPECT_EQ(calls_, "duplicate ");
}

// In a process of its own, in which nothing has reset the throttle.
TEST(TelemetryThrottleTest, TheFirstCommandGetsThroughWhenTheClockHasReachedFiveMinutes) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        yox::platform::DeviceProfile profile;
        profile.clock.emplace().now.emplace();
        profile.clock->uptime_seconds = 300;
        yox::platform::SimulatedDevice device(profile);
        const yox::platform::ScopedPlatform installed(device);
        SendTelemetryCommandHandler handler(g_test_log);
        handler.RegisterDuplicateTelemetryHandler(
            [](SendTelemetryCommandParams&) { std::exit(4); });
        handler.ProcessCommand(Command(kAll));
        std::exit(5);
      },
      testing::ExitedWithCode(4), "");
}

TEST_F(TelemetryTest, AfterAResetACommandGetsThrough) {
  handler_.ProcessCommand(Command(kAll));
  SendTelemetryCommandHandler::ResetThrottle();
  handler_.ProcessCommand(Command(kAll));
  EXPECT_EQ(calls_, "duplicate duplicate ");
}

TEST_F(TelemetryTest, OfTwoCommandsThatRaceOneGetsThrough) {
  constexpr int kRounds = 5000;
  std::atomic<int> passed{0};
  SendTelemetryCommandHandler handler(g_test_log);
  handler.RegisterDuplicateTelemetryHandler([&](SendTelemetryCommandParams&) { ++passed; });
  const YOXNotificationData command = Command(kAll);
  std::atomic<int> arrived{0};
  // Both arrive, one of them opens the throttle, and both start at once.
  const auto race = [&](bool opens) {
    for (int round = 0; round < kRounds; ++round) {
      if (opens) SendTelemetryCommandHandler::ResetThrottle();
      ++arrived;
      while (arrived < 2 * (2 * round + 1)) std::this_thread::yield();
      handler.ProcessCommand(command);
      ++arrived;
      while (arrived < 2 * (2 * round + 2)) std::this_thread::yield();
    }
  };
  std::thread other([&] { race(false); });
  race(true);
  other.join();
  EXPECT_EQ(passed, kRounds);
}

TEST_F(TelemetryTest, WithoutAHandlerACommandDoesNothingButStartTheCooldown) {
  SendTelemetryCommandHandler bare(g_test_log);
  bare.ProcessCommand(Command(kAll));
  EXPECT_EQ(Lines(), "");
  bare.ProcessCommand(Command(kAll));
  EXPECT_EQ(Lines(), std::string(kThrottled) + "\n");
}

TEST_F(TelemetryTest, WhatAHandlerThrowsReachesTheCaller) {
  handler_.RegisterDuplicateTelemetryHandler(
      [](SendTelemetryCommandParams&) { throw std::runtime_error("handler"); });
  EXPECT_THROW(handler_.ProcessCommand(Command(kAll)), std::runtime_error);
}

TEST_F(TelemetryTest, CopiesHaveTheHandlersAndTheLog) {
  SendTelemetryCommandHandler copy(handler_);
  copy.ProcessCommand(Command(kAll));
  SendTelemetryCommandHandler moved(std::move(copy));
  moved.ProcessCommand(Command(kAll));
  Pass(kFiveMinutes);
  moved.ProcessCommand(Command(kAll));
  EXPECT_EQ(calls_, "duplicate duplicate ");
  EXPECT_EQ(Lines(), std::string(kThrottled) + "\n");
}

struct CommandRow {
  const char* name;
  const char* param;
  const char* calls;
  std::string lines = {};
  std::vector<std::string> sets = {};
};

class TelemetryCommandTest : public TelemetryTest,
                             public testing::WithParamInterface<CommandRow> {};

TEST_P(TelemetryCommandTest, IsDecidedByItsDataSetsAndItsRecollection) {
  handler_.ProcessCommand(Command(GetParam().param));
  EXPECT_EQ(calls_, GetParam().calls);
  EXPECT_EQ(Lines(), GetParam().lines);
  std::vector<std::string> sets;
  for (const WString& set : params_.dataSets) sets.push_back(String::UTF16ToUTF8(set));
  EXPECT_EQ(sets, GetParam().sets);
}

INSTANTIATE_TEST_SUITE_P(
    , TelemetryCommandTest,
    testing::Values(
        CommandRow{"AllIsSentAgain", R"({"dataSet": ["all"]})", "duplicate "},
        CommandRow{"AllInCapitalsIsAll", R"({"dataSet": ["ALL"]})", "duplicate "},
        CommandRow{"AllBesideOthersIsAllAndTheOthersArePassedOn",
                   R"({"dataSet": ["battery", "aLL", "disk"]})",
                   "duplicate ",
                   "",
                   {"battery", "disk"}},
        CommandRow{"SpecificSetsAreIgnored", R"({"dataSet": ["battery"]})", "",
                   std::string(kSpecific) + "\n"},
        CommandRow{"ATextIsNotDefined", R"({"dataSet": "all"})", "",
                   std::string(kNotDefined) + "\n"},
        CommandRow{"AnObjectIsNotDefined", R"({"dataSet": {"a": "all"}})", "",
                   std::string(kNotDefined) + "\n"},
        CommandRow{"AnEmptyArrayIsNotDefined", R"({"dataSet": []})", "",
                   std::string(kNotDefined) + "\n"},
        CommandRow{"NothingIsNotDefined", "{}", "", std::string(kNotDefined) + "\n"},
        CommandRow{"NullIsNotDefined", "null", "", std::string(kNotDefined) + "\n"},
        CommandRow{"NoJsonIsNotDefined", "{", "", std::string(kNotDefined) + "\n"},
        CommandRow{"TrueCollects", R"({"dataSet": ["all"], "reCollect": true})", "recollect "},
        CommandRow{"FalseSendsAgain", R"({"dataSet": ["all"], "reCollect": false})", "duplicate "},
        CommandRow{"TrueAsATextCollects", R"({"dataSet": ["all"], "reCollect": "TRUE"})",
                   "recollect "},
        CommandRow{"FalseAsATextSendsAgain", R"({"dataSet": ["all"], "reCollect": "False"})",
                   "duplicate "},
        CommandRow{"AnotherTextSendsAgain", R"({"dataSet": ["all"], "reCollect": "yes"})",
                   "duplicate "},
        CommandRow{"ANumberSendsAgain", R"({"dataSet": ["all"], "reCollect": 1})", "duplicate "},
        CommandRow{"NumbersAreNames",
                   R"({"dataSet": [5, null, true, "all"]})",
                   "duplicate ",
                   "",
                   {"5", "", "true"}},
        CommandRow{"AFailureBehindAllStillSendsAgain",
                   R"({"dataSet": ["all", {}], "reCollect": true})", "duplicate ",
                   std::string(kFailed) + "Type is not convertible to string\n"}),
    yox_test::RowName());

TEST_F(TelemetryTest, APathThroughSomethingElseIsLogged) {
  handler_.ProcessCommand({1, 1, R"({"yox-message": "text"})"_w});
  EXPECT_THAT(Lines(), testing::StartsWith(kFailed));
  EXPECT_THAT(Lines(), testing::EndsWith(std::string(kNotDefined) + "\n"));
}

TEST_F(TelemetryTest, ReadingEmptiesWhatWasThere) {
  SendTelemetryCommandParams params{{"old"_w}, true, true};
  SendTelemetryCommandHandler::DeserializeSendTelemetryCommand(g_test_log, "no"_w, params);
  EXPECT_TRUE(params.dataSets.empty());
  EXPECT_FALSE(params.reCollect);
  EXPECT_FALSE(params.allDataSets);
  EXPECT_EQ(Lines(), "");
}

TEST_F(TelemetryTest, NestingIsBounded) {
  SendTelemetryCommandParams params;
  SendTelemetryCommandHandler::DeserializeSendTelemetryCommand(
      g_test_log, WString(200'000, yox::WChar{'['}), params);
  EXPECT_THAT(Lines(), testing::StartsWith(kFailed));
}

// A process that was cancelled stays so, and a repeated run of the tests has been.
bool g_cancelled = false;

class TelemetryRendezvousTest : public testing::Test {
 protected:
  void SetUp() override {
    if (g_cancelled) GTEST_SKIP() << "no thread waits any more in this process";
  }
  ~TelemetryRendezvousTest() override {
    for (std::thread& waiter : waiters_) waiter.join();
  }

  void StartWaiter() {
    waiters_.emplace_back([this] {
      ++waiting_;
      SendTelemetryCommandHandler::WaitForCollectionToComplete();
      ++passed_;
    });
  }
  // How many have passed, after the waiters have had many chances to.
  int PassedAfterAWhile() {
    while (waiting_ < static_cast<int>(waiters_.size())) std::this_thread::yield();
    for (int i = 0; i < 20'000; ++i) std::this_thread::yield();
    return passed_;
  }
  void AwaitPassed(int count) {
    while (passed_ < count) std::this_thread::yield();
  }

  std::atomic<int> waiting_{0};
  std::atomic<int> passed_{0};
  std::vector<std::thread> waiters_;
};

// The first test, because it shows that a process begins without a Notify.
TEST_F(TelemetryRendezvousTest, OneNotifyLetsOneOfTwoWaitersPass) {
  StartWaiter();
  StartWaiter();
  EXPECT_EQ(PassedAfterAWhile(), 0);
  SendTelemetryCommandHandler::Notify();
  AwaitPassed(1);
  EXPECT_EQ(PassedAfterAWhile(), 1);
  SendTelemetryCommandHandler::Notify();
  AwaitPassed(2);
}

TEST_F(TelemetryRendezvousTest, NotifiesBeforeTheWaitLetOneWaitPass) {
  SendTelemetryCommandHandler::Notify();
  SendTelemetryCommandHandler::Notify();
  SendTelemetryCommandHandler::WaitForCollectionToComplete();
  StartWaiter();
  EXPECT_EQ(PassedAfterAWhile(), 0) << "several count as one";
  SendTelemetryCommandHandler::Notify();
  AwaitPassed(1);
}

// The last test, because it lasts for the rest of the process.
TEST_F(TelemetryRendezvousTest, CancelEndsAllWaitsForGood) {
  StartWaiter();
  StartWaiter();
  EXPECT_EQ(PassedAfterAWhile(), 0);
  SendTelemetryCommandHandler::Cancel();
  g_cancelled = true;
  AwaitPassed(2);
  SendTelemetryCommandHandler::WaitForCollectionToComplete();
  SendTelemetryCommandHandler::WaitForCollectionToComplete();
}

}  // namespace
