#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "yox/device/MachineInformation.h"
#include "yox/device/TestRecord.h"

#include "tests/support/CapturedLog.h"

namespace {

using namespace yox::literals;
using yox::WString;
using yox_test::Record;

struct TextAccessors {
  const char* name;
  WString (MachineInformation::*get)() const;
  void (MachineInformation::*set)(const WString&);
};

#define YOX_ROW(name) {#name, &MachineInformation::name, &MachineInformation::set_##name},
const TextAccessors kTexts[] = {YOX_ROW(device_manufacturer) YOX_MACHINE_TEXTS(YOX_ROW)};
#undef YOX_ROW

TEST(MachineInformationTest, ANewRecordIsEmpty) {
  const Record record;
  for (const TextAccessors& text : kTexts) EXPECT_EQ((record.*text.get)(), ""_w) << text.name;
  EXPECT_TRUE(record.device_extension_keyvalue().empty());
  EXPECT_TRUE(record.gpu_names().empty());
  EXPECT_FALSE(record.os_is_s_mode());
}

TEST(MachineInformationTest, EachSetterWritesItsOwnMemberAlone) {
  for (const TextAccessors& written : kTexts) {
    Record record;
    (record.*written.set)("value"_w);
    for (const TextAccessors& text : kTexts) {
      EXPECT_EQ((record.*text.get)(), &text == &written ? "value"_w : ""_w)
          << written.name << " " << text.name;
    }
  }
}

TEST(MachineInformationTest, GettersReturnCopies) {
  Record record;
  record.set_os_region("US"_w);
  WString copy = record.os_region();
  copy = "DE"_w;
  EXPECT_EQ(record.os_region(), "US"_w);
}

TEST(MachineInformationTest, SettingAMemberToItselfChangesNothing) {
  Record record;
  record.set_device_name("a name that is longer than a short string"_w);
  record.set_device_name(record.View(MachineInformation::Text::device_name));
  EXPECT_EQ(record.device_name(), "a name that is longer than a short string"_w);
}

TEST(MachineInformationTest, TheExtensionListIsSetByAnOverload) {
  Record record;
  record.device_extension_keyvalue({"a=1"_w, "b=2"_w});
  EXPECT_EQ(record.device_extension_keyvalue(), (std::vector<WString>{"a=1"_w, "b=2"_w}));
}

TEST(MachineInformationTest, SModeIsAFlag) {
  Record record;
  record.set_os_is_s_mode(true);
  EXPECT_TRUE(record.os_is_s_mode());
}

TEST(MachineInformationTest, ACopyIsASnapshot) {
  Record source;
  source.set_serial_number("C0FFEE12"_w);
  source.device_extension_keyvalue({"a=1"_w});
  source.set_os_is_s_mode(true);
  const MachineInformation copy(source);
  Record assigned;
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
  Record source;
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

TEST(MachineInformationTest, MovingCopies) {
  Record source;
  source.set_serial_number("C0FFEE12"_w);
  const Record moved(std::move(source));
  EXPECT_EQ(moved.serial_number(), "C0FFEE12"_w);
  EXPECT_EQ(source.serial_number(), "C0FFEE12"_w);  // NOLINT(bugprone-use-after-move): promised
}

TEST(MachineInformationTest, TheManufacturerAloneIsVirtual) {
  class Renamed : public Record {
   public:
    WString device_manufacturer() const override { return "Fabrikam"_w; }
  };
  const Renamed record;
  const MachineInformation& base = record;
  EXPECT_EQ(base.device_manufacturer(), "Fabrikam"_w);
  static_assert(std::has_virtual_destructor_v<MachineInformation>);
}

TEST(MachineInformationTest, TheNpuFlagIsATextAndEmptyBeforeItsCollection) {
  const Record record;
  EXPECT_NE(record.npu_exists(), "true"_w);
  EXPECT_NE(record.npu_exists(), "false"_w);
}

TEST(MachineInformationTest, SanitizeStringLeavesAnyTextAlone) {
  Record record;
  for (const char* input : {"", "a\"b", "\xFF\x01"}) {
    std::string text = input;
    EXPECT_EQ(record.SanitizeString(text), 0);
    EXPECT_EQ(text, input);
  }
}

TEST(MachineInformationTest, TheFirstGetInstanceLogsAndCreates) {
  const yox_test::CapturedLog log;
  MachineInformation* const instance = MachineInformation::GetInstance();
  ASSERT_NE(instance, nullptr);
  EXPECT_NE(
      log.Text().find(
          "yox D MachineInformation::GetInstance Acquring lock for first time object creatin of "
          "machine info\n"
          "yox D MachineInformation::GetInstance Creating object of machine info\n"),
      std::string::npos);
}

TEST(MachineInformationTest, ASecondGetInstanceGivesTheSamePointerAndLogsNothing) {
  MachineInformation* const instance = MachineInformation::GetInstance();
  const yox_test::CapturedLog log;
  EXPECT_EQ(MachineInformation::GetInstance(), instance);
  EXPECT_EQ(log.Text(), "");
}

TEST(MachineInformationTest, TheDestructorLogs) {
  const yox_test::CapturedLog log;
  { const Record record; }
  EXPECT_EQ(log.Text(),
            "yox D MachineInformation::~MachineInformation Machine info destructor called\n");
}

}  // namespace
