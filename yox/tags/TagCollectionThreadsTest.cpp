#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/device/MachineInformation.h"
#include "yox/foundation/YOXHelperFactory.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/tags/AppAndTagCollection.h"
#include "yox/tags/TestCollection.h"

#include "tests/support/PrivateMember.h"
#include "tests/support/Rows.h"
#include "tests/support/TestRecord.h"

namespace {

using namespace yox::literals;
using YOX::String;
using yox::WString;
using yox::platform::ReadDeviceProfile;
using yox::platform::SimulatedDevice;
using yox_test::TestCollection;
using yox_test::TestRecord;

constexpr const char* kProfile = R"json({
  "clock": {"now": "2026-03-01T12:00:00"},
  "display_adapters": [{"description": "Intel(R) Arc(TM)", "dedicated_video_memory": 1073741824}],
  "first_run_date": "2025-01-10"})json";

WString Number(int n) { return String::UTF8ToUTF16(std::to_string(n)); }

// A simulated device with a machine record and a collection of its own.
class TagCollectionThreadsTest : public testing::Test {
 protected:
  TagCollectionThreadsTest() {
    yox::YOXHelperFactory::GetInstance()->SetMachineInformationAgent(record_);
  }
  ~TagCollectionThreadsTest() override {
    YOX::Log::SetSink({});
    yox::YOXHelperFactory::ReleaseInstance();
  }

  // Runs the work of each thread, all at once.
  static void AtOnce(const std::vector<std::function<void()>>& work) {
    std::vector<std::thread> threads;
    threads.reserve(work.size());
    for (const auto& one : work) threads.emplace_back(one);
    for (std::thread& thread : threads) thread.join();
  }

  SimulatedDevice device_{ReadDeviceProfile(kProfile)};
  const yox::platform::ScopedPlatform installed_{device_};
  std::shared_ptr<MachineInformation> record_ = std::make_shared<TestRecord>();
  TestCollection tags_;
};

TEST_F(TagCollectionThreadsTest, TheTextIsBuiltWhileAnotherThreadAdds) {
  AppAndTagCollection::List list;
  for (int n = 0; n < 100; ++n) list.push_back({Number(n), WString(60, yox::WChar{'x'})});
  tags_.setTags(list);
  const WString unchanged = tags_.getTagsAsString();
  std::atomic<bool> reading{true};
  AtOnce({[&] {
            for (int n = 0; reading; ++n) tags_.AddTags({{"last"_w, Number(n)}}, false, false);
          },
          [&] {
            int wrong = 0;
            for (int n = 0; n < 2000; ++n) {
              if (!tags_.getTagsAsString().starts_with(unchanged)) ++wrong;
            }
            reading = false;
            EXPECT_EQ(wrong, 0) << "the list was gone while it was read";
          }});
}

TEST_F(TagCollectionThreadsTest, AdditionsOfTwoThreadsAreBothKept) {
  constexpr int kTags = 200;
  const auto add = [&](const WString& prefix) {
    for (int n = 0; n < kTags; ++n) tags_.AddTags({{prefix + Number(n), "x"_w}}, false, false);
  };
  AtOnce({[&] { add("a"_w); }, [&] { add("b"_w); }});
  EXPECT_EQ(tags_.getTags().size(), 2U * kTags);
}

// Of a list that is replaced while tags are being added, no part comes back.
TEST_F(TagCollectionThreadsTest, AnAdditionNeverUndoesAReplacement) {
  constexpr int kLists = 20'000;
  std::atomic<bool> replacing{true};
  AtOnce({[&] {
            for (int n = 0; replacing; ++n) tags_.AddTags({{"a"_w, Number(n)}}, false, false);
          },
          [&] {
            int undone = 0;
            for (int n = 0; n < kLists; ++n) {
              tags_.setTags({{"list"_w, Number(n)}, {"a"_w, "0"_w}});
              std::this_thread::yield();
              if (AppAndTagCollection::Shared(&tags_)->front().getValue() != Number(n)) ++undone;
            }
            replacing = false;
            EXPECT_EQ(undone, 0);
          }});
}

TEST_F(TagCollectionThreadsTest, AnAdditionSurvivesARefreshOfThePersona) {
  constexpr int kTags = 300;
  std::atomic<bool> adding{true};
  AtOnce({[&] {
            while (adding) tags_.RefreshPersonaTags();
          },
          [&] {
            for (int n = 0; n < kTags; ++n) tags_.AddTags({{Number(n), "x"_w}}, false, false);
            adding = false;
          }});
  EXPECT_EQ(tags_.getTags().size(), static_cast<std::size_t>(kTags));
}

// The host collects while the tag task refreshes; both replace the record's list of adapters.
TEST_F(TagCollectionThreadsTest, ARefreshMayMeetACollection) {
  AtOnce({[&] {
            for (int n = 0; n < 300; ++n) tags_.RefreshTags(nullptr, false);
          },
          [&] {
            for (int n = 0; n < 300; ++n) tags_.CollectTags(nullptr, false, false);
          }});
  EXPECT_EQ(record_->gpu_names(), std::vector{"Intel(R) Arc(TM)"_w});
}

// Each thread makes the device managed and unmanaged, and every list has the tag once.
TEST_F(TagCollectionThreadsTest, ListsAreBuiltAtOnceWhileTheManagementChanges) {
  const yox::platform::RegistryKey policy{
      HKEY_LOCAL_MACHINE, "SOFTWARE\\Policies\\Tervan\\YOX"_w, {}, {}};
  ASSERT_EQ(device_.registry().CreateKey(policy), yox::platform::RegistryStatus::kOk);
  std::atomic<int> wrong{0};
  const auto build = [&] {
    for (std::uint32_t n = 0; n < 300; ++n) {
      device_.registry().SetValue(policy, "IsManagedDevice"_w,
                                  yox::platform::RegistryValue::Dword(n % 2));
      const auto list = tags_.getTagsFromRegistryAndMemory();
      if (list.empty() || list.back().key() != WString("Device.Usage.IsManagedDevice"_w)) ++wrong;
    }
  };
  AtOnce({build, build});
  EXPECT_EQ(wrong, 0);
}

// What has to wait while another thread has the collection's lock.
struct WaiterRow {
  const char* name;
  void (*call)(TestCollection& tags);
};
struct FillRecord : yox_test::PrivateMember<FillRecord, void (AppAndTagCollection::*)()> {};

class TagCollectionLockTest : public TagCollectionThreadsTest,
                              public testing::WithParamInterface<WaiterRow> {
 protected:
  // Whether the row's call, made on another thread when `line` is logged by `work`, returns before
  // the sink has yielded to it very often.
  bool ReturnsAt(std::string_view line, const std::function<void()>& work) {
    std::atomic<bool> begun{false};
    std::atomic<bool> returned{false};
    bool seen = false;
    bool returned_meanwhile = false;
    std::thread other;
    YOX::Log::SetSink([&](std::string_view, YOX::LogLevel, std::string_view logged) {
      if (seen || logged.find(line) == std::string_view::npos) return;
      seen = true;
      other = std::thread([&] {
        begun = true;
        GetParam().call(tags_);
        returned = true;
      });
      while (!begun) std::this_thread::yield();
      for (int i = 0; i < 20'000 && !returned; ++i) std::this_thread::yield();
      returned_meanwhile = returned;
    });
    work();
    YOX::Log::SetSink({});
    EXPECT_TRUE(seen);
    if (other.joinable()) other.join();
    return returned_meanwhile;
  }
};

TEST_P(TagCollectionLockTest, WaitsForARefresh) {
  EXPECT_FALSE(ReturnsAt("CollectTags:DaysSinceOobe", [&] { tags_.RefreshTags(nullptr, false); }));
}

TEST_P(TagCollectionLockTest, WaitsWhileTheTagsThatLastAreAdded) {
  EXPECT_FALSE(
      ReturnsAt("CollectTags:OobeDate", [&] { tags_.CollectTags(nullptr, false, false); }));
}

TEST_P(TagCollectionLockTest, WaitsWhileTheRecordIsFilledFromTheRegistry) {
  tags_.CollectTags(nullptr, false, false);  // writes the tags that last
  EXPECT_FALSE(ReturnsAt("CollectTags: Npu mfr not found",
                         [&] { tags_.CollectTags(nullptr, false, false); }));
}

TEST_P(TagCollectionLockTest, WaitsWhileTheRecordIsFilledFromTheDevice) {
  EXPECT_FALSE(
      ReturnsAt("CollectNpuInfo exiting", [&] { tags_.CollectTags(nullptr, false, false); }));
}

TEST_P(TagCollectionLockTest, WaitsForARefreshOfThePersona) {
  EXPECT_FALSE(ReturnsAt("Remove persona tags", [&] { tags_.RefreshPersonaTags(); }));
}

}  // namespace

template struct yox_test::Reach<FillRecord, &AppAndTagCollection::ReadFromRegAndSetTags>;

namespace {

INSTANTIATE_TEST_SUITE_P(
    , TagCollectionLockTest,
    testing::Values(
        WaiterRow{"GetTags", [](TestCollection& tags) { tags.getTags(); }},
        WaiterRow{"GetTagsAsString", [](TestCollection& tags) { tags.getTagsAsString(); }},
        WaiterRow{"SetTags",
                  [](TestCollection& tags) {
                    tags.setTags({{"a"_w, "1"_w}});
                  }},
        WaiterRow{"ExtractCollecitonOfKeys",
                  [](TestCollection& tags) { TestCollection::ExtractCollecitonOfKeys(&tags); }},
        WaiterRow{"ReadFromRegAndSetTags",
                  [](TestCollection& tags) { (tags.*Reached(FillRecord{}))(); }},
        WaiterRow{"RefreshPersonaTags", [](TestCollection& tags) { tags.RefreshPersonaTags(); }},
        WaiterRow{"RefreshTags", [](TestCollection& tags) { tags.RefreshTags(nullptr, false); }}),
    yox_test::RowName());

// Readers of the shared list, and additions, never wait.
TEST_F(TagCollectionThreadsTest, ARefreshHoldsUpNoReaderAndNoAddition) {
  bool seen = false;
  YOX::Log::SetSink([&](std::string_view, YOX::LogLevel, std::string_view logged) {
    if (seen || logged.find("CollectTags:DaysSinceOobe") == std::string_view::npos) return;
    seen = true;
    std::thread([&] {
      EXPECT_FALSE(AppAndTagCollection::Shared(&tags_)->empty());
      tags_.AddTags({{"a"_w, "1"_w}}, false, false);
    }).join();
  });
  tags_.RefreshTags(nullptr, false);
  EXPECT_TRUE(seen);
  EXPECT_NE(tags_.getTagsAsString().find("a:1, "_wv), WString::npos);
}

}  // namespace
