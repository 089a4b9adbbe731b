#include <future>

#include "yox/clientbase/CRegMonitor.h"
#include "yox/platform/registry/RecordingRegistry.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/RegistryPlatform.h"

namespace {

using namespace yox::literals;
using YOX::CRegMonitor;
using yox::WString;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryValue;

class CRegMonitorTest : public yox_test::OnEveryRegistry {
 protected:
  void SetUp() override {
    for (const RegistryKey& key : {Key("A\\Sub"_w), Key("B"_w)}) {
      ASSERT_EQ(registry().CreateKey(key), RegistryStatus::kOk);
    }
    ASSERT_TRUE(monitor_.Init());
  }

  static WString Path(const WString& name) { return "SOFTWARE\\Contoso\\"_w + name; }
  static RegistryKey Key(const WString& name) { return {HKEY_LOCAL_MACHINE, Path(name), {}, {}}; }
  std::uint32_t Add(const WString& name, const WString& value = {}, int subtree = 1) {
    return monitor_.AddMonitorKey(HKEY_LOCAL_MACHINE, Path(name), value, subtree);
  }
  void Change(const WString& key, const WString& name) {
    ASSERT_EQ(registry().SetValue(Key(key), name, RegistryValue::Dword(++written_)),
              RegistryStatus::kOk);
  }
  std::uint32_t Wait() {
    std::uint32_t identifier = CRegMonitor::kFailed;
    EXPECT_TRUE(monitor_.WaitForChange(identifier, 1));
    return identifier;
  }

  CRegMonitor monitor_;
  std::uint32_t written_ = 0;
};
YOX_ON_EVERY_REGISTRY(CRegMonitorTest);

TEST_P(CRegMonitorTest, AWaitTellsWhichKeyChanged) {
  const std::uint32_t first = Add("A"_w), second = Add("B"_w);
  EXPECT_NE(first, second);
  Change("B"_w, "Name"_w);
  EXPECT_EQ(Wait(), second);
  Change("A"_w, "Name"_w);
  EXPECT_EQ(Wait(), first);
}

TEST_P(CRegMonitorTest, AChangeBelowTheKeyCounts) {
  const std::uint32_t watch = Add("A"_w);
  Change("A\\Sub"_w, "Name"_w);
  EXPECT_EQ(Wait(), watch);
}

TEST_P(CRegMonitorTest, AMissingKeyCannotBeWatched) {
  EXPECT_EQ(Add("Missing"_w), CRegMonitor::kFailed);
  std::uint32_t identifier = 0;
  EXPECT_FALSE(monitor_.WaitForChange(identifier, 1)) << "there is nothing to wait for";
}

TEST_P(CRegMonitorTest, NothingIsWatchedBeforeInit) {
  CRegMonitor monitor;
  EXPECT_EQ(monitor.AddMonitorKey(HKEY_LOCAL_MACHINE, Path("A"_w), {}, 1), CRegMonitor::kFailed);
}

TEST_P(CRegMonitorTest, AWatchOfOneValueIsNotWokenByOthers) {
  const std::uint32_t one = Add("A"_w, "One"_w), all = Add("B"_w);
  Change("A"_w, "Other"_w);
  Change("B"_w, "Name"_w);
  EXPECT_EQ(Wait(), all);
  Change("A"_w, "ONE"_w);
  EXPECT_EQ(Wait(), one);
}

TEST_P(CRegMonitorTest, AWatchOfTheKeyAloneIsNotWokenByWhatIsBelow) {
  const std::uint32_t alone = Add("A"_w, {}, 0), other = Add("B"_w);
  Change("A\\Sub"_w, "Name"_w);
  Change("B"_w, "Name"_w);
  EXPECT_EQ(Wait(), other);
  Change("A"_w, "Name"_w);
  EXPECT_EQ(Wait(), alone);
}

TEST_P(CRegMonitorTest, StopEndsAWait) {
  Add("A"_w);
  auto waiting = std::async(std::launch::async, [this] {
    std::uint32_t identifier = 0;
    return monitor_.WaitForChange(identifier, 1);
  });
  monitor_.Stop();
  EXPECT_FALSE(waiting.get());
}

TEST_P(CRegMonitorTest, AfterStopEveryWaitIsFalse) {
  Add("A"_w);
  monitor_.Stop();
  Change("A"_w, "Name"_w);
  std::uint32_t identifier = 77;
  EXPECT_FALSE(monitor_.WaitForChange(identifier, 1));
  EXPECT_EQ(identifier, 77U);
}

TEST_P(CRegMonitorTest, StopBeforeInitMakesEveryWaitFalse) {
  CRegMonitor monitor;
  monitor.Stop();
  EXPECT_TRUE(monitor.Init());
  EXPECT_NE(monitor.AddMonitorKey(HKEY_LOCAL_MACHINE, Path("A"_w), {}, 1), CRegMonitor::kFailed);
  std::uint32_t identifier = 0;
  EXPECT_FALSE(monitor.WaitForChange(identifier, 1));
}

TEST(CRegMonitorLookTest, WithoutWaitingItTellsOnlyWhatHasChanged) {
  yox::platform::SimulatedDevice device;
  const yox::platform::ScopedPlatform installed(device);
  const RegistryKey key{HKEY_CURRENT_USER, "Software"_w, {}, {}};
  ASSERT_EQ(device.registry().CreateKey(key), RegistryStatus::kOk);
  CRegMonitor monitor;
  ASSERT_TRUE(monitor.Init());
  const std::uint32_t watch = monitor.AddMonitorKey(HKEY_CURRENT_USER, "Software"_w, {}, 1);
  std::uint32_t identifier = 77;
  EXPECT_FALSE(monitor.WaitForChange(identifier, 0));
  EXPECT_EQ(identifier, 77U);
  for (std::uint32_t i = 0; i < 3; ++i) {
    device.registry().SetValue(key, "Name"_w, RegistryValue::Dword(i));
  }
  EXPECT_TRUE(monitor.WaitForChange(identifier, 0));
  EXPECT_EQ(identifier, watch);
  EXPECT_FALSE(monitor.WaitForChange(identifier, 0)) << "changes before the wait count once";
}

TEST(CRegMonitorViewTest, The64BitViewIsThatOfWatchesAddedLater) {
  yox_test::RecordingRegistry registry;
  yox_test::RegistryPlatform platform(registry);
  const yox::platform::ScopedPlatform installed(platform);
  const WString path = "SOFTWARE\\Contoso"_w;
  ASSERT_EQ(registry.CreateKey({HKEY_LOCAL_MACHINE, path, {}, {}}), RegistryStatus::kOk);
  registry.TakeCalls();
  CRegMonitor monitor;
  ASSERT_TRUE(monitor.Init());
  monitor.AddMonitorKey(HKEY_LOCAL_MACHINE, path, {}, 1);
  monitor.SetUseOnly64BitRegistry(true);
  monitor.AddMonitorKey(HKEY_LOCAL_MACHINE, path, {}, 1);
  monitor.SetUseOnly64BitRegistry(false);
  monitor.AddMonitorKey(HKEY_LOCAL_MACHINE, path, {}, 1);
  EXPECT_THAT(registry.TakeCalls(),
              testing::ElementsAre("Watch default", "Watch 64-bit", "Watch default"));
}

}  // namespace
