#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "yox/device/InstalledDevice.h"
#include "yox/device/MachineInformation.h"
#include "yox/foundation/YOXHelperFactory.h"
#include "yox/platform/firmware/Firmware.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Latch.h"
#include "tests/support/MeetingCreation.h"
#include "tests/support/SubstitutedPlatform.h"
#include "tests/support/TestRecord.h"

namespace {

using namespace yox::literals;
using yox::WString;
using yox_test::TestRecord;

struct TextAccessors {
  const char* name;
  WString (MachineInformation::*get)() const;
  void (MachineInformation::*set)(const WString&);
};

#define YOX_ROW(name, ...) {#name, &MachineInformation::name, &MachineInformation::set_##name},
const TextAccessors kTexts[] = {YOX_MACHINE_TEXTS(YOX_ROW, YOX_ROW)};
#undef YOX_ROW

TEST(MachineInformationTest, ANewRecordIsEmpty) {
  const TestRecord record;
  for (const TextAccessors& text : kTexts) EXPECT_EQ((record.*text.get)(), ""_w) << text.name;
  EXPECT_TRUE(record.device_extension_keyvalue().empty());
  EXPECT_TRUE(record.gpu_names().empty());
  EXPECT_FALSE(record.os_is_s_mode());
}

TEST(MachineInformationTest, EachSetterWritesItsOwnMemberAlone) {
  for (const TextAccessors& written : kTexts) {
    TestRecord record;
    (record.*written.set)("value"_w);
    for (const TextAccessors& text : kTexts) {
      EXPECT_EQ((record.*text.get)(), &text == &written ? "value"_w : ""_w)
          << written.name << " " << text.name;
    }
  }
}

TEST(MachineInformationTest, GettersReturnCopies) {
  TestRecord record;
  record.set_os_region("US"_w);
  WString copy = record.os_region();
  copy = "DE"_w;
  EXPECT_EQ(record.os_region(), "US"_w);
}

TEST(MachineInformationTest, SettingAMemberToItselfChangesNothing) {
  TestRecord record;
  record.set_device_name("a name that is longer than a short string"_w);
  record.set_device_name(record.View(MachineInformation::Text::device_name));
  EXPECT_EQ(record.device_name(), "a name that is longer than a short string"_w);
}

TEST(MachineInformationTest, TheExtensionListIsSetByAnOverload) {
  TestRecord record;
  record.device_extension_keyvalue({"a=1"_w, "b=2"_w});
  EXPECT_EQ(record.device_extension_keyvalue(), (std::vector<WString>{"a=1"_w, "b=2"_w}));
}

TEST(MachineInformationTest, SModeIsAFlag) {
  TestRecord record;
  record.set_os_is_s_mode(true);
  EXPECT_TRUE(record.os_is_s_mode());
}

TEST(MachineInformationTest, ACopyIsASnapshot) {
  TestRecord source;
  source.set_serial_number("C0FFEE12"_w);
  source.device_extension_keyvalue({"a=1"_w});
  source.set_os_is_s_mode(true);
  const MachineInformation copy(source);
  TestRecord assigned;
  assigned = source;
  source.set_serial_number("other"_w);
  source.set_os_is_s_mode(false);
  const MachineInformation* const snapshots[] = {&copy, &assigned};
  for (const MachineInformation* snapshot : snapshots) {
    EXPECT_EQ(snapshot->serial_number(), "C0FFEE12"_w);
    EXPECT_EQ(snapshot->device_extension_keyvalue(), std::vector<WString>{"a=1"_w});
    EXPECT_TRUE(snapshot->os_is_s_mode());
  }
}

TEST(MachineInformationTest, ACopyOfAFilledRecordReportsWhatItHeld) {
  const yox_test::InstalledDevice device;
  TestRecord source;
  source.Initialize();
  const MachineInformation copy(source);
  EXPECT_EQ(source.serial_number(), "C0FFEE12"_w);
  for (const TextAccessors& text : kTexts) {
    const WString held = (source.*text.get)();
    EXPECT_EQ((copy.*text.get)(), held) << text.name;
    (source.*text.set)("another"_w);
    EXPECT_EQ((copy.*text.get)(), held) << text.name;
  }
  EXPECT_TRUE(copy.os_is_s_mode());
}

TEST(MachineInformationTest, ACopyOfAFilledRecordIsFilled) {
  const yox_test::InstalledDevice device;
  TestRecord source;
  source.Initialize();
  TestRecord copy(source);
  copy.set_os_name("kept"_w);
  copy.Initialize();
  EXPECT_EQ(copy.os_name(), "kept"_w);
  TestRecord of_an_empty_one{TestRecord()};
  of_an_empty_one.Initialize();
  EXPECT_EQ(of_an_empty_one.serial_number(), "C0FFEE12"_w);
}

TEST(MachineInformationTest, TheFormForComparisonFollowsItsText) {
  using Text = MachineInformation::Text;
  const auto folded = [](const MachineInformation& record, const char* text) {
    const yox::FoldedText expected(YOX::String::UTF8ToUTF16(text));
    const yox::FoldedView& found = record.Folded(Text::os_name);
    return found.text == expected.text && found.fingerprint == expected.fingerprint;
  };
  TestRecord record;
  EXPECT_TRUE(folded(record, ""));
  record.set_os_name("Windows 11"_w);
  EXPECT_TRUE(folded(record, "WINDOWS 11"));
  const MachineInformation copy(record);
  record.set_os_name("Linux"_w);
  EXPECT_TRUE(folded(copy, "windows 11"));
  EXPECT_TRUE(folded(record, "linux"));
}

TEST(MachineInformationTest, TheVersionFollowsItsText) {
  TestRecord record;
  EXPECT_EQ(record.OsVersion(), std::nullopt);
  record.set_os_version("10.0.22631.4460"_w);
  EXPECT_EQ(record.OsVersion(), Version(10, 0, 22631, 4460));
  TestRecord copy(record);
  record.set_os_name("12.5"_w);
  EXPECT_EQ(record.OsVersion(), Version(10, 0, 22631, 4460));
  record.set_os_version("no version"_w);
  EXPECT_EQ(record.OsVersion(), std::nullopt);
  EXPECT_EQ(copy.OsVersion(), Version(10, 0, 22631, 4460));
  copy = record;
  EXPECT_EQ(copy.OsVersion(), std::nullopt);
}

// Run under ThreadSanitizer, this finds a list that is not guarded.
TEST(MachineInformationTest, ListsMayBeReadWhileTheRecordIsAssigned) {
  const yox_test::InstalledDevice device(
      R"({"display_adapters": [{"description": "H", "dedicated_video_memory": 1}]})");
  TestRecord source, target;
  source.CollectGpuNames();
  target = source;
  std::thread reading([&] {
    for (int n = 0; n < 500; ++n) EXPECT_EQ(target.gpu_names(), std::vector{"H"_w});
  });
  for (int n = 0; n < 500; ++n) target = source;
  reading.join();
}

TEST(MachineInformationTest, CopiesHaveTheGpuNames) {
  yox_test::InstalledDevice device(
      R"({"display_adapters": [{"description": "H", "dedicated_video_memory": 1}]})");
  TestRecord source;
  source.CollectGpuNames();
  const MachineInformation copy(source);
  TestRecord assigned;
  assigned = source;
  device->Change([](auto& profile) { profile.display_adapters[0].description = "Other"_w; });
  source.CollectGpuNames();
  EXPECT_EQ(copy.gpu_names(), std::vector{"H"_w});
  EXPECT_EQ(assigned.gpu_names(), std::vector{"H"_w});
}

// Run under ThreadSanitizer, this finds a list that is not guarded.
TEST(MachineInformationTest, ListsMayBeReplacedBesideReaders) {
  const yox_test::InstalledDevice device(
      R"({"display_adapters": [{"description": "H", "dedicated_video_memory": 1}]})");
  TestRecord record;
  const std::vector<WString> entries(50, "an entry that is longer than a short string"_w);
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 500; ++n) {
        record.device_extension_keyvalue(entries);
        record.CollectGpuNames();
        EXPECT_EQ(record.device_extension_keyvalue(), entries);
        EXPECT_EQ(record.gpu_names(), std::vector{"H"_w});
        EXPECT_EQ(MachineInformation(record).device_extension_keyvalue(), entries);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(MachineInformationTest, MovingCopies) {
  TestRecord source;
  source.set_serial_number("C0FFEE12"_w);
  const TestRecord moved(std::move(source));
  EXPECT_EQ(moved.serial_number(), "C0FFEE12"_w);
  EXPECT_EQ(source.serial_number(), "C0FFEE12"_w);  // NOLINT(bugprone-use-after-move): promised
}

TEST(MachineInformationTest, TheManufacturerAloneIsVirtual) {
  class Renamed : public TestRecord {
   public:
    WString device_manufacturer() const override { return "Fabrikam"_w; }
  };
  const Renamed record;
  const MachineInformation& base = record;
  EXPECT_EQ(base.device_manufacturer(), "Fabrikam"_w);
  static_assert(std::has_virtual_destructor_v<MachineInformation>);
}

TEST(MachineInformationTest, TheNpuFlagIsAText) {
  static_assert(std::is_same_v<decltype(std::declval<const TestRecord&>().npu_exists()), WString>);
}

TEST(MachineInformationTest, SanitizeStringLeavesAnyTextAlone) {
  TestRecord record;
  for (const char* input : {"", "a\"b", "\xFF\x01"}) {
    std::string text = input;
    EXPECT_EQ(record.SanitizeString(text), 0);
    EXPECT_EQ(text, input);
  }
}

TEST(MachineInformationTest, TheFirstGetInstanceLogsAndCreates) {
  const yox_test::InstalledDevice device;
  const yox_test::CapturedLog log;
  ASSERT_NE(MachineInformation::GetInstance(), nullptr);
  EXPECT_TRUE(log.Text().starts_with(
      "yox D MachineInformation::GetInstance Acquring lock for first time object creatin of "
      "machine info\n"
      "yox D MachineInformation::GetInstance Creating object of machine info\n"))
      << log.Text();
}

TEST(MachineInformationTest, TwoThreadsCreateOneInstance) {
  const yox_test::InstalledDevice device;
  EXPECT_EQ(yox_test::CreationsByTwoThreads("Creating object of machine info",
                                            MachineInformation::GetInstance),
            1);
}

TEST(MachineInformationTest, ASecondGetInstanceReturnsTheSamePointerAndLogsNothing) {
  const yox_test::InstalledDevice device;
  MachineInformation* const instance = MachineInformation::GetInstance();
  const yox_test::CapturedLog log;
  EXPECT_EQ(MachineInformation::GetInstance(), instance);
  EXPECT_EQ(log.Text(), "");
}

// Firmware that lets another thread fetch the record while it is being filled.
class PeekingFirmware final : public yox::platform::Firmware {
 public:
  explicit PeekingFirmware(Firmware& base) : base_(base) {}
  ~PeekingFirmware() override {
    if (peeking_.joinable()) peeking_.join();
  }
  const yox::platform::FirmwareFacts* Facts() override {
    if (!peeking_.joinable()) {
      peeking_ = std::thread([this] {
        seen_ = MachineInformation::GetInstance();
        peeked_.CountDown();
      });
      in_time = peeked_.Wait();
    }
    return base_.Facts();
  }
  void Reread() override { base_.Reread(); }

  bool in_time = false;
  MachineInformation* seen() {
    peeking_.join();
    return seen_;
  }

 private:
  Firmware& base_;
  MachineInformation* seen_ = nullptr;
  yox_test::Latch peeked_;
  std::thread peeking_;
};

TEST(MachineInformationTest, TheRecordIsPublishedBeforeItIsFilled) {
  yox_test::InstalledDevice device;
  yox_test::SubstitutedPlatform platform(device.device());
  PeekingFirmware firmware(device->firmware());
  platform.Set(firmware);
  const yox::platform::ScopedPlatform installed(platform);
  MachineInformation* const instance = MachineInformation::GetInstance();
  EXPECT_TRUE(firmware.in_time);
  EXPECT_EQ(firmware.seen(), instance);
}

TEST(MachineInformationTest, PublishFillsTheHelperFactory) {
  const yox_test::InstalledDevice device;
  const std::shared_ptr<MachineInformation> record = MachineInformation::Publish();
  EXPECT_EQ(record.get(), MachineInformation::GetInstance());
  EXPECT_EQ(yox::YOXHelperFactory::GetInstance()->GetMachineInformationAgent(), record);
  yox::YOXHelperFactory::ReleaseInstance();
  EXPECT_EQ(record->serial_number(), "C0FFEE12"_w);
}

TEST(MachineInformationTest, NoSmartPointerDeletesTheInstance) {
  const yox_test::InstalledDevice device;
  MachineInformation* const instance = MachineInformation::GetInstance();
  const yox_test::CapturedLog log;
  { const std::shared_ptr<MachineInformation> shared(instance); }
  { const std::unique_ptr<MachineInformation> unique(instance); }
  EXPECT_EQ(log.Text(), "");  // the destructor would log
  EXPECT_EQ(MachineInformation::GetInstance(), instance);
  EXPECT_EQ(instance->serial_number(), "C0FFEE12"_w);
}

TEST(MachineInformationTest, AnyOtherRecordIsDeletedWhole) {
  struct Larger : TestRecord {
    explicit Larger(bool& destroyed) : destroyed_(destroyed) {}
    ~Larger() override { destroyed_ = true; }
    WString more[100];
    bool& destroyed_;
  };
  bool destroyed = false;
  { const std::unique_ptr<MachineInformation> record = std::make_unique<Larger>(destroyed); }
  EXPECT_TRUE(destroyed);
}

TEST(MachineInformationTest, TheDestructorLogs) {
  const yox_test::CapturedLog log;
  { const TestRecord record; }
  EXPECT_EQ(log.Text(),
            "yox D MachineInformation::~MachineInformation Machine info destructor called\n");
}

}  // namespace
