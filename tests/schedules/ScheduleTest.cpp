// Threads that use one object at once, with pauses at every lock that follow from a seed. Each test
// has an invariant of its own, and ThreadSanitizer looks for races. The seed is in the test's name:
//   yox_schedule_tests --gtest_filter='*/17'               one of those that ctest runs
//   YOX_SCHEDULE_SEED=4711 yox_schedule_tests              any other, again
//   scripts/schedules --seeds 500                          many
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/BucketCache.h"
#include "yox/applicability/HardwareIdRepository.h"
#include "yox/applicability/PnPDeviceTracker.h"
#include "yox/base/SchedulePoint.h"
#include "yox/base/String.h"
#include "yox/base/TaskPool.h"
#include "yox/decision/Dates.h"
#include "yox/decision/Filter.h"
#include "yox/foundation/YOXHelperFactory.h"
#include "yox/notifications/YOXPublisherSubscriber.h"
#include "yox/platform/firmware/PublishedFirmware.h"
#include "yox/platform/registry/linux/LinuxRegistry.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/platform/simulated/SimulatedDeviceTree.h"
#include "yox/platform/waits/Event.h"
#include "yox/tags/AppAndTagCollection.h"
#include "yox/tags/Persona.h"
#include "yox/tags/PersonaTagRegistryMonitor.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Latch.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestRecord.h"

namespace {

using namespace yox::literals;
using YOX::String;
using yox::WString;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryValue;
using yox_test::Latch;

constexpr const char* kProfile = R"json({
  "clock": {"now": "2026-03-01T12:00:00"},
  "display_adapters": [{"description": "Intel(R) Arc(TM)", "dedicated_video_memory": 1073741824}],
  "first_run_date": "2025-01-10", "user": {"sid": "S-1-5-21-1-2-3-1001"}})json";

WString Number(int n) { return String::UTF8ToUTF16(std::to_string(n)); }

std::vector<std::uint64_t> Seeds() {
  std::uint64_t seed = 0;
  if (const char* const text = std::getenv("YOX_SCHEDULE_SEED")) {
    std::from_chars(text, text + std::strlen(text), seed);
    return {seed};
  }
  return {1, 2, 3};
}

class ScheduleTest : public testing::TestWithParam<std::uint64_t> {
 protected:
  ScheduleTest() { yox::schedule::Perturb(GetParam()); }
  ~ScheduleTest() override { yox::schedule::Perturb(0); }

  // Runs each piece on a thread of its own; all begin together.
  static void AtOnce(const std::vector<std::function<void()>>& work) {
    Latch begin(static_cast<int>(work.size()));
    std::vector<std::thread> threads;
    for (std::uint32_t i = 0; i < work.size(); ++i) {
      threads.emplace_back([&, i] {
        yox::schedule::NumberThread(i + 1);
        begin.CountDown();
        EXPECT_TRUE(begin.Wait());
        work[i]();
      });
    }
    for (std::thread& thread : threads) thread.join();
  }

  yox::platform::SimulatedDevice device_{yox::platform::ReadDeviceProfile(kProfile)};
  const yox::platform::ScopedPlatform installed_{device_};
  const yox_test::CapturedLog quiet_;
};

INSTANTIATE_TEST_SUITE_P(, ScheduleTest, testing::ValuesIn(Seeds()),
                         [](const auto& row) { return std::to_string(row.param); });

// --- The bus ---

class OwnBus : public YOXPublisherSubscriber {
 public:
  OwnBus() = default;
  ~OwnBus() override = default;
};

// Unsubscribes when it is destroyed, as a callback that owns its subscription does.
class Owner {
 public:
  explicit Owner(YOXPublisherSubscriber& bus) : bus_(bus) {}
  ~Owner() { bus_.Unsubscribe(*id); }
  Owner(const Owner&) = delete;
  Owner& operator=(const Owner&) = delete;

  const std::shared_ptr<WString> id = std::make_shared<WString>();

 private:
  YOXPublisherSubscriber& bus_;
};

TEST_P(ScheduleTest, TheBusDeliversEverythingInOrderWhileOthersComeAndGo) {
  constexpr int kRecords = 120;
  OwnBus bus;
  std::array<int, 3> last{};
  Latch all;
  bus.Subscribe(
      [&](YOXNotificationData& record) {
        const int topic = record.getTopicId();
        EXPECT_EQ(record.getEventState(), last[static_cast<std::size_t>(topic)] + 1);
        last[static_cast<std::size_t>(topic)] = record.getEventState();
        if (last[1] == kRecords && last[2] == kRecords) all.CountDown();
      },
      GetParam() % 2 == 0);
  const auto publish = [&](int topic) {
    for (int n = 1; n <= kRecords; ++n) bus.Notify({topic, n, "payload"_w}, ""_w);
  };
  AtOnce({[&] { publish(1); }, [&] { publish(2); },
          [&] {
            for (int n = 0; n < 30; ++n) {
              const auto owner = std::make_shared<Owner>(bus);
              *owner->id = bus.Subscribe([owner](YOXNotificationData&) {}, n % 3 == 0);
              bus.Unsubscribe(*owner->id);
            }
          },
          [&] {
            for (int n = 0; n < 30; ++n) bus.Unsubscribe(bus.Subscribe([](auto&) {}, false));
          }});
  EXPECT_TRUE(all.Wait()) << last[1] << " and " << last[2] << " records came";
  bus.Cleanup();
}

TEST_P(ScheduleTest, TheBusIsCleanedUpAmidDeliveriesAndNoCallComesLater) {
  for (int round = 0; round < 10; ++round) {
    const auto closed = std::make_shared<std::atomic<bool>>(false);
    const auto late = std::make_shared<std::atomic<int>>(0);
    OwnBus bus;
    for (int n = 0; n < 4; ++n) {
      auto owner = std::make_shared<Owner>(bus);
      const auto id = owner->id;
      *id = bus.Subscribe(
          [owner = std::move(owner), closed, late](YOXNotificationData&) { *late += *closed; },
          n == 0);
    }
    AtOnce({[&] {
              for (int n = 0; n < 20; ++n) bus.Notify({1, n, "payload"_w}, ""_w);
            },
            [&] {
              for (int n = 0; n < 5; ++n) bus.Subscribe([](auto&) {}, false);
            },
            [&] {
              bus.Cleanup();
              *closed = true;
            },
            [&] { bus.Cleanup(); }});
    EXPECT_EQ(*late, 0);
  }
}

// --- The task pool ---

TEST_P(ScheduleTest, ThePoolRunsEachPieceOnce) {
  class Piece final : public yox::TaskPool::Work {
   public:
    void Run() noexcept override { ++runs; }
    std::atomic<int> runs{0};
  };
  constexpr int kEach = 400;  // together more than the queue has room for
  std::vector<Piece> pieces(4 * kEach);
  {
    yox::TaskPool pool(2, std::chrono::milliseconds(1));
    std::vector<std::function<void()>> starters;
    for (int t = 0; t < 4; ++t) {
      starters.emplace_back([&, t] {
        for (int n = 0; n < kEach; ++n) pool.Start(pieces[static_cast<std::size_t>(t * kEach + n)]);
      });
    }
    AtOnce(starters);
  }
  EXPECT_TRUE(std::ranges::all_of(pieces, [](const Piece& piece) { return piece.runs == 1; }));
}

// --- Tags ---

class OwnCollection : public AppAndTagCollection {
 public:
  OwnCollection() = default;
  ~OwnCollection() = default;
};

class TagScheduleTest : public ScheduleTest {
 protected:
  TagScheduleTest() { yox::YOXHelperFactory::GetInstance()->SetMachineInformationAgent(record_); }
  ~TagScheduleTest() override { yox::YOXHelperFactory::ReleaseInstance(); }

  std::shared_ptr<MachineInformation> record_ = yox_test::MakeRecord();
  OwnCollection tags_;
};
INSTANTIATE_TEST_SUITE_P(, TagScheduleTest, testing::ValuesIn(Seeds()),
                         [](const auto& row) { return std::to_string(row.param); });

// "a:7, b:7, " and perhaps more.
bool IsOfOneList(const WString& text) {
  const WString number = text.substr(2, text.find(","_wv) - 2);
  WString expected = "a:"_w;
  expected.append(number).append(", b:"_wv).append(number).append(", "_wv);
  return text.starts_with(expected);
}

TEST_P(TagScheduleTest, TheTextIsThatOfOneList) {
  tags_.setTags({{"a"_w, "0"_w}, {"b"_w, "0"_w}});
  AtOnce({[&] {
            for (int n = 0; n < 300; ++n) tags_.setTags({{"a"_w, Number(n)}, {"b"_w, Number(n)}});
          },
          [&] {
            for (int n = 0; n < 300; ++n) tags_.AddTags({{"c"_w, Number(n)}}, false, false);
          },
          [&] {
            for (int n = 0; n < 300; ++n) {
              const WString text = tags_.getTagsAsString();
              EXPECT_TRUE(IsOfOneList(text)) << String::UTF16ToUTF8(text);
            }
          }});
}

TEST_P(TagScheduleTest, AnAdditionUndoesNoReplacement) {
  std::atomic<bool> replacing{true};
  AtOnce({[&] {
            for (int n = 0; replacing; ++n) tags_.AddTags({{"a"_w, Number(n)}}, false, false);
          },
          [&] {
            for (int n = 0; n < 400; ++n) {
              tags_.setTags({{"list"_w, Number(n)}, {"a"_w, "0"_w}});
              EXPECT_EQ(AppAndTagCollection::Shared(&tags_)->front().getValue(), Number(n));
            }
            replacing = false;
          }});
}

TEST_P(TagScheduleTest, RefreshesMeetCollections) {
  AtOnce({[&] {
            for (int n = 0; n < 40; ++n) tags_.RefreshTags(nullptr, false);
          },
          [&] {
            for (int n = 0; n < 40; ++n) tags_.CollectTags(nullptr, false, false);
          },
          [&] {
            for (int n = 0; n < 40; ++n) record_->CollectGpuNames();
          },
          [&] {
            for (int n = 0; n < 40; ++n) record_->gpu_names();
          }});
  EXPECT_EQ(record_->gpu_names(), std::vector{"Intel(R) Arc(TM)"_w});
}

TEST_P(ScheduleTest, MonitorsAreStartedAndStoppedInAnyOrder) {
  const RegistryKey intent{
      HKEY_USERS, "S-1-5-21-1-2-3-1001\\"_w + yox::Persona::kIntentRegistryPath, {}, {}};
  ASSERT_EQ(device_.registry().CreateKey(intent), RegistryStatus::kOk);
  yox::platform::Event changed;
  for (int round = 0; round < 25; ++round) {
    yox::PersonaTagRegistryMonitor monitor;
    monitor.SetChangeEvent(changed.handle());
    AtOnce({[&] { monitor.Start(); }, [&] { monitor.Stop(); }, [&] { monitor.Stop(); }});
  }
  EXPECT_FALSE(changed.IsSet());
}

// --- Decisions ---

ApplicabilityFilter::List Countries(const std::vector<const char*>& codes) {
  ApplicabilityFilter::List list;
  for (const char* const code : codes) {
    Filter filter;
    filter.set_country(String::UTF8ToUTF16(code));
    list.push_back(filter);
  }
  return list;
}

TEST_P(ScheduleTest, ADecisionIsThatOfOneList) {
  const auto record = yox_test::MakeRecord();
  record->set_os_region("US"_w);
  ApplicabilityFilter list(Countries({"US"}));
  std::atomic<int> deciding{2};
  const auto decide = [&] {
    for (int n = 0; n < 200; ++n) {
      WString reason;
      const bool applies = ApplicabilityEvaluator::CreateWithoutTasks()->EvaluateApplicability(
          record, "1.0"_w, list, nullptr, nullptr, {}, reason);
      EXPECT_EQ(reason, applies ? "Filter [0]: true; "_w
                                : "Filter [0]: country = false; Filter [1]: country = false; "_w);
    }
    --deciding;
  };
  AtOnce({decide, decide, [&] {
            while (deciding > 0) {
              list.set_filters(Countries({"DE", "FR"}));
              list.set_filters(Countries({"US"}));
            }
          }});
}

TEST_P(ScheduleTest, ABucketIsThatOfItsText) {
  yox::applicability::BucketCache cache;
  const auto ask = [&] {
    for (int n = 0; n < 200; ++n) {
      const WString text = "SN"_w + Number(n);
      EXPECT_EQ(cache.BucketOf(text),
                yox::decision::RolloutBucket(yox::decision::SaltedHashOf(text)));
    }
  };
  AtOnce({ask, ask, ask});
}

// --- What follows the device ---

TEST_P(ScheduleTest, FirmwareFactsStayWholeWhileTheyAreReadAgain) {
  class Changing final : public yox::platform::PublishedFirmware {
    std::optional<yox::platform::FirmwareFacts> Read() const override {
      yox::platform::FirmwareFacts facts;
      facts.sku = WString(40, static_cast<yox::WChar>('a' + reads_++ % 20));
      facts.family = facts.sku;
      return facts;
    }
    mutable std::atomic<int> reads_{0};
  };
  Changing firmware;
  const auto look = [&] {
    for (int n = 0; n < 300; ++n) {
      const yox::platform::FirmwareFacts* const facts = firmware.Facts();
      YOX_SCHEDULE_POINT();
      EXPECT_EQ(facts->sku, facts->family);
    }
  };
  AtOnce({look, look, [&] {
            for (int n = 0; n < 300; ++n) firmware.Reread();
          }});
}

TEST_P(ScheduleTest, TheRepositoryHasTheDevicesThatAreLeft) {
  yox::platform::SimulatedDeviceTree tree;
  HardwareIdRepository repository;
  std::atomic<int> present{0};
  repository.SetOnAdded([&](const WString&) { ++present; });
  repository.SetOnRemoved([&](const WString&) { --present; });
  PnPDeviceTracker tracker(repository, tree);
  ASSERT_TRUE(tracker.Start());
  const auto plug = [&](const WString& place) {
    for (int n = 0; n < 60; ++n) {
      const yox::platform::PresentDevice device{"USB\\"_w + place, {"COMMON"_w, place}};
      tree.Plug(device);
      EXPECT_TRUE(repository.Contains("COMMON"_w));
      EXPECT_TRUE(repository.Contains(place));
      if (n < 59) tree.Unplug(device.instance_id);
    }
  };
  AtOnce({[&] { plug("A"_w); }, [&] { plug("B"_w); },
          [&] {
            for (int n = 0; n < 200; ++n) {
              const auto ids = repository.SharedSnapshot();
              EXPECT_LE(ids->size(), 3U);
            }
          }});
  EXPECT_THAT(repository.Snapshot(), testing::UnorderedElementsAre("COMMON"_w, "A"_w, "B"_w));
  EXPECT_EQ(present, 3);
  tracker.Stop();
}

TEST_P(ScheduleTest, AReaderOfTheRegistryNeverSeesItGoBack) {
  const RegistryKey key{HKEY_LOCAL_MACHINE, "SOFTWARE\\Contoso"_w, {}, {}};
  const yox_test::TemporaryFolder folder;
  const auto store = [&] {
    return yox::platform::LinuxRegistry([path = folder.path()] { return path; }, "S-1-22-1-1000"_w);
  };
  yox::platform::LinuxRegistry registry = store();
  yox::platform::LinuxRegistry other = store();
  ASSERT_EQ(registry.CreateKey(key), RegistryStatus::kOk);
  ASSERT_EQ(registry.SetValue(key, "Count"_w, RegistryValue::Dword(0)), RegistryStatus::kOk);
  constexpr std::uint32_t kLast = 40;
  const auto seen = std::make_shared<Latch>();
  std::unique_ptr<yox::platform::RegistryWatch> watch;
  const auto count = [&](yox::platform::Registry& from) {
    RegistryValue value;
    EXPECT_EQ(from.Get(key, "Count"_w, value), RegistryStatus::kOk);
    for (std::uint32_t n = 0; n <= kLast; ++n) {
      if (value == RegistryValue::Dword(n)) return n;
    }
    ADD_FAILURE() << "a value that was never written";
    return kLast;
  };
  ASSERT_EQ(other.Watch(
                key,
                [&](const auto&) {
                  if (count(other) == kLast) seen->CountDown();
                },
                watch),
            RegistryStatus::kOk);
  const auto read = [&](yox::platform::Registry& from) {
    for (std::uint32_t before = 0; before < kLast;) {
      const std::uint32_t now = count(from);
      EXPECT_GE(now, before);
      before = std::max(before, now);
    }
  };
  AtOnce({[&] {
            for (std::uint32_t n = 1; n <= kLast; ++n) {
              EXPECT_EQ(registry.SetValue(key, "Count"_w, RegistryValue::Dword(n)),
                        RegistryStatus::kOk);
            }
          },
          [&] { read(registry); }, [&] { read(other); }});
  EXPECT_TRUE(seen->Wait()) << "the watch has not reported the last write";
}

}  // namespace
