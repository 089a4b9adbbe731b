// What only shows after a while: a day of a device on which something happens every few minutes,
// and everything that has threads or handles started and stopped again and again. YOX_LONG_ROUNDS
// and YOX_LONG_SEED make the one longer and the other a day of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#if defined(YOX_MEASURES_MEMORY)
#include <malloc.h>
#endif

#include "yox/applicability/HardwareIdRepository.h"
#include "yox/applicability/PnPDeviceTracker.h"
#include "yox/applicability/TestEvaluator.h"
#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/device/MachineInformation.h"
#include "yox/notifications/YOXPublisherSubscriber.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/platform/waits/Event.h"
#include "yox/tags/AppAndTagCollection.h"
#include "yox/tags/Persona.h"
#include "yox/tags/PersonaTagRegistryMonitor.h"

#include "tests/support/Encodings.h"

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
using yox_test::Wide;

constexpr const char* kProfile = R"({
  "clock": {"now": "2026-03-01T12:00:00", "time_zone": "UTC"}, "os": {"architecture": 9},
  "client": {"version": "4.2.10.0"}, "region": {"country_code": "US"}, "devices": [],
  "installed_apps": [], "user": {"sid": "S-1-5-21-1-2-3-1001"}, "first_run_date": "2025-01-10"})";
const WString kUninstall = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall"_w;
const RegistryKey kTags{HKEY_LOCAL_MACHINE, "SOFTWARE\\Tervan\\YOX\\Applicability\\Tags"_w, {}, {}};
const RegistryKey kInstalled{HKEY_LOCAL_MACHINE, kUninstall, {}, {}};

#if defined(YOX_MEASURES_MEMORY)
constexpr int kRounds = 1000;
#else
constexpr int kRounds = 50;  // where it takes long, and little is looked at
#endif

int FromEnvironment(const char* name, int otherwise) {
  const char* const text = std::getenv(name);
  return text == nullptr ? otherwise : std::atoi(text);
}

class Evaluator : public yox_test::TestEvaluator {
 public:
  using ApplicabilityEvaluator::Init;
};

class Bus : public YOXPublisherSubscriber {
 public:
  Bus() = default;
  ~Bus() override = default;
};

class Collection : public AppAndTagCollection {
 public:
  Collection() = default;
  ~Collection() = default;
};

// Whether something comes true within half a minute of real time.
template <class Condition>
bool Eventually(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return condition();
    std::this_thread::yield();
  }
  return true;
}

// Open files, threads and allocated bytes of the process; zeros where the system does not say.
struct InUse {
  std::ptrdiff_t files = 0;
  std::ptrdiff_t threads = 0;
  std::ptrdiff_t bytes = 0;

  static InUse Now() {
#if defined(YOX_MEASURES_MEMORY)
    const auto count = [](const char* folder) {
      return std::distance(std::filesystem::directory_iterator(folder), {});
    };
    return {count("/proc/self/fd"), count("/proc/self/task"),
            static_cast<std::ptrdiff_t>(mallinfo2().uordblks)};
#else
    return {};
#endif
  }
};

// Everything that has threads or handles, once. The evaluator is ended by its call, or by the event
// and its end alone, in turn, and is asked for another watch in every third round.
void StartAndStopEverything(int round) {
  Event stop;
  ApplicabilityEvaluator::SetYoxIsStoppingHandle(stop.handle());
  std::optional<Evaluator> evaluator(std::in_place);
  evaluator->Init();
  yox::PersonaTagRegistryMonitor monitor;
  monitor.Start();
  HardwareIdRepository repository;
  PnPDeviceTracker tracker(repository);
  EXPECT_TRUE(tracker.Start());
  Bus bus;
  std::atomic<int> received{0};
  const WString id = bus.Subscribe([&](YOXNotificationData&) { ++received; }, false);
  bus.Notify({7, 1, "payload"_w}, ""_w);
  EXPECT_TRUE(Eventually([&] { return received == 1; }));
  Collection collection;
  collection.RefreshTags(stop.handle(), true);
  evaluator->EvaluateHardwareIdFilter("PCI\\VEN_1"_w);
  if (round % 3 == 1) evaluator->RefreshPersonaTagMonitoring();
  bus.Unsubscribe(id);
  bus.Cleanup();
  tracker.Stop();
  monitor.Stop();
  stop.Set();
  if (round % 2 == 0) evaluator->Uninit();
  evaluator.reset();
  ApplicabilityEvaluator::SetYoxIsStoppingHandle({});
}

TEST(LongRunTest, StartingAndStoppingEverythingLeavesNothing) {
  SimulatedDevice device(ReadDeviceProfile(kProfile));
  const ScopedPlatform installed(device);
  MachineInformation::Publish();
  const int rounds = FromEnvironment("YOX_LONG_ROUNDS", kRounds);
  // What is made once, and the threads of the pool, which stay for a while.
  for (int i = 0; i < rounds / 4; ++i) StartAndStopEverything(i);
  const InUse before = InUse::Now();
  for (int i = 0; i < rounds; ++i) StartAndStopEverything(i);
  const InUse after = InUse::Now();
  RecordProperty("bytes_before", std::to_string(before.bytes));
  RecordProperty("bytes_after", std::to_string(after.bytes));
  EXPECT_LE(after.files, before.files);
  // As many of the pool's threads may be idle as a round uses at once.
  EXPECT_LE(after.threads, before.threads + 4);
  EXPECT_LT(after.bytes - before.bytes, 32 * 1024 + 16 * rounds) << before.bytes << " before";
}

// A device on which the host's evaluator runs, and what it has to know of it.
class Day {
 public:
  explicit Day(unsigned seed) : random_(seed), device_(ReadDeviceProfile(kProfile)) {
    MachineInformation::Publish();
    Write(kTags, "Round"_w, "0"_w);
    EXPECT_EQ(device_.registry().CreateKey(kInstalled), RegistryStatus::kOk);
    EXPECT_EQ(device_.registry().CreateKey(
                  {HKEY_CURRENT_USER, yox::Persona::kIntentRegistryPath, {}, {}}),
              RegistryStatus::kOk);
    listener_ = YOXPublisherSubscriber::GetInstance()->Subscribe(
        [this](YOXNotificationData& record) {
          if (record.getTopicId() == 30 && record.getEventState() == 307) ++refreshes_;
          if (record.getTopicId() == 99) ++others_;
        },
        false);
    YOX::Log::SetSink([this](std::string_view, YOX::LogLevel, std::string_view line) {
      const auto has = [&](std::string_view text) { return line.find(text) != line.npos; };
      if (has("MonitorLoop Monitoring subkey path")) is_watching_ = true;
      if (has("NotifyTagUpdatesThread: YOX Tags after update")) ++ended_;
    });
    ApplicabilityEvaluator::SetYoxIsStoppingHandle(stop_.handle());
    evaluator_.Init();
    EXPECT_TRUE(Eventually([&] { return is_watching_.load(); }));
    PassTheNextAlarm();  // the first second
  }
  ~Day() {
    stop_.Set();
    evaluator_.Uninit();
    YOX::Log::SetSink({});
    ApplicabilityEvaluator::SetYoxIsStoppingHandle({});
    YOXPublisherSubscriber::GetInstance()->Unsubscribe(listener_);
  }
  Day(const Day&) = delete;
  Day& operator=(const Day&) = delete;

  std::int64_t Milliseconds() { return device_.clock().SteadyMilliseconds(); }

  void HappenAndCheck() {
    static constexpr void (Day::*kEvents[])() = {&Day::ChangeATag,
                                                 &Day::ChangeTheApplications,
                                                 &Day::ChangeTheDevices,
                                                 &Day::Publish,
                                                 &Day::LogOn,
                                                 &Day::Wait,
                                                 &Day::Wait};
    (this->*kEvents[Below(std::size(kEvents))])();
    Check();
  }

  // Each refresh is published at most once: the bus drops a record for a subscriber that was busy
  // when the clock jumped.
  int Refreshes() {
    EXPECT_LE(refreshes_, ended_);
    return refreshes_;
  }

 private:
  std::size_t Below(std::size_t end) {
    return std::uniform_int_distribution<std::size_t>(0, end - 1)(random_);
  }
  void Write(const RegistryKey& key, const WString& name, const WString& text) {
    ASSERT_EQ(device_.registry().CreateKey(key), RegistryStatus::kOk);
    ASSERT_EQ(device_.registry().SetValue(key, name, RegistryValue::Text(text)),
              RegistryStatus::kOk);
  }
  void PassTheNextAlarm() {
    const auto alarm = device_.clock().alarms().AwaitNext(30'000);
    ASSERT_TRUE(alarm.has_value());
    device_.clock().AdvanceMilliseconds(*alarm - Milliseconds());
  }
  bool Applies(const WString& field_value, void (Filter::*set)(const WString&)) {
    Filter filter;
    (filter.*set)(field_value);
    WString reason;
    return evaluator_.IsApplicable(ApplicabilityFilter({filter}), nullptr, {}, reason);
  }

  // The tags are refreshed a minute after the change, or after the refresh that runs meanwhile.
  void ChangeATag() {
    const std::string name = "Tag" + std::to_string(Below(5));
    const std::string value = std::to_string(++changes_);
    Write(kTags, Wide(name), Wide(value));
    const auto is_known = [&] { return Applies(Wide(name + "|" + value), &Filter::set_tag); };
    for (int alarms = 0; alarms < 10 && !is_known(); ++alarms) {
      // There is none while a refresh runs.
      std::optional<std::int64_t> alarm;
      ASSERT_TRUE(Eventually([&] {
        if (is_known()) return true;
        alarm = device_.clock().alarms().AwaitNext(0);
        return alarm.has_value();
      }));
      if (alarm && *alarm > Milliseconds()) {
        device_.clock().AdvanceMilliseconds(*alarm - Milliseconds());
      }
    }
    EXPECT_TRUE(is_known()) << name << " " << value;
  }
  void ChangeTheApplications() {
    const std::string name = "App" + std::to_string(Below(4));
    const RegistryKey key{HKEY_LOCAL_MACHINE, kUninstall + "\\"_w + Wide(name), {}, {}};
    if (applications_.contains(name) && Below(2) == 0) {
      applications_.erase(name);
      ASSERT_EQ(device_.registry().DeleteKey(key), RegistryStatus::kOk);
      device_.Change([&](auto& profile) {
        std::erase_if(profile.installed_apps,
                      [&](const auto& app) { return app.key == Wide(name); });
      });
    } else {
      const std::string version = "1." + std::to_string(++changes_);
      applications_[name] = version;
      device_.Change([&](auto& profile) {
        std::erase_if(profile.installed_apps,
                      [&](const auto& app) { return app.key == Wide(name); });
        profile.installed_apps.push_back({Wide(name), Wide(name), Wide(version)});
      });
      Write(key, "DisplayVersion"_w, Wide(version));
    }
  }
  void ChangeTheDevices() {
    const std::string id = "USB\\VID_" + std::to_string(Below(4));
    const bool goes = devices_.contains(id);
    if (goes) {
      devices_.erase(id);
    } else {
      devices_[id] = true;
    }
    device_.Change([&](auto& profile) {
      if (goes) {
        std::erase_if(profile.devices,
                      [&](const auto& one) { return one.instance_id == Wide(id + "\\1"); });
      } else {
        auto& added = profile.devices.emplace_back();
        added.instance_id = Wide(id + "\\1");
        added.hardware_ids = {Wide(id)};
      }
    });
  }
  void Publish() {
    YOXPublisherSubscriber::GetInstance()->Notify({99, 1, "payload"_w}, ""_w);
    ++published_;
  }
  void LogOn() {
    device_.Change([&](auto& profile) {
      profile.user.sid = Wide("S-1-5-21-1-2-3-" + std::to_string(1001 + Below(2)));
    });
    evaluator_.RefreshPersonaTagMonitoring();
  }
  void Wait() { device_.clock().Advance(static_cast<std::int64_t>(1 + Below(1200))); }

  void Check() {
    EXPECT_TRUE(Eventually([&] { return others_ == published_; }));
    for (int i = 0; i < 4; ++i) {
      const std::string app = "App" + std::to_string(i);
      const auto known = applications_.find(app);
      EXPECT_TRUE(Eventually([&] {
        return Applies(Wide(known == applications_.end() ? app : app + "|" + known->second),
                       &Filter::set_installed_items) == (known != applications_.end());
      })) << app;
      const std::string id = "USB\\VID_" + std::to_string(i);
      EXPECT_TRUE(Eventually([&] {
        return Applies(Wide(id), &Filter::set_hardware_id) == devices_.contains(id);
      })) << id;
    }
    // The day that the clock shows, before and after midnight.
    const yox::LocalDate today = device_.clock().ToLocalDate(device_.clock().Now());
    const std::string day = std::to_string(today.year) + "-" + std::to_string(today.month) + "-" +
                            std::to_string(today.day);
    EXPECT_TRUE(Applies(Wide(day + "|" + day), &Filter::set_date_range)) << day;
    // A minute passes between two refreshes.
    EXPECT_LE(refreshes_, Milliseconds() / 60'000);
  }

  std::mt19937 random_;
  SimulatedDevice device_;
  const ScopedPlatform installed_{device_};
  Event stop_;
  Evaluator evaluator_;
  WString listener_;
  std::atomic<int> refreshes_{0};
  std::atomic<int> others_{0};
  // What the log says of the watch, and of the refreshes that have ended.
  std::atomic<bool> is_watching_{false};
  std::atomic<int> ended_{0};
  int published_ = 0;
  int changes_ = 0;
  std::map<std::string, std::string> applications_;
  std::map<std::string, bool> devices_;
};

TEST(LongRunTest, ADayOfEventsLeavesEveryDecisionRight) {
  const int seed = FromEnvironment("YOX_LONG_SEED", 22);
  RecordProperty("seed", seed);
  Day day(static_cast<unsigned>(seed));
  const std::int64_t end = day.Milliseconds() + 24 * 3600 * 1000;
  int events = 0;
  InUse early;
  for (; day.Milliseconds() < end && !testing::Test::HasFailure(); ++events) {
    day.HappenAndCheck();
    if (events == 50) early = InUse::Now();
  }
  const InUse late = InUse::Now();
  RecordProperty("events", events);
  EXPECT_GT(events, 100);
  EXPECT_GT(day.Refreshes(), 0);
  EXPECT_LE(late.files, early.files);
  EXPECT_LE(late.threads, early.threads + 4);
  EXPECT_LT(late.bytes - early.bytes, 512 * 1024);
}

}  // namespace
