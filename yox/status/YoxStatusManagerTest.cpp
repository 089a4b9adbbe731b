#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <thread>

#include "yox/base/Log.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/status/YoxStatusManager.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Rows.h"
#include "tests/support/SubstitutedPlatform.h"

namespace {

using YOX::YoxStatusManager;
using Gateway = YoxStatusManager::Gateway;

constexpr std::int64_t kNoon = 1772366400;  // 2026-03-01T12:00:00 UTC

class TestManager : public YoxStatusManager {
 public:
  TestManager() = default;
};

class YoxStatusManagerTest : public testing::Test {
 protected:
  void Register(Gateway gateway, int code, int times) {
    for (int i = 0; i < times; ++i) manager_.RegisterError(gateway, code);
  }

  yox::platform::SimulatedDevice device_{
      yox::platform::ReadDeviceProfile(R"({"clock": {"now": "2026-03-01T12:00:00"}})")};
  yox::platform::ScopedPlatform installed_{device_};
  TestManager manager_;
};

TEST_F(YoxStatusManagerTest, FifthOccurrenceOfOneCodeIsCritical) {
  Register(Gateway::HttpGateway, 17, 4);
  EXPECT_FALSE(manager_.HasCriticalError());
  Register(Gateway::HttpGateway, 17, 1);
  EXPECT_TRUE(manager_.HasCriticalError());
  Register(Gateway::HttpGateway, 17, 1);
  EXPECT_TRUE(manager_.HasCriticalError());
  EXPECT_EQ(manager_.GetErrors(Gateway::HttpGateway).at(0).count, 6);
  EXPECT_TRUE(manager_.GetErrors(Gateway::HttpGateway).at(0).turnedCritical);
}

TEST_F(YoxStatusManagerTest, FiveDifferentCodesAreNotCritical) {
  for (const int code : {5, -1, 3, 0, 4}) Register(Gateway::MqttGateway, code, 1);
  EXPECT_FALSE(manager_.HasCriticalError());
  const auto errors = manager_.GetErrors(Gateway::MqttGateway);
  ASSERT_EQ(errors.size(), 5U);
  const int codes[] = {5, -1, 3, 0, 4};
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(errors[i].errorCode, codes[i]);
    EXPECT_EQ(errors[i].count, 1);
    EXPECT_FALSE(errors[i].turnedCritical);
  }
}

TEST_F(YoxStatusManagerTest, OneErrorIsNamedWithoutBeingCritical) {
  Register(Gateway::HttpGateway, 17, 1);
  EXPECT_FALSE(manager_.HasCriticalError());
  EXPECT_EQ(manager_.GetCriticalErrorMessage(), "Critical error in HttpGateway; ");
}

TEST_F(YoxStatusManagerTest, MessageNamesEveryGatewayWithErrorsByAscendingNumber) {
  Register(Gateway::MqttGateway, 1, 1);
  Register(Gateway::HttpGateway, 17, 5);
  EXPECT_TRUE(manager_.HasCriticalError());
  EXPECT_EQ(manager_.GetCriticalErrorMessage(),
            "Critical error in HttpGateway; Critical error in MqttGateway; ");
}

TEST_F(YoxStatusManagerTest, ClearingTheCriticalGatewayLeavesTheOther) {
  Register(Gateway::MqttGateway, 1, 3);
  Register(Gateway::HttpGateway, 17, 5);
  manager_.ClearErrors(Gateway::HttpGateway);
  EXPECT_FALSE(manager_.HasCriticalError());
  EXPECT_EQ(manager_.GetCriticalErrorMessage(), "Critical error in MqttGateway; ");
  EXPECT_TRUE(manager_.GetErrors(Gateway::HttpGateway).empty());
  Register(Gateway::HttpGateway, 17, 4);
  EXPECT_FALSE(manager_.HasCriticalError());
}

TEST_F(YoxStatusManagerTest, ClearingAGatewayWithoutErrorsChangesNothing) {
  Register(Gateway::HttpGateway, 17, 5);
  manager_.ClearErrors(Gateway::Registration);
  EXPECT_TRUE(manager_.HasCriticalError());
  EXPECT_EQ(manager_.GetCriticalErrorMessage(), "Critical error in HttpGateway; ");
}

TEST_F(YoxStatusManagerTest, AGatewayWithoutErrorsHasAnEmptyList) {
  Register(Gateway::HttpGateway, 17, 1);
  const YoxStatusManager& manager = manager_;
  EXPECT_TRUE(manager.GetErrors(Gateway::Registration).empty());
  EXPECT_TRUE(manager.GetErrors(static_cast<Gateway>(4)).empty());
}

TEST_F(YoxStatusManagerTest, UnknownGatewayIsOneLikeTheOthers) {
  Register(Gateway::Unknown, 17, 5);
  EXPECT_TRUE(manager_.HasCriticalError());
  EXPECT_EQ(manager_.GetCriticalErrorMessage(), "Critical error in Unknown; ");
}

TEST_F(YoxStatusManagerTest, ClearingAllAndUninitResetEverything) {
  Register(Gateway::HttpGateway, 17, 5);
  manager_.ClearAllErrors();
  EXPECT_FALSE(manager_.HasCriticalError());
  EXPECT_EQ(manager_.GetCriticalErrorMessage(), "");
  Register(Gateway::HttpGateway, 17, 5);
  manager_.Uninit();
  EXPECT_FALSE(manager_.HasCriticalError());
  EXPECT_TRUE(manager_.GetErrors(Gateway::HttpGateway).empty());
  Register(Gateway::HttpGateway, 17, 1);
  EXPECT_EQ(manager_.GetErrors(Gateway::HttpGateway).at(0).count, 1);
}

TEST_F(YoxStatusManagerTest, LastOccurrenceIsRecordedAndDecidesNothing) {
  Register(Gateway::HttpGateway, 17, 4);
  device_.clock().Advance(365 * 86400);
  Register(Gateway::HttpGateway, 17, 1);
  EXPECT_TRUE(manager_.HasCriticalError());
  EXPECT_EQ(manager_.GetErrors(Gateway::HttpGateway).at(0).lastOccurred,
            std::chrono::system_clock::from_time_t(kNoon + 365 * 86400));
}

// On the machine's own clock, which counts finer than seconds.
TEST(YoxStatusManagerClockTest, LastOccurrenceLiesWithinTheCall) {
  using Clock = std::chrono::system_clock;
  yox::platform::SimulatedDevice device;
  yox_test::SubstitutedPlatform platform(device);
  platform.Set(yox::platform::Platform::Native().clock());
  const yox::platform::ScopedPlatform installed(platform);
  TestManager manager;
  const Clock::time_point before = Clock::now();
  manager.RegisterError(Gateway::HttpGateway, 17);
  const Clock::time_point after = Clock::now();
  const Clock::time_point occurred = manager.GetErrors(Gateway::HttpGateway).at(0).lastOccurred;
  EXPECT_LE(before, occurred);
  EXPECT_LE(occurred, after);
}

TEST_F(YoxStatusManagerTest, TextsOfGatewaysGoOneWayFurtherThanTheOther) {
  EXPECT_EQ(YoxStatusManager::GatewayToString(Gateway::Registration), "Registration");
  EXPECT_EQ(YoxStatusManager::GatewayToString(Gateway::HttpGateway), "HttpGateway");
  EXPECT_EQ(YoxStatusManager::GatewayToString(Gateway::MqttGateway), "MqttGateway");
  EXPECT_EQ(YoxStatusManager::GatewayToString(Gateway::Unknown), "Unknown");
  EXPECT_EQ(YoxStatusManager::StringToGateway("Registration"), Gateway::Registration);
  EXPECT_EQ(YoxStatusManager::StringToGateway("HttpGateway"), Gateway::HttpGateway);
  EXPECT_EQ(YoxStatusManager::StringToGateway("MqttGateway"), Gateway::MqttGateway);
  for (const char* const other : {"httpgateway", "Unknown", "", "HttpGateway "}) {
    EXPECT_EQ(YoxStatusManager::StringToGateway(other), Gateway::Unknown) << other;
  }
}

// The message of the std::out_of_range that `call` throws.
std::string OutOfRangeOf(auto call) {
  try {
    call();
  } catch (const std::out_of_range& error) {
    return error.what();
  }
  return "nothing was thrown";
}

TEST_F(YoxStatusManagerTest, NumberThatIsNoGatewayIsOutOfRange) {
  const auto four = static_cast<Gateway>(4);
  EXPECT_EQ(OutOfRangeOf([&] { YoxStatusManager::GatewayToString(four); }),
            "invalid unordered_map<K, T> key");
}

TEST_F(YoxStatusManagerTest, ErrorOfAnUnknownNumberRaisesButIsCounted) {
  const auto four = static_cast<Gateway>(4);
  EXPECT_EQ(OutOfRangeOf([&] { manager_.RegisterError(four, 17); }),
            "invalid unordered_map<K, T> key");
  EXPECT_EQ(manager_.GetErrors(four).size(), 1U);
  // The lock is free again, for another thread too.
  std::thread([&] { manager_.ClearErrors(four); }).join();
  EXPECT_TRUE(manager_.GetErrors(four).empty());
}

TEST_F(YoxStatusManagerTest, LogsWhatItCounts) {
  const yox_test::CapturedLog log;
  Register(Gateway::HttpGateway, 17, 5);
  manager_.ClearErrors(Gateway::HttpGateway);
  manager_.Uninit();
  const std::string line = "YoxStatusManager D YOX::YoxStatusManager::RegisterError: ";
  EXPECT_EQ(log.Text(), line + "gateway 1 error_code 17 tunredCritical 0 count 1\n" + line +
                            "gateway 1 error_code 17\n" + line + "gateway 1 error_code 17\n" +
                            line + "gateway 1 error_code 17\n" + line +
                            "gateway 1 error_code 17\n" + line +
                            "gateway 1 error_code 17 has turned critical, count : 5\n" + line +
                            "gateway 1 error_code 17\n" +
                            "YoxStatusManager D YOX::YoxStatusManager::Uninit: triggered\n");
}

TEST_F(YoxStatusManagerTest, TheFirstGetInstanceLogsAndCreates) {
  const yox_test::CapturedLog log;
  YoxStatusManager* const first = YoxStatusManager::GetInstance();
  EXPECT_EQ(YoxStatusManager::GetInstance(), first);
  EXPECT_EQ(log.Text(),
            "YoxStatusManager D YOX::YoxStatusManager::GetInstance Acquring lock for first time "
            "object creatin of YoxStatusManager\n"
            "YoxStatusManager D YOX::YoxStatusManager::GetInstance Creating object of "
            "YoxStatusManager\n"
            "YoxStatusManager D YOX::YoxStatusManager::Init: triggered\n");
}

TEST_F(YoxStatusManagerTest, HasALogFileOfItsOwn) {
  std::ifstream file(device_.files().folder() / "State" / "Logs" / "YoxStatusManager.log");
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  EXPECT_NE(text.find("YOX::YoxStatusManager::Init: triggered"), std::string::npos);
}

struct CallRow {
  const char* name;
  void (*call)(YoxStatusManager& manager);
};

class StatusCall : public YoxStatusManagerTest, public testing::WithParamInterface<CallRow> {};

// The call is made on another thread while an error is being registered, which takes long. Until
// the registration is over, it neither returns nor changes anything.
TEST_P(StatusCall, WaitsForARegistration) {
  std::thread other;
  std::atomic<bool> begun{false};
  std::atomic<bool> returned{false};
  std::atomic<bool> seen{false};
  bool returned_meanwhile = false;
  std::vector<YoxStatusManager::ErrorInfo> listed;
  YOX::Log::SetSink([&](std::string_view, YOX::LogLevel, std::string_view) {
    if (seen.exchange(true)) return;
    other = std::thread([&] {
      begun = true;
      GetParam().call(manager_);
      returned = true;
    });
    while (!begun) std::this_thread::yield();
    for (int i = 0; i < 20'000 && !returned; ++i) std::this_thread::yield();
    returned_meanwhile = returned;
    listed = manager_.GetErrors(Gateway::HttpGateway);  // the lock is this thread's
  });
  manager_.RegisterError(Gateway::HttpGateway, 7);
  other.join();
  YOX::Log::SetSink({});
  EXPECT_FALSE(returned_meanwhile);
  ASSERT_EQ(listed.size(), 1U);
  EXPECT_EQ(listed[0].count, 1);
}

INSTANTIATE_TEST_SUITE_P(
    , StatusCall,
    testing::Values(
        CallRow{"RegisterError",
                [](YoxStatusManager& manager) { manager.RegisterError(Gateway::HttpGateway, 7); }},
        CallRow{"GetErrors",
                [](YoxStatusManager& manager) { manager.GetErrors(Gateway::HttpGateway); }},
        CallRow{"HasCriticalError", [](YoxStatusManager& manager) { manager.HasCriticalError(); }},
        CallRow{"GetCriticalErrorMessage",
                [](YoxStatusManager& manager) { manager.GetCriticalErrorMessage(); }},
        CallRow{"ClearErrors",
                [](YoxStatusManager& manager) { manager.ClearErrors(Gateway::HttpGateway); }},
        CallRow{"ClearAllErrors", [](YoxStatusManager& manager) { manager.ClearAllErrors(); }}),
    yox_test::RowName());

}  // namespace
