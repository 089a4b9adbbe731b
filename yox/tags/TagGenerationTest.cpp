#include <future>

#include "yox/base/String.h"
#include "yox/device/MachineInformation.h"
#include "yox/foundation/YOXHelperFactory.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/RegistryPlatform.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/waits/Event.h"
#include "yox/tags/AppAndTagCollection.h"
#include "yox/tags/TestCollection.h"

#include "tests/faults/FailingPlatform.h"
#include "tests/support/AwaitedLog.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Rows.h"
#include "tests/support/TestRecord.h"

namespace {

using namespace yox::literals;
using YOX::String;
using yox::WString;
using yox::platform::Event;
using yox::platform::ReadDeviceProfile;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryValue;
using yox::platform::SimulatedDevice;
using yox_test::TestCollection;
using yox_test::TestRecord;

constexpr const char* kWithAccelerator = R"json({
  "clock": {"now": "2026-03-01T12:00:00"},
  "accelerators": [{"manufacturer": "Contoso", "description": "Contoso AI Boost"}],
  "display_adapters": [{"description": "Intel(R) Arc(TM)", "dedicated_video_memory": 1073741824}],
  "first_run_date": "2025-01-10"})json";
constexpr const char* kPlain =
    R"({"clock": {"now": "2026-03-01T12:00:00"}, "first_run_date": "2025-01-10"})";
constexpr const char* kJustStarted =
    R"({"clock": {"now": "2026-03-01T12:00:00", "uptime_seconds": 59},
        "first_run_date": "2025-01-10"})";

// A device with a machine record of its own and a collection of its own.
class Setting {
 public:
  explicit Setting(const char* profile) : device(ReadDeviceProfile(profile)) {
    yox::YOXHelperFactory::GetInstance()->SetMachineInformationAgent(record);
  }
  ~Setting() { RemoveRecord(); }
  void RemoveRecord() {
    std::shared_ptr<MachineInformation> none;
    yox::YOXHelperFactory::GetInstance()->SetMachineInformationAgent(none);
  }

  void Store(const char* name, const char* text) {
    ASSERT_EQ(device.registry().CreateKey(key), RegistryStatus::kOk);
    device.registry().SetValue(key, String::UTF8ToUTF16(name),
                               RegistryValue::Text(String::UTF8ToUTF16(text)));
  }
  // The tags' key, "name=text;" for each value.
  std::string Stored() {
    std::vector<yox::platform::RegistryEntry> values;
    static_cast<yox::platform::Registry&>(device.registry()).Values(key, values);
    std::string text;
    for (const auto& entry : values) {
      text += String::UTF16ToUTF8(entry.name + "="_w + entry.value.FirstText() + ";"_w);
    }
    return text;
  }
  std::string Collect() {
    const yox_test::CapturedLog log;
    tags.CollectTags(nullptr, false, false);
    std::string text;
    for (const auto& line : log.Lines()) {
      if (line.text.starts_with("MachineInformation::")) continue;  // has tests of its own
      text += line.log + " " + "DWE"[static_cast<int>(line.level)] + " " + line.text + "\n";
    }
    return text;
  }
  std::string Text() { return String::UTF16ToUTF8(tags.getTagsAsString()); }

  SimulatedDevice device;
  const yox::platform::ScopedPlatform installed{device};
  const RegistryKey key{HKEY_LOCAL_MACHINE, AppAndTagCollection::szRegKeySubPath, {}, {}};
  std::shared_ptr<MachineInformation> record = std::make_shared<TestRecord>();
  TestCollection tags;
};

TEST(TagGenerationTest, TheFirstTimeWritesTheTagsThatLastInTheirOrder) {
  Setting setting(kWithAccelerator);
  EXPECT_EQ(setting.Collect(),
            "yox D AppAndTagCollection::CollectTags: Enter\n"
            "yox E AppAndTagCollection::CheckIfTagsAlreadyExist tag does not exist in 64 bit "
            "registry Device.Hardware.Npu.Exists\n"
            "yox D AppAndTagCollection::CollectTags:DaysSinceOobe 415\n"
            "yox D AppAndTagCollection::AddTags Adding key to tag list DaysSinceOobe 415\n"
            "yox E AppAndTagCollection::AddTags Added key to registry DaysSinceOobe 415\n"
            "yox D AppAndTagCollection::CollectTags: Npu exists true , NPU mfr Contoso NPU desc "
            "Contoso AI Boost\n"
            "yox D AppAndTagCollection::CollectTags:OobeDate 2025-01-10\n"
            "yox D AppAndTagCollection::AddTags Adding key to tag list Device.Hardware.Npu.Exists "
            "true\n"
            "yox E AppAndTagCollection::AddTags Added key to registry Device.Hardware.Npu.Exists "
            "true\n"
            "yox D AppAndTagCollection::AddTags Adding key to tag list Device.Hardware.Npu.mfr "
            "Contoso\n"
            "yox E AppAndTagCollection::AddTags Added key to registry Device.Hardware.Npu.mfr "
            "Contoso\n"
            "yox D AppAndTagCollection::AddTags Adding key to tag list "
            "Device.Hardware.Npu.description Contoso AI Boost\n"
            "yox E AppAndTagCollection::AddTags Added key to registry "
            "Device.Hardware.Npu.description Contoso AI Boost\n"
            "yox D AppAndTagCollection::AddTags Adding key to tag list OobeDate 2025-01-10\n"
            "yox E AppAndTagCollection::AddTags Added key to registry OobeDate 2025-01-10\n"
            "yox D AppAndTagCollection::CollectTags: Gpu tag: Device.Hardware.Gpu.Exists\n"
            "yox D AppAndTagCollection::CollectTags: Gpu tag: Device.Hardware.Gpu.Intel\n");
  EXPECT_EQ(setting.Text(),
            "DaysSinceOobe:415, Device.Hardware.Npu.Exists:true, Device.Hardware.Npu.mfr:Contoso, "
            "Device.Hardware.Npu.description:Contoso AI Boost, OobeDate:2025-01-10, ")
      << "adapters' tags are not merged";
}

TEST(TagGenerationTest, ATagThatCannotBeReadDoesNotExist) {
  Setting setting(kPlain);
  setting.Store("Device.Hardware.Npu.Exists", "true");
  setting.Store("Device.Hardware.Npu.mfr", "Contoso");
  setting.Store("Device.Hardware.Npu.description", "AI");
  setting.Store("OobeDate", "2025-01-10");
  yox_test::FailingPlatform platform(setting.device);
  const yox::platform::ScopedPlatform installed(platform.platform());
  int call = 0;
  bool exist = false;
  do {
    platform.call().Choose(++call);
    exist = setting.tags.CheckIfTagsAlreadyExist();
    EXPECT_EQ(exist, platform.call().calls() < call) << call;
  } while (!exist && call < 100);
  EXPECT_GE(call, 5);
}

TEST(TagGenerationTest, TheDaysAreWrittenWhereAKeyHasTheirName) {
  Setting setting(kPlain);
  RegistryKey key = setting.key;
  key.path += "\\DaysSinceOobe"_w;
  ASSERT_EQ(setting.device.registry().CreateKey(key), RegistryStatus::kOk);
  setting.Collect();
  EXPECT_NE(setting.Stored().find("DaysSinceOobe=415;"), std::string::npos) << setting.Stored();
}

TEST(TagGenerationTest, TheDateIsNotWrittenWhereAKeyHasItsName) {
  Setting setting(kPlain);
  RegistryKey key = setting.key;
  key.path += "\\OobeDate"_w;
  ASSERT_EQ(setting.device.registry().CreateKey(key), RegistryStatus::kOk);
  setting.Collect();
  EXPECT_EQ(setting.Stored(), "DaysSinceOobe=415;Device.Hardware.Npu.Exists=false;");
  EXPECT_NE(setting.Text().find("OobeDate:2025-01-10, "), std::string::npos) << setting.Text();
}

TEST(TagGenerationTest, ATagThatCannotBeWrittenIsInTheListAndInTheLog) {
  Setting setting(kPlain);
  yox_test::FailingPlatform platform(setting.device);
  const yox::platform::ScopedPlatform installed(platform.platform());
  std::vector<std::string> logs;
  int call = 0;
  do {
    setting.tags.setTags({});
    const yox_test::CapturedLog log;
    platform.call().Choose(++call);
    setting.tags.AddTags({{"a"_w, "1"_w}}, true, true);
    EXPECT_EQ(setting.Text(), "a:1, ");
    logs.push_back(log.Text());
  } while (platform.call().calls() >= call);
  const std::string listed = "yox D AppAndTagCollection::AddTags Adding key to tag list a 1\n";
  EXPECT_EQ(logs.front(), listed) << "the key cannot be created";
  EXPECT_EQ(logs.at(logs.size() - 2),
            listed + "yox E AppAndTagCollection::AddTags Unable to add 1 in registry\n");
  EXPECT_EQ(logs.back(), listed + "yox E AppAndTagCollection::AddTags Added key to registry a 1\n");
}

TEST(TagGenerationTest, LaterTheDaysAloneAreWrittenAndTheRecordIsFilledWithoutProbing) {
  Setting setting(kWithAccelerator);
  setting.Store("Device.Hardware.Npu.Exists", "true");
  setting.Store("Device.Hardware.Npu.mfr", "Fabrikam");
  setting.Store("Device.Hardware.Npu.description", "AI");
  setting.Store("OobeDate", "2020-02-02");
  setting.Store("DaysSinceOobe", "3");
  EXPECT_EQ(setting.Collect(),
            "yox D AppAndTagCollection::CollectTags: Enter\n"
            "yox D AppAndTagCollection::CollectTags:DaysSinceOobe 415\n"
            "yox D AppAndTagCollection::AddTags Adding key to tag list DaysSinceOobe 415\n"
            "yox E AppAndTagCollection::AddTags Added key to registry DaysSinceOobe 415\n"
            "yox D AppAndTagCollection::CollectTags: Npu tags already generated and saved in "
            "registry\n"
            "yox D AppAndTagCollection::CollectTags: Gpu tag: Device.Hardware.Gpu.Exists\n"
            "yox D AppAndTagCollection::CollectTags: Gpu tag: Device.Hardware.Gpu.Intel\n");
  EXPECT_EQ(setting.record->npu_mfr(), "Fabrikam"_w);
  EXPECT_EQ(setting.record->npu_description(), "AI"_w);
  EXPECT_EQ(setting.record->npu_exists(), ""_w) << "nobody has probed";
  EXPECT_NE(setting.Stored().find("OobeDate=2020-02-02;"), std::string::npos);
  EXPECT_NE(setting.Stored().find("DaysSinceOobe=415;"), std::string::npos);
}

TEST(TagGenerationTest, ADeviceWithoutAcceleratorWritesThatAndTheDayAlone) {
  Setting setting(kPlain);
  setting.Collect();
  EXPECT_EQ(setting.Text(),
            "DaysSinceOobe:415, Device.Hardware.Npu.Exists:false, OobeDate:2025-01-10, ");
  EXPECT_EQ(setting.Stored().find("Npu.mfr"), std::string::npos);
  EXPECT_EQ(setting.Stored().find("Npu.description"), std::string::npos);
  const std::string again = setting.Collect();
  EXPECT_NE(again.find("CollectTags: Npu mfr not found in registry\n"), std::string::npos);
  EXPECT_NE(again.find("CollectTags: Npu description not found in registry\n"), std::string::npos);
}

TEST(TagGenerationTest, WhatIsDeletedFromTheRegistryIsProbedAndWrittenAgain) {
  Setting setting(kWithAccelerator);
  setting.Collect();
  const std::string all = setting.Stored();
  for (const WString& name : {"OobeDate"_w, "Device.Hardware.Npu.Exists"_w}) {
    ASSERT_EQ(setting.device.registry().DeleteValue(setting.key, name), RegistryStatus::kOk);
    EXPECT_NE(setting.Stored(), all);
    setting.Collect();
    EXPECT_EQ(setting.Stored().size(), all.size());
  }
}

TEST(TagGenerationTest, WithoutARecordNothingIsCollected) {
  Setting setting(kPlain);
  setting.RemoveRecord();
  EXPECT_EQ(setting.Collect(), "yox D AppAndTagCollection::CollectTags: Enter\n");
  EXPECT_EQ(setting.Stored(), "");
}

TEST(TagGenerationTest, ADeviceThatCannotTellItsFirstDayHasNoDateTags) {
  Setting setting(R"({"clock": {"now": "2026-03-01T12:00:00"}})");
  setting.Collect();
  EXPECT_EQ(setting.Text(), "Device.Hardware.Npu.Exists:false, ");
}

TEST(TagGenerationTest, ARefreshCollectsBehindTheNewList) {
  Setting setting(kPlain);
  setting.Store("a", "1");
  setting.tags.RefreshTags(nullptr, true);
  EXPECT_EQ(setting.Text(),
            "a:1, Device.Usage.IsManagedDevice:false, DaysSinceOobe:415, "
            "Device.Hardware.Npu.Exists:false, OobeDate:2025-01-10, ");
}

TEST(TagGenerationTest, ARefreshInTheFirstMinuteDoesNotWait) {
  Setting setting(kJustStarted);
  setting.tags.RefreshTags(nullptr, true);
  EXPECT_NE(setting.Text().find("DaysSinceOobe:415, "), std::string::npos) << setting.Text();
}

TEST(TagGenerationTest, AMinuteAfterTheStartNobodyWaits) {
  Setting setting(
      R"({"clock": {"now": "2026-03-01T12:00:00", "uptime_seconds": 60},
          "first_run_date": "2025-01-10"})");
  const yox_test::CapturedLog log;
  setting.tags.CollectTags(nullptr, false, true);
  EXPECT_NE(setting.Text(), "");
  EXPECT_EQ(log.Text().find("Waiting"), std::string::npos);
}

TEST(TagGenerationTest, InTheFirstMinuteANullHandleEndsTheWaitAtOnce) {
  Setting setting(kJustStarted);
  const yox_test::CapturedLog log;
  setting.tags.CollectTags(nullptr, false, true);
  EXPECT_EQ(setting.Text(), "");
  EXPECT_EQ(log.Text(),
            "yox D AppAndTagCollection::CollectTags: Enter\n"
            "yox D AppAndTagCollection::CollectTags: Waiting for a minute before collecting "
            "tags\n");
}

TEST(TagGenerationTest, InTheFirstMinuteAStopEndsTheWait) {
  Setting setting(kJustStarted);
  Event stop;
  yox_test::AwaitedLog log;
  auto collecting =
      std::async(std::launch::async, [&] { setting.tags.CollectTags(stop.handle(), false, true); });
  EXPECT_TRUE(log.Await("Waiting for a minute before collecting tags"));
  stop.Set();
  collecting.get();
  EXPECT_EQ(setting.Text(), "");
}

TEST(TagGenerationTest, InTheFirstMinuteAWholeMinuteIsWaited) {
  Setting setting(kJustStarted);
  Event stop;
  auto collecting =
      std::async(std::launch::async, [&] { setting.tags.CollectTags(stop.handle(), false, true); });
  const auto alarm = setting.device.clock().alarms().AwaitNext(30'000);
  ASSERT_TRUE(alarm.has_value());
  EXPECT_EQ(*alarm, 59'000 + 60'000);
  setting.device.clock().AdvanceMilliseconds(60'000);
  collecting.get();
  EXPECT_NE(setting.Text(), "");
}

}  // namespace
