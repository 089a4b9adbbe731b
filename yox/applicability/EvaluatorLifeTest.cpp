#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <vector>

#include "yox/applicability/TestEvaluator.h"
#include "yox/base/String.h"
#include "yox/base/ThreadSafety.h"
#include "yox/device/MachineInformation.h"
#include "yox/notifications/YOXPublisherSubscriber.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/registry/RecordingRegistry.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/RegistryPlatform.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/waits/Event.h"
#include "yox/tags/AppAndTagCollection.h"
#include "yox/tags/Persona.h"

#include "tests/support/AwaitedLog.h"
#include "tests/support/Latch.h"
#include "tests/support/Rows.h"
#include "tests/support/SubstitutedPlatform.h"

namespace {

using namespace yox::literals;
using YOX::String;
using yox::WString;
using yox::platform::Event;
using yox::platform::ReadDeviceProfile;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryValue;
using yox::platform::ScopedPlatform;
using yox::platform::SimulatedDevice;
using yox::platform::WaitHandle;

constexpr std::int64_t kRealHalfMinute = 30'000;
constexpr const char* kLivingProfile = R"({
  "clock": {"now": "2026-03-01T12:00:00"}, "os": {"architecture": 9},
  "user": {"sid": "S-1-5-21-1-2-3-1001"}, "first_run_date": "2025-01-10"})";
const WString kUninstall = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall"_w;
const RegistryKey kTags{HKEY_LOCAL_MACHINE, "SOFTWARE\\Tervan\\YOX\\Applicability\\Tags"_w, {}, {}};

class LivingEvaluator : public yox_test::TestEvaluator {
 public:
  using ApplicabilityEvaluator::Init;
};

// Counts the notifications of updated tags, and lets a test wait for one.
class Listener {
 public:
  Listener() {
    id_ = YOXPublisherSubscriber::GetInstance()->Subscribe(
        [this](YOXNotificationData& record) {
          const yox::MutexLock lock(mutex_);
          if (record.getTopicId() == 30 && record.getEventState() == 307 &&
              record.getPayload().empty()) {
            ++count_;
          }
          came_.NotifyAll();
        },
        false);
  }
  ~Listener() { YOXPublisherSubscriber::GetInstance()->Unsubscribe(id_); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  bool Await(int count) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    yox::MutexLock lock(mutex_);
    while (count_ < count) {
      if (!came_.WaitUntil(lock, end)) return count_ >= count;
    }
    return true;
  }
  int count() const {
    const yox::MutexLock lock(mutex_);
    return count_;
  }

 private:
  mutable yox::Mutex mutex_;
  yox::ConditionVariable came_;
  int count_ YOX_GUARDED_BY(mutex_) = 0;
  WString id_;
};

// A device with its record, and the host's stop handle.
class EvaluatorLifeTest : public testing::Test {
 protected:
  explicit EvaluatorLifeTest(const char* profile = kLivingProfile)
      : device_(ReadDeviceProfile(profile)) {
    MachineInformation::Publish();
    for (const WString& key : {kUninstall, yox::Persona::kIntentRegistryPath}) {
      EXPECT_EQ(device_.registry().CreateKey({HKEY_CURRENT_USER, key, {}, {}}),
                RegistryStatus::kOk);
    }
    ApplicabilityEvaluator::SetYoxIsStoppingHandle(stop_.handle());
  }
  ~EvaluatorLifeTest() override {
    stop_.Set();
    if (evaluator_) evaluator_->Uninit();
    ApplicabilityEvaluator::SetYoxIsStoppingHandle({});
  }

  void Start() {
    evaluator_ = std::make_unique<LivingEvaluator>();
    evaluator_->Init();
  }
  // To the end of the first second, with everything watched.
  void Run() {
    Start();
    ASSERT_TRUE(log_.Await("MonitorLoop Monitoring subkey path"));
    PassTheFirstSecond();
  }
  void PassTheFirstSecond() { PassTheNextAlarm(); }
  // Moves the clock to the alarm that another thread has set.
  void PassTheNextAlarm() {
    const auto alarm = device_.clock().alarms().AwaitNext(kRealHalfMinute);
    ASSERT_TRUE(alarm.has_value());
    device_.clock().AdvanceMilliseconds(*alarm - device_.clock().SteadyMilliseconds());
  }
  void Write(const RegistryKey& key, const WString& name, const WString& text) {
    ASSERT_EQ(device_.registry().CreateKey(key), RegistryStatus::kOk);
    ASSERT_EQ(device_.registry().SetValue(key, name, RegistryValue::Text(text)),
              RegistryStatus::kOk);
  }
  // The tags that a refresh would write, so that it changes nothing.
  void WriteTagsOfARefresh() {
    for (const char* const text : {"Device.Hardware.Npu.Exists", "OobeDate", "DaysSinceOobe"}) {
      Write(kTags, String::UTF8ToUTF16(text), "false"_w);
    }
  }
  bool AwaitHold() {
    return log_.Await("Received registry tags updated event. Waiting one minute");
  }
  // Milliseconds of real time that the end takes.
  std::int64_t End() {
    const auto start = std::chrono::steady_clock::now();
    stop_.Set();
    evaluator_->Uninit();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start)
        .count();
  }
  std::size_t Refreshes() { return log_.Count("NotifyTagUpdatesThread: YOX Tags after update"); }

  SimulatedDevice device_;
  const yox::platform::ScopedPlatform installed_{device_};
  Event stop_;
  yox_test::AwaitedLog log_;
  std::unique_ptr<LivingEvaluator> evaluator_;
};

constexpr std::int64_t kPromptly = 1'000;  // on a machine that does other things too

TEST_F(EvaluatorLifeTest, AChangeIsHeldForAMinuteRefreshedAndPublishedOnce) {
  Listener listener;
  ASSERT_NO_FATAL_FAILURE(Run());
  Write(kTags, "Channel"_w, "beta"_w);
  ASSERT_TRUE(AwaitHold());
  const auto alarm = device_.clock().alarms().AwaitNext(kRealHalfMinute);
  ASSERT_EQ(alarm, device_.clock().SteadyMilliseconds() + 60'000);
  device_.clock().AdvanceMilliseconds(59'999);
  Write(kTags, "Channel"_w, "gamma"_w);
  EXPECT_EQ(listener.count(), 0);
  device_.clock().AdvanceMilliseconds(1);
  ASSERT_TRUE(listener.Await(1));
  const std::string tags =
      String::UTF16ToUTF8(AppAndTagCollection::GetInstance()->getTagsAsString());
  EXPECT_NE(tags.find("Channel:gamma, "), std::string::npos) << tags;
  EXPECT_TRUE(log_.Await("NotifyTagUpdatesThread: YOX Tags before update: "));
  EXPECT_EQ(Refreshes(), 1U);
}

TEST_F(EvaluatorLifeTest, AThousandWritesCostOneRefreshAndOneNotification) {
  WriteTagsOfARefresh();
  Listener listener;
  ASSERT_NO_FATAL_FAILURE(Run());
  for (int i = 0; i < 1'000; ++i) {
    Write(kTags, "Tag"_w + String::UTF8ToUTF16(std::to_string(i)), "1"_w);
  }
  ASSERT_TRUE(AwaitHold());
  ASSERT_NO_FATAL_FAILURE(PassTheNextAlarm());
  ASSERT_TRUE(listener.Await(1));
  EXPECT_LT(End(), kPromptly);
  EXPECT_EQ(listener.count(), 1);
  EXPECT_EQ(Refreshes(), 1U);
}

// The refresh writes the days, which is a change of the tags: it costs one more pass, whose write
// of an equal value is none.
TEST_F(EvaluatorLifeTest, WhatTheRefreshWritesIsNoticedOnce) {
  Listener listener;
  ASSERT_NO_FATAL_FAILURE(Run());
  Write(kTags, "Channel"_w, "beta"_w);
  ASSERT_TRUE(AwaitHold());
  ASSERT_NO_FATAL_FAILURE(PassTheNextAlarm());
  ASSERT_TRUE(listener.Await(1));
  ASSERT_NO_FATAL_FAILURE(PassTheNextAlarm());
  ASSERT_TRUE(listener.Await(2));
  EXPECT_LT(End(), kPromptly);
  EXPECT_EQ(Refreshes(), 2U);
}

// The event is cleared for the pass that begins: when nothing has changed since, the next change
// begins a minute of its own.
TEST_F(EvaluatorLifeTest, AChangeAfterAPassIsHeldForAWholeMinute) {
  Listener listener;
  ASSERT_NO_FATAL_FAILURE(Run());
  Write(kTags, "Channel"_w, "beta"_w);
  ASSERT_TRUE(AwaitHold());
  ASSERT_NO_FATAL_FAILURE(PassTheNextAlarm());
  ASSERT_TRUE(listener.Await(1));
  ASSERT_NO_FATAL_FAILURE(PassTheNextAlarm());  // for what the refresh wrote
  ASSERT_TRUE(listener.Await(2));
  // Time for a pass without a cause to begin, and to be seen below.
  for (int i = 0; i < 20'000; ++i) std::this_thread::yield();
  EXPECT_EQ(log_.Count("Received registry tags updated event"), 2U);
  log_.Clear();
  device_.clock().AdvanceMilliseconds(5'000);
  Write(kTags, "Channel"_w, "gamma"_w);
  ASSERT_TRUE(AwaitHold());
  const auto alarm = device_.clock().alarms().AwaitNext(kRealHalfMinute);
  EXPECT_EQ(alarm, device_.clock().SteadyMilliseconds() + 60'000);
}

TEST_F(EvaluatorLifeTest, AChangeDuringTheRefreshIsNotLost) {
  WriteTagsOfARefresh();
  Listener listener;
  ASSERT_NO_FATAL_FAILURE(Run());
  Write(kTags, "Channel"_w, "beta"_w);
  ASSERT_TRUE(AwaitHold());
  // The watcher takes one change after another: once it has seen the applications' twice, it has
  // seen that of the tags.
  log_.OnLine("AppAndTagCollection::CollectTags: Enter", [this] {
    Write(kTags, "Channel"_w, "gamma"_w);
    for (std::size_t round = 1; round <= 3; ++round) {
      Write({HKEY_CURRENT_USER, kUninstall + "\\{1}"_w, {}, {}}, "DisplayName"_w,
            "Editor"_w + String::UTF8ToUTF16(std::to_string(round)));
      for (int i = 0; i < 30'000 && log_.Count("Updated installed apps list") < round; ++i) {
        EXPECT_TRUE(log_.Await("Updated installed apps list"));
      }
    }
  });
  ASSERT_NO_FATAL_FAILURE(PassTheNextAlarm());
  ASSERT_TRUE(listener.Await(1));
  ASSERT_NO_FATAL_FAILURE(PassTheNextAlarm());
  EXPECT_TRUE(listener.Await(2));
}

struct UninstallRow {
  const char* name;
  HKEY root;
  WString key;
};

class UninstallKey : public EvaluatorLifeTest, public testing::WithParamInterface<UninstallRow> {};

TEST_P(UninstallKey, ThatChangesHasTheApplicationsAskedAnew) {
  const RegistryKey key{GetParam().root, GetParam().key, {}, {}};
  ASSERT_EQ(device_.registry().CreateKey(key), RegistryStatus::kOk);
  ASSERT_NO_FATAL_FAILURE(Run());
  Write({GetParam().root, GetParam().key + "\\{1}"_w, {}, {}}, "DisplayName"_w, "Editor"_w);
  EXPECT_TRUE(log_.Await("RunRegMonitor Updated installed apps list"));
}

INSTANTIATE_TEST_SUITE_P(
    , UninstallKey,
    testing::Values(UninstallRow{"OfTheMachine", HKEY_LOCAL_MACHINE,
                                 "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall"_w},
                    UninstallRow{"OfTheUser", HKEY_CURRENT_USER,
                                 "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall"_w},
                    UninstallRow{
                        "Of32BitPrograms", HKEY_LOCAL_MACHINE,
                        "SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall"_w}),
    yox_test::RowName());

TEST_F(EvaluatorLifeTest, TheEndLeavesTheBus) {
  ASSERT_NO_FATAL_FAILURE(Run());
  ASSERT_EQ(log_.Count("YOXPublisherSubscriber::Unsubscribe Id"), 0U);
  End();
  EXPECT_EQ(log_.Count("size = 0 exit\n"), 1U) << log_.Text();
}

TEST_F(EvaluatorLifeTest, AChangeOfTheTagsLeavesTheApplicationsAlone) {
  Listener listener;
  ASSERT_NO_FATAL_FAILURE(Run());
  Write(kTags, "Channel"_w, "beta"_w);
  ASSERT_TRUE(AwaitHold());
  EXPECT_EQ(log_.Count("Updated installed apps list"), 0U);
}

TEST_F(EvaluatorLifeTest, AChangeOfAnUninstallKeyLeavesTheTagsAlone) {
  ASSERT_NO_FATAL_FAILURE(Run());
  Write({HKEY_CURRENT_USER, kUninstall + "\\{1}"_w, {}, {}}, "DisplayName"_w, "Editor"_w);
  EXPECT_TRUE(log_.Await(
      "ApplicabilityEvaluator D ApplicabilityEvaluator::RunRegMonitor Updated installed apps list "
      "its size is now: 0\n"));
  End();
  EXPECT_EQ(log_.Count("Received registry tags updated event"), 0U);
}

TEST_F(EvaluatorLifeTest, WatchesThatFailAreNamedAndTheTagsKeyIsMade) {
  ASSERT_NO_FATAL_FAILURE(Run());
  EXPECT_TRUE(device_.registry().Exists(kTags));
  const std::string text = log_.Text();
  const std::string origin = "ApplicabilityEvaluator E ApplicabilityEvaluator::RunRegMonitor ";
  EXPECT_NE(text.find(origin + "AddMonitorKey failed\n"), std::string::npos);
  EXPECT_EQ(text.find("AddMonitorKey failed for HKEY_CURRENT_USER"), std::string::npos);
  EXPECT_NE(text.find(origin + "AddMonitorKey failed for HKEY_LOCAL_MACHINE SOFTWARE WOW6432Node "
                               "\n"),
            std::string::npos);
  EXPECT_EQ(text.find("AddMonitorKey failed for Tags registry"), std::string::npos);
  EXPECT_EQ(text.find("failed to create Tags registry path"), std::string::npos);
}

TEST_F(EvaluatorLifeTest, ATagsKeyThatCannotBeMadeIsNamed) {
  device_.registry().SetReadOnly(true);
  Start();
  EXPECT_TRUE(
      log_.Await("ApplicabilityEvaluator::RunRegMonitor failed to create Tags registry path\n"));
  EXPECT_TRUE(
      log_.Await("ApplicabilityEvaluator::RunRegMonitor AddMonitorKey failed for Tags registry\n"));
}

TEST_F(EvaluatorLifeTest, TheFirstPlaceOnTheBusIsLeftToTheHost) {
  ASSERT_NO_FATAL_FAILURE(Run());
  auto* const bus = YOXPublisherSubscriber::GetInstance();
  yox_test::Latch both(2);
  std::atomic<bool> was_called = false;
  bool was_called_before = false;
  const WString other = bus->Subscribe(
      [&](YOXNotificationData&) {
        was_called = true;
        both.CountDown();
      },
      false);
  const WString first = bus->Subscribe(
      [&](YOXNotificationData&) {
        was_called_before = was_called;
        both.CountDown();
      },
      true);
  bus->Notify(YOXNotificationData(), {});
  EXPECT_TRUE(both.Wait());
  bus->Unsubscribe(first);
  bus->Unsubscribe(other);
  EXPECT_FALSE(was_called_before);
}

TEST_F(EvaluatorLifeTest, StartAndEndAreLoggedAndASecondEndIsNone) {
  ASSERT_NO_FATAL_FAILURE(Run());
  End();
  evaluator_->Uninit();
  evaluator_.reset();
  for (const char* const line :
       {"Init :enter", "Init :exit", "Uninit :enter", "Uninit :exit", "RunRegMonitor enter",
        "RunRegMonitor exit", "NotifyTagUpdatesThread enter",
        "NotifyTagUpdatesThread: Received ServiceStop event", "NotifyTagUpdatesThread exit",
        "~ApplicabilityEvaluator :destructor of ApplicableEvaluator"}) {
    EXPECT_EQ(log_.Count(std::string("ApplicabilityEvaluator::") + line + "\n"), 1U) << line;
  }
}

// Both tasks have logged their end when Uninit returns, although the line takes a while.
TEST_F(EvaluatorLifeTest, TheEndWaitsForBothTasks) {
  ASSERT_NO_FATAL_FAILURE(Run());
  const auto await_end = [this](const std::string& line) {
    log_.OnLine(line, [] {
      for (int i = 0; i < 1'000; ++i) std::this_thread::yield();
    });
  };
  await_end("RunRegMonitor exit");
  End();
  EXPECT_EQ(log_.Count("ApplicabilityEvaluator::RunRegMonitor exit\n"), 1U);
  EXPECT_EQ(log_.Count("ApplicabilityEvaluator::NotifyTagUpdatesThread exit\n"), 1U);
  EXPECT_TRUE(log_.Await("ApplicabilityEvaluator::Uninit :exit"));
}

TEST_F(EvaluatorLifeTest, TheEndStopsThePersonasWatch) {
  ASSERT_NO_FATAL_FAILURE(Run());
  End();
  log_.Clear();
  const RegistryKey key{
      HKEY_CURRENT_USER, yox::Persona::kIntentRegistryPath + "\\gaming"_w, {}, {}};
  ASSERT_EQ(device_.registry().CreateKey(key), RegistryStatus::kOk);
  ASSERT_EQ(device_.registry().SetValue(key, "Intent"_w, RegistryValue::Dword(1)),
            RegistryStatus::kOk);
  EXPECT_FALSE(log_.Await("Persona tags changed", 100));
}

// The next evaluator has an event of its own, which is not set.
TEST_F(EvaluatorLifeTest, AChangeThatTheEndDroppedIsNotSeenByTheNext) {
  ASSERT_NO_FATAL_FAILURE(Run());
  Write(kTags, "Channel"_w, "beta"_w);
  ASSERT_TRUE(AwaitHold());
  End();
  evaluator_.reset();
  stop_.Clear();
  log_.Clear();
  ASSERT_NO_FATAL_FAILURE(Run());
  EXPECT_FALSE(log_.Await("Received registry tags updated event", 100));
}

// The evaluator that created the event has deleted it: there is nothing to wait for but the stop.
TEST_F(EvaluatorLifeTest, WithoutAnEventTheTagTaskTriesEachMinuteAndStopsPromptly) {
  Event stop_of_first;
  stop_of_first.Set();
  LivingEvaluator first;
  first.Init();
  Start();
  ApplicabilityEvaluator::SetYoxIsStoppingHandle(stop_of_first.handle());
  first.Uninit();
  ApplicabilityEvaluator::SetYoxIsStoppingHandle(stop_.handle());
  ASSERT_NO_FATAL_FAILURE(PassTheFirstSecond());
  ASSERT_TRUE(log_.Await("Unexpected WaitForMultipleObjects return value: -1"));
  const auto alarm = device_.clock().alarms().AwaitNext(kRealHalfMinute);
  EXPECT_EQ(alarm, device_.clock().SteadyMilliseconds() + 60'000);
  EXPECT_LT(End(), kPromptly);
}

TEST_F(EvaluatorLifeTest, AnExceptionEndsTheWatchesAndIsLogged) {
  class Closed final : public yox::platform::Applications {
   public:
    ByKey Installed(yox::platform::ApplicationSource /*source*/) override {
      throw std::runtime_error("applications are closed");
    }
    std::map<WString, WString> Store() override { return {}; }
    std::uint64_t Generation() override { return 0; }
  };
  Closed applications;
  yox_test::SubstitutedPlatform platform(device_);
  platform.Set(applications);
  const ScopedPlatform installed(platform);
  ASSERT_NO_FATAL_FAILURE(Run());
  Write({HKEY_CURRENT_USER, kUninstall + "\\{1}"_w, {}, {}}, "DisplayName"_w, "Editor"_w);
  EXPECT_TRUE(
      log_.Await("ApplicabilityEvaluator E ApplicabilityEvaluator::RunRegMonitor : Exception - "
                 "applications are closed\n"));
  End();
  evaluator_.reset();
}

TEST_F(EvaluatorLifeTest, ALogOnBeforeThereIsAMonitorDoesNothing) {
  yox_test::Latch logged_on;
  log_.OnLine("ApplicabilityEvaluator::RunRegMonitor enter",
              [&] { EXPECT_TRUE(logged_on.Wait()); });
  Start();
  evaluator_->RefreshPersonaTagMonitoring();
  logged_on.CountDown();
  EXPECT_EQ(log_.Count("Initialisation is not completed or registry moniter is not yet started\n"),
            1U);
  EXPECT_TRUE(log_.Await("MonitorLoop Monitoring subkey path"));
}

TEST_F(EvaluatorLifeTest, StopsPromptlyInTheFirstSecond) {
  Start();
  EXPECT_LT(End(), kPromptly);
}

TEST_F(EvaluatorLifeTest, StopsPromptlyInTheMinute) {
  ASSERT_NO_FATAL_FAILURE(Run());
  Write(kTags, "Channel"_w, "beta"_w);
  ASSERT_TRUE(AwaitHold());
  EXPECT_LT(End(), kPromptly);
  EXPECT_EQ(Refreshes(), 0U);
}

TEST_F(EvaluatorLifeTest, StopsPromptlyWhileItWaits) {
  ASSERT_NO_FATAL_FAILURE(Run());
  EXPECT_LT(End(), kPromptly);
}

TEST_F(EvaluatorLifeTest, AStopInTheRefreshLetsItEnd) {
  ASSERT_NO_FATAL_FAILURE(Run());
  Write(kTags, "Channel"_w, "beta"_w);
  ASSERT_TRUE(AwaitHold());
  ASSERT_NO_FATAL_FAILURE(PassTheNextAlarm());
  ASSERT_TRUE(log_.Await("AppAndTagCollection::CollectTags: Enter"));
  EXPECT_LT(End(), kPromptly);
  EXPECT_EQ(Refreshes(), 1U);
}

TEST_F(EvaluatorLifeTest, WithoutAStopHandleTheTagTaskFailsSixTimes) {
  ApplicabilityEvaluator::SetYoxIsStoppingHandle({});
  ASSERT_NO_FATAL_FAILURE(Run());
  for (int second = 1; second <= 5; ++second) ASSERT_NO_FATAL_FAILURE(PassTheNextAlarm());
  ASSERT_TRUE(log_.Await("ApplicabilityEvaluator::NotifyTagUpdatesThread exit"));
  EXPECT_EQ(log_.Count("ApplicabilityEvaluator E ApplicabilityEvaluator::NotifyTagUpdatesThread: "
                       "Unexpected WaitForMultipleObjects return value: -1 GetLastError: 6\n"),
            6U);
}

TEST_F(EvaluatorLifeTest, AStopHandleSetInTheFirstSecondIsSeen) {
  ApplicabilityEvaluator::SetYoxIsStoppingHandle({});
  Start();
  ASSERT_TRUE(device_.clock().alarms().AwaitNext(kRealHalfMinute).has_value());
  ApplicabilityEvaluator::SetYoxIsStoppingHandle(stop_.handle());
  ASSERT_NO_FATAL_FAILURE(PassTheFirstSecond());
  EXPECT_LT(End(), kPromptly);
  EXPECT_EQ(log_.Count("Unexpected WaitForMultipleObjects"), 0U);
}

struct WatchRow {
  const char* name;
  std::uint32_t architecture;
  const char* tags_watch;
};

class TagsWatch : public EvaluatorLifeTest, public testing::WithParamInterface<WatchRow> {};

TEST_P(TagsWatch, IsInTheViewOfTheProcessor) {
  device_.Change([](auto& profile) { profile.os.architecture = GetParam().architecture; });
  yox_test::RecordingRegistry registry;
  yox_test::SubstitutedPlatform platform(device_);
  platform.Set(registry);
  const ScopedPlatform installed(platform);
  ASSERT_NO_FATAL_FAILURE(Run());
  End();
  evaluator_.reset();  // its watches end before the registry does
  std::vector<std::string> watches = registry.TakeCalls();
  std::erase_if(watches, [](const std::string& call) { return !call.starts_with("Watch"); });
  // The three keys of applications, the tags, and the persona.
  EXPECT_THAT(watches, testing::ElementsAre("Watch default", "Watch default", "Watch default",
                                            GetParam().tags_watch, "Watch default"));
}

INSTANTIATE_TEST_SUITE_P(, TagsWatch,
                         testing::Values(WatchRow{"X64", 9, "Watch default"},
                                         WatchRow{"Arm64", 12, "Watch 64-bit"}),
                         yox_test::RowName());

TEST_F(EvaluatorLifeTest, ALogOnBeforeTheStartDoesNothing) {
  LivingEvaluator evaluator;
  evaluator.RefreshPersonaTagMonitoring();
  EXPECT_NE(log_.Text().find(
                "ApplicabilityEvaluator D ApplicabilityEvaluator::RefreshPersonaTagMonitoring "
                "Initialisation is not completed or registry moniter is not yet started\n"),
            std::string::npos);
}

TEST_F(EvaluatorLifeTest, ALogOnThatChangesNothingSetsNoEvent) {
  ASSERT_NO_FATAL_FAILURE(Run());
  AppAndTagCollection::GetInstance()->RefreshPersonaTags();
  log_.Clear();
  evaluator_->RefreshPersonaTagMonitoring();
  ASSERT_TRUE(log_.Await("MonitorLoop Monitoring subkey path")) << "the monitor is another";
  EXPECT_EQ(log_.Count("RefreshPersonaTagMonitoring Refresh on log on\n"), 1U);
  EXPECT_EQ(log_.Count("RefreshPersonaTagMonitoring Old tags: "), 1U);
  EXPECT_EQ(log_.Count("RefreshPersonaTagMonitoring No tag changes detected\n"), 1U);
  EXPECT_EQ(log_.Count("RefreshPersonaTagMonitoring Refresh completed\n"), 1U);
  End();
  EXPECT_EQ(log_.Count("Received registry tags updated event"), 0U);
}

TEST_F(EvaluatorLifeTest, ALogOnOfAnotherUserRefreshesThePersona) {
  ASSERT_NO_FATAL_FAILURE(Run());
  AppAndTagCollection::GetInstance();
  const WString other = "S-1-5-21-1-2-3-1002"_w;
  const RegistryKey key{
      HKEY_USERS, other + "\\"_w + yox::Persona::kIntentRegistryPath + "\\gaming"_w, {}, {}};
  ASSERT_EQ(device_.registry().CreateKey(key), RegistryStatus::kOk);
  device_.registry().SetValue(key, "Intent"_w, RegistryValue::Dword(1));
  device_.Change([&](auto& profile) { profile.user.sid = other; });
  evaluator_->RefreshPersonaTagMonitoring();
  EXPECT_EQ(log_.Count("ApplicabilityEvaluator D ApplicabilityEvaluator::"
                       "RefreshPersonaTagMonitoring Tags changed on user switch "
                       "\xC3\xA2\xE2\x82\xAC\xE2\x80\x9D signaling update\n"),
            1U);
  EXPECT_TRUE(AwaitHold());
  EXPECT_NE(AppAndTagCollection::GetInstance()->getTagsAsString().find(
                "User.Usage.Detected.Gaming:Windows"_w),
            WString::npos);
}

TEST_F(EvaluatorLifeTest, APersonaAnswerIsHeldLikeATag) {
  ASSERT_NO_FATAL_FAILURE(Run());
  const RegistryKey key{
      HKEY_CURRENT_USER, yox::Persona::kIntentRegistryPath + "\\gaming"_w, {}, {}};
  for (std::uint32_t i = 2; i < 300; ++i) {  // until the watch is there, after its line
    ASSERT_EQ(device_.registry().CreateKey(key), RegistryStatus::kOk);
    device_.registry().SetValue(key, "Intent"_w, RegistryValue::Dword(i));
    if (log_.Await("Received registry tags updated event", 100)) break;
  }
  EXPECT_EQ(log_.Count("Received registry tags updated event"), 1U);
}

TEST(EvaluatorHandles, MayBeSetAndReadByThreadsAtOnce) {
  Event stop;
  ApplicabilityEvaluator::SetYoxIsStoppingHandle(stop.handle());
  std::thread other([&] {
    for (int i = 0; i < 100; ++i) ApplicabilityEvaluator::SetYoxIsStoppingHandle(stop.handle());
  });
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(ApplicabilityEvaluator::GetYoxIsStoppingHandle(), stop.handle());
  }
  other.join();
  ApplicabilityEvaluator::SetYoxIsStoppingHandle({});
}

// The second waits for the first, which is about to create the instance.
TEST(EvaluatorSingletonTest, TwoFirstCallsCreateOne) {
  SimulatedDevice device(ReadDeviceProfile(kLivingProfile));
  const yox::platform::ScopedPlatform installed(device);
  Event stop;
  yox_test::AwaitedLog log;
  ApplicabilityEvaluator::SetYoxIsStoppingHandle(stop.handle());
  constexpr const char* kCreates = "first time creating object of applicabiltyevaluator";
  std::future<ApplicabilityEvaluator*> other;
  log.OnLine(kCreates, [&] {
    other = std::async(std::launch::async, [] { return ApplicabilityEvaluator::GetInstance(); });
    while (log.Count("acquring lock") < 2) std::this_thread::yield();
    for (int i = 0; i < 1'000 && log.Count(kCreates) < 2; ++i) std::this_thread::yield();
  });
  ApplicabilityEvaluator* const evaluator = ApplicabilityEvaluator::GetInstance();
  EXPECT_EQ(log.Count(kCreates), 1U) << "needs a process of its own";
  EXPECT_TRUE(other.valid() && other.get() == evaluator);
  stop.Set();
  evaluator->Uninit();
}

// Others may ask for the instance while it starts, and get the one that is starting.
TEST(EvaluatorSingletonTest, IsPublishedBeforeItStarts) {
  SimulatedDevice device(ReadDeviceProfile(kLivingProfile));
  const yox::platform::ScopedPlatform installed(device);
  Event stop;
  yox_test::AwaitedLog log;
  ApplicabilityEvaluator::SetYoxIsStoppingHandle(stop.handle());
  std::future<ApplicabilityEvaluator*> other;
  bool was_published = false;
  log.OnLine("ApplicabilityEvaluator::Init :enter", [&] {
    other = std::async(std::launch::async, [] { return ApplicabilityEvaluator::GetInstance(); });
    was_published = other.wait_for(std::chrono::seconds(5)) == std::future_status::ready;
  });
  ApplicabilityEvaluator* const evaluator = ApplicabilityEvaluator::GetInstance();
  EXPECT_TRUE(was_published);
  EXPECT_EQ(other.get(), evaluator);
  stop.Set();
  evaluator->Uninit();
}

TEST(EvaluatorSingletonTest, OpensItsLogStartsOnceAndStaysAfterItsEnd) {
  SimulatedDevice device(ReadDeviceProfile(kLivingProfile));
  const yox::platform::ScopedPlatform installed(device);
  Event stop;
  yox_test::AwaitedLog log;
  ApplicabilityEvaluator::SetYoxIsStoppingHandle(stop.handle());
  EXPECT_EQ(ApplicabilityEvaluator::GetYoxIsStoppingHandle(), stop.handle());
  ApplicabilityEvaluator* const evaluator = ApplicabilityEvaluator::GetInstance();
  const std::string origin = "ApplicabilityEvaluator D ApplicabilityEvaluator::";
  EXPECT_EQ(
      log.Text().rfind(origin + "GetInstance acquring lock for first time object creatin of AE\n" +
                           origin +
                           "GetInstance first time creating object of "
                           "applicabiltyevaluator\n" +
                           origin + "GetInstance: Log Intialize OK!\n" + origin + "Init :enter\n",
                       0),
      0U)
      << log.Text();
  EXPECT_TRUE(
      std::filesystem::exists(device.files().folder() / "State/Logs/ApplicabilityEvaluator.log"));
  log.Clear();
  EXPECT_EQ(ApplicabilityEvaluator::GetInstance(), evaluator);
  EXPECT_EQ(log.Count("GetInstance"), 0U);
  stop.Set();
  evaluator->Uninit();
  EXPECT_EQ(ApplicabilityEvaluator::GetInstance(), evaluator);
  EXPECT_EQ(log.Count("Init :enter"), 0U) << log.Text();
}

}  // namespace
