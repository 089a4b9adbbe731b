#include <atomic>
#include <string_view>
#include <system_error>
#include <thread>

#include "yox/base/String.h"
#include "yox/platform/registry/RegistryPlatform.h"
#include "yox/platform/waits/Event.h"
#include "yox/tags/Persona.h"
#include "yox/tags/PersonaTagRegistryMonitor.h"

#include "tests/support/AwaitedLog.h"
#include "tests/support/Latch.h"

namespace {

using namespace yox::literals;
using YOX::String;
using yox::WString;
using yox::platform::Event;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryValue;
using yox::platform::WaitFor;
using yox_test::Latch;

constexpr const char* kWatching = "MonitorLoop Monitoring subkey path";

class PersonaTagRegistryMonitorTest : public yox_test::OnEveryRegistry {
 protected:
  PersonaTagRegistryMonitorTest() {
    device().Change([&](yox::platform::DeviceProfile& profile) { profile.user.sid = own_user(); });
  }
  ~PersonaTagRegistryMonitorTest() override { registry().DeleteKey(Intent()); }

  RegistryKey Intent(const WString& below = {}) {
    return {HKEY_USERS, own_user() + "\\"_w + yox::Persona::kIntentRegistryPath + below, {}, {}};
  }
  void Answer(std::uint32_t number) {
    Set(Intent("\\gaming"_w), "Intent"_w, RegistryValue::Dword(number));
  }

  // Changes the answer until the event is set, or for half a minute. Returns whether it was set.
  // Windows watches from the moment of return on; the line in the log comes before.
  bool IsNoticed() {
    while (!changed_.IsSet() && number_ < 300) {
      Answer(++number_);
      WaitFor(changed_.handle(), 100);
    }
    return changed_.IsSet();
  }

  Event changed_;
  std::uint32_t number_ = 0;
  yox::PersonaTagRegistryMonitor monitor_;
};
YOX_ON_EVERY_REGISTRY(PersonaTagRegistryMonitorTest);

TEST_P(PersonaTagRegistryMonitorTest, AnAnswerBelowTheIntentKeySetsTheEvent) {
  ASSERT_EQ(registry().CreateKey(Intent("\\gaming"_w)), RegistryStatus::kOk);
  yox_test::AwaitedLog log;
  monitor_.SetChangeEvent(changed_.handle());
  monitor_.Start();
  EXPECT_TRUE(IsNoticed());
  monitor_.Stop();
  const std::string text = log.Text();
  EXPECT_NE(text.find("yox D yox::PersonaTagRegistryMonitor::MonitorLoop Monitoring subkey path " +
                      String::UTF16ToUTF8(Intent().path) + "\n"),
            std::string::npos);
  EXPECT_NE(text.find("yox D yox::PersonaTagRegistryMonitor::MonitorLoop Persona tags changed\n"),
            std::string::npos);
}

TEST_P(PersonaTagRegistryMonitorTest, WithoutAnEventAnAnswerIsLoggedAlone) {
  ASSERT_EQ(registry().CreateKey(Intent("\\gaming"_w)), RegistryStatus::kOk);
  yox_test::AwaitedLog log;
  monitor_.Start();
  bool told = false;
  for (std::uint32_t number = 1; !told && number < 300; ++number) {
    Answer(number);
    told = log.Await("Persona tags changed", 100);
  }
  EXPECT_TRUE(told);
}

TEST_P(PersonaTagRegistryMonitorTest, AKeyThatIsNotThereEndsTheThread) {
  yox_test::AwaitedLog log;
  monitor_.SetChangeEvent(changed_.handle());
  monitor_.Start();
  EXPECT_TRUE(log.Await(
      "yox E yox::PersonaTagRegistryMonitor::MonitorLoop AddMonitorKey failed for persona tags"));
  monitor_.Stop();
  EXPECT_FALSE(changed_.IsSet());
}

TEST_P(PersonaTagRegistryMonitorTest, WithoutAUserThePathBeginsWithNothing) {
  device().Change([](yox::platform::DeviceProfile& profile) { profile.user.sid.clear(); });
  yox_test::AwaitedLog log;
  monitor_.Start();
  EXPECT_TRUE(log.Await(
      "yox D yox::PersonaTagRegistryMonitor::MonitorLoop Monitoring subkey path \\Software\\"));
  EXPECT_TRUE(log.Await("AddMonitorKey failed for persona tags"));
}

TEST_P(PersonaTagRegistryMonitorTest, StopWithoutStartReturnsAtOnce) {
  monitor_.Stop();
  monitor_.Stop();
}

TEST_P(PersonaTagRegistryMonitorTest, AStopAnywhereInTheStartEndsTheThread) {
  ASSERT_EQ(registry().CreateKey(Intent()), RegistryStatus::kOk);
  for (int i = 0; i < 100; ++i) {
    yox::PersonaTagRegistryMonitor monitor;
    monitor.SetChangeEvent(changed_.handle());
    monitor.Start();
    if (i % 2 == 0) monitor.Stop();
  }
  EXPECT_FALSE(changed_.IsSet());
}

TEST_P(PersonaTagRegistryMonitorTest, AStoppedMonitorCanBeStartedAgain) {
  ASSERT_EQ(registry().CreateKey(Intent()), RegistryStatus::kOk);
  for (int i = 0; i < 3; ++i) {
    yox_test::AwaitedLog log;
    monitor_.Start();
    EXPECT_TRUE(log.Await(kWatching));
    monitor_.Stop();
  }
}

TEST_P(PersonaTagRegistryMonitorTest, StartedAgainItNoticesAnAnswer) {
  ASSERT_EQ(registry().CreateKey(Intent("\\gaming"_w)), RegistryStatus::kOk);
  monitor_.SetChangeEvent(changed_.handle());
  monitor_.Start();
  monitor_.Stop();
  monitor_.Start();
  EXPECT_TRUE(IsNoticed());
}

// It often has the identifier of the one that has ended.
TEST_P(PersonaTagRegistryMonitorTest, AThreadThatComesAfterTheWatchingOneMayStopIt) {
  ASSERT_EQ(registry().CreateKey(Intent()), RegistryStatus::kOk);
  for (int i = 0; i < 20; ++i) {
    monitor_.Start();
    monitor_.Stop();
    std::thread([&] { EXPECT_NO_THROW(monitor_.Stop()); }).join();
  }
}

TEST_P(PersonaTagRegistryMonitorTest, SeveralThreadsMayStopIt) {
  ASSERT_EQ(registry().CreateKey(Intent()), RegistryStatus::kOk);
  for (int i = 0; i < 50; ++i) {
    yox::PersonaTagRegistryMonitor monitor;
    monitor.Start();
    std::thread other([&] { monitor.Stop(); });
    monitor.Stop();
    other.join();
  }
}

TEST_P(PersonaTagRegistryMonitorTest, StartAndStopMayRace) {
  ASSERT_EQ(registry().CreateKey(Intent()), RegistryStatus::kOk);
  Latch done;
  std::thread races([&] {
    for (int i = 0; i < 300; ++i) {
      yox::PersonaTagRegistryMonitor monitor;
      std::atomic<int> ready{0};
      const auto at_once = [&ready](const auto& call) {
        ++ready;
        while (ready < 2) std::this_thread::yield();
        call();
      };
      std::thread stopper([&] { at_once([&] { monitor.Stop(); }); });
      at_once([&] { monitor.Start(); });
      stopper.join();
    }
    done.CountDown();
  });
  ASSERT_TRUE(done.Wait()) << "a Stop waits for a thread that nothing ends";
  races.join();
}

// Another monitor of the same key shows that there were changes to notice.
TEST_P(PersonaTagRegistryMonitorTest, StoppedOnItsOwnThreadItEndsAndSaysSo) {
  ASSERT_EQ(registry().CreateKey(Intent("\\gaming"_w)), RegistryStatus::kOk);
  yox_test::AwaitedLog log;
  yox::PersonaTagRegistryMonitor other;
  other.SetChangeEvent(changed_.handle());
  other.Start();
  ASSERT_TRUE(log.Await(kWatching));
  std::error_code error;
  Latch stopped;
  log.OnLine(kWatching, [&] {
    try {
      monitor_.Stop();
    } catch (const std::system_error& thrown) {
      error = thrown.code();
    }
    stopped.CountDown();
  });
  Event ignored;
  monitor_.SetChangeEvent(ignored.handle());
  monitor_.Start();
  ASSERT_TRUE(stopped.Wait());
  EXPECT_EQ(error, std::errc::resource_deadlock_would_occur);
  EXPECT_TRUE(IsNoticed());
  for (int i = 0; i < 20; ++i) Answer(++number_);
  monitor_.Stop();
  EXPECT_FALSE(ignored.IsSet());
}

TEST_P(PersonaTagRegistryMonitorTest, StoppedOnItsOwnThreadItDoesNotWaitForAnotherStop) {
  ASSERT_EQ(registry().CreateKey(Intent()), RegistryStatus::kOk);
  yox_test::AwaitedLog log;
  std::thread other;
  std::error_code error;
  Latch refused;
  log.OnLine(kWatching, [&] {
    Latch begun;
    other = std::thread([&] {
      begun.CountDown();
      monitor_.Stop();
    });
    EXPECT_TRUE(begun.Wait());
    for (int i = 0; i < 20'000; ++i) std::this_thread::yield();  // until it waits for this thread
    try {
      monitor_.Stop();
    } catch (const std::system_error& thrown) {
      error = thrown.code();
    }
    refused.CountDown();
  });
  monitor_.Start();
  ASSERT_TRUE(refused.Wait());
  other.join();
  EXPECT_EQ(error, std::errc::resource_deadlock_would_occur);
}

}  // namespace
