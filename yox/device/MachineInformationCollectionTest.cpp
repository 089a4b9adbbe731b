#include <gtest/gtest.h>

#include <stdexcept>

#include "yox/device/InstalledDevice.h"
#include "yox/device/UpdateHistory.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/system/OperatingSystem.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Rows.h"
#include "tests/support/SubstitutedPlatform.h"
#include "tests/support/TestRecord.h"

namespace {

using namespace yox::literals;
using yox::WString;
using yox::platform::DeviceProfile;
using yox::platform::OperatingSystemUpdate;
using yox::platform::RegistryValue;
using yox_test::CapturedLog;
using yox_test::InstalledDevice;
using yox_test::TestRecord;

void SetSimulatedType(InstalledDevice& device, const WString& type) {
  yox::platform::RegistryKey key;
  key.root = HKEY_LOCAL_MACHINE;
  key.path = "Software\\Tervan\\YOXDeviceSimulator"_w;
  device->registry().CreateKey(key);
  device->registry().SetValue(key, "MachineType"_w, RegistryValue::Text(type));
}

TEST(MachineInformationCollectionTest, EveryMemberComesFromItsSource) {
  InstalledDevice device;
  TestRecord record;
  record.ReadMachineInformation(false);
  EXPECT_EQ(record.device_enclosuretype(), "Notebook"_w);
  EXPECT_EQ(record.device_family(), "Falcon 14"_w);
  EXPECT_EQ(record.device_manufacturer(), "Contoso"_w);
  EXPECT_EQ(record.device_bios_version(), "FAL14 v1.35"_w);
  EXPECT_EQ(record.device_bios_version_short(), "1.35"_w);
  EXPECT_EQ(record.device_bios_release_date(), "2025-11-03"_w);
  EXPECT_EQ(record.device_ec_release_date(), "2025-10-01"_w);
  EXPECT_EQ(record.device_smbios_version(), "3.4"_w);
  EXPECT_EQ(record.device_ec_version(), "1.20"_w);
  EXPECT_EQ(record.device_model(), "FA14-2210"_w);
  EXPECT_EQ(record.device_mt(), "FA14"_w);
  EXPECT_EQ(record.serial_number(), "C0FFEE12"_w);
  EXPECT_EQ(record.baseboard_serial_number(), "BB-000417"_w);
  EXPECT_EQ(record.device_brand(), "Falcon"_w);
  EXPECT_EQ(record.device_subbrand(), "14"_w);
  EXPECT_EQ(record.os_region(), "US"_w);
  EXPECT_EQ(record.os_language(), "en-US"_w);
  EXPECT_EQ(record.os_name(), "Windows 11 Pro"_w);
  EXPECT_EQ(record.os_version(), "10.0.22631.4460"_w);
  EXPECT_TRUE(record.os_is_s_mode());
  EXPECT_EQ(record.device_info_datetime(), "2026-03-01T12:00:00Z"_w);
  EXPECT_EQ(record.os_update_title(), "2026-02 Cumulative Update"_w);
  EXPECT_EQ(record.os_update_description(), "Fixes."_w);
  EXPECT_EQ(record.os_description(), "Microsoft Windows 11 Pro"_w);
  EXPECT_EQ(record.device_name(), ""_w);
  EXPECT_EQ(record.device_tag(), ""_w);
  EXPECT_EQ(record.npu_exists(), ""_w);
  EXPECT_TRUE(record.gpu_names().empty());
}

TEST(MachineInformationCollectionTest, WithoutFirmwareTablesTheRestIsStillCollected) {
  InstalledDevice device(R"({"os": {"product_name": "Linux"}, "user": {"sid": "S-1-22-1-1000"}})");
  TestRecord record;
  record.ReadMachineInformation(true);
  EXPECT_EQ(record.os_name(), "Linux"_w);
  EXPECT_EQ(record.device_manufacturer(), ""_w);
  EXPECT_EQ(record.device_brand(), ""_w);
  EXPECT_NE(record.device_info_datetime(), ""_w);
}

TEST(MachineInformationCollectionTest, WithoutFirmwareTablesNothingFallsBackToAnOldValue) {
  InstalledDevice device("{}");
  TestRecord record;
  record.set_device_manufacturer("old"_w);
  record.set_device_brand("old"_w);
  record.set_device_mt("old"_w);
  record.set_serial_number("old"_w);
  record.ReadMachineInformation(true);
  EXPECT_EQ(record.device_manufacturer(), ""_w);
  EXPECT_EQ(record.device_brand(), ""_w);
  EXPECT_EQ(record.device_mt(), ""_w);
  EXPECT_EQ(record.serial_number(), ""_w);
}

TEST(MachineInformationCollectionTest, TheSimulatorsMachineTypeNeedsNoFirmwareTables) {
  InstalledDevice device("{}");
  SetSimulatedType(device, "20N0"_w);
  TestRecord record;
  record.ReadMachineInformation(false);
  EXPECT_EQ(record.device_mt(), "20N0"_w);
  EXPECT_EQ(record.device_model(), ""_w);
}

TEST(MachineInformationCollectionTest, TheCaptionOutlastsAForcedCollection) {
  InstalledDevice device;
  TestRecord record;
  record.ReadMachineInformation(false);
  device->Change([](DeviceProfile& profile) { profile.os.caption = "Changed"_w; });
  record.ReadMachineInformation(true);
  EXPECT_EQ(record.os_description(), "Microsoft Windows 11 Pro"_w);
}

TEST(MachineInformationCollectionTest, OnlyAForcedCollectionReadsTheFirmwareAnew) {
  InstalledDevice device;
  TestRecord record;
  record.ReadMachineInformation(false);
  device->Change([](DeviceProfile& profile) { profile.firmware->serial_number = "NEW"_w; });
  record.ReadMachineInformation(false);
  EXPECT_EQ(record.serial_number(), "C0FFEE12"_w);
  record.ReadMachineInformation(true);
  EXPECT_EQ(record.serial_number(), "NEW"_w);
}

TEST(MachineInformationCollectionTest, ASourceThatThrowsEndsTheCollectionThere) {
  class Failing final : public yox::platform::OperatingSystem {
   public:
    WString ProductName() override { return "New"_w; }
    WString EditionId() override { return {}; }
    WString Version() override { throw std::runtime_error("no version"); }
    WString Caption() override { return "New"_w; }
    bool IsSMode() override { return false; }
    std::uint32_t Architecture() override { return 9; }
    std::uint32_t UpdateServiceStartType() override { return 0; }
    std::vector<OperatingSystemUpdate> UpdateHistory() override { return {}; }
    std::optional<yox::LocalDate> FirstRunDate() override { return std::nullopt; }
  } failing;
  InstalledDevice device;
  yox_test::SubstitutedPlatform platform(device.device());
  platform.Set(failing);
  const yox::platform::ScopedPlatform installed(platform);
  TestRecord record;
  record.set_os_version("old"_w);
  record.set_os_description("old"_w);
  const CapturedLog captured;
  record.ReadMachineInformation(false);
  EXPECT_EQ(record.serial_number(), "C0FFEE12"_w);
  EXPECT_EQ(record.os_name(), "New"_w);
  EXPECT_EQ(record.os_version(), "old"_w);
  EXPECT_EQ(record.os_description(), "old"_w);
  EXPECT_EQ(captured.Text(), "");
}

TEST(MachineInformationCollectionTest, TheSimulatorsMachineTypeLeavesTheModelAlone) {
  InstalledDevice device;
  SetSimulatedType(device, "20N0"_w);
  TestRecord record;
  record.ReadMachineInformation(false);
  EXPECT_EQ(record.device_mt(), "20N0"_w);
  EXPECT_EQ(record.device_model(), "FA14-2210"_w);
}

TEST(MachineInformationCollectionTest, AnEmptySimulatedMachineTypeIsNone) {
  InstalledDevice device;
  SetSimulatedType(device, ""_w);
  TestRecord record;
  record.ReadMachineInformation(false);
  EXPECT_EQ(record.device_mt(), "FA14"_w);
}

TEST(MachineInformationCollectionTest, TheSerialNumberIsTakenAsItIs) {
  TestRecord record;
  record.SetSerialNumber(" any thing "_w);
  EXPECT_EQ(record.serial_number(), " any thing "_w);
}

TEST(MachineInformationCollectionTest, ADisabledUpdateServiceEmptiesTheUpdateMembers) {
  InstalledDevice device;
  TestRecord record;
  record.ReadMachineInformation(false);
  ASSERT_NE(record.os_update_title(), ""_w);
  device->Change([](DeviceProfile& profile) { profile.os.update_service_start_type = 4; });
  record.ReadMachineInformation(false);
  EXPECT_EQ(record.os_update_title(), ""_w);
  EXPECT_EQ(record.os_update_description(), ""_w);
}

TEST(MachineInformationCollectionTest, ADisabledUpdateServiceIsAskedForNoHistory) {
  class Disabled final : public yox_test::Untouchable {
   public:
    std::uint32_t UpdateServiceStartType() override { return 4; }
  } disabled;
  WString title, description;
  yox::device::ReadNewestUpdate(disabled, title, description);
  EXPECT_EQ(title + description, ""_w);
}

struct UpdateRow {
  const char* name;
  std::vector<OperatingSystemUpdate> history;
  const char* written;  // title and description
};
class UpdateHistoryTest : public testing::TestWithParam<UpdateRow> {};

OperatingSystemUpdate Update(std::int32_t result, const WString& title,
                             std::optional<std::vector<WString>> categories) {
  return {result, title, title + " told"_w, std::move(categories)};
}

TEST_P(UpdateHistoryTest, GivesTheNewestSuccessOfWindows) {
  InstalledDevice device;
  device->Change([&](DeviceProfile& profile) { profile.os.updates = GetParam().history; });
  WString title, description;
  yox::device::ReadNewestUpdate(device->operating_system(), title, description);
  EXPECT_EQ(YOX::String::UTF16ToUTF8(title + "|"_w + description), GetParam().written);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, UpdateHistoryTest,
    testing::Values(
        UpdateRow{"Empty", {}, "|"},
        UpdateRow{"NewestFirst",
                  {Update(2, "b"_w, {{"Windows 11"_w}}), Update(2, "a"_w, {{"Windows 11"_w}})},
                  "b|b told"},
        UpdateRow{"SucceededWithErrorsIsPassedOver",
                  {Update(3, "b"_w, {{"Windows 11"_w}}), Update(2, "a"_w, {{"Windows 11"_w}})},
                  "a|a told"},
        UpdateRow{"LastCategoryDecidesFor",
                  {Update(2, "a"_w, {{"Drivers"_w, "Windows 11"_w}})},
                  "a|a told"},
        UpdateRow{
            "LastCategoryDecidesAgainst", {Update(2, "a"_w, {{"Windows 11"_w, "Drivers"_w}})}, "|"},
        UpdateRow{"WordWithoutItsBlank", {Update(2, "a"_w, {{"Windows"_w}})}, "|"},
        UpdateRow{"WordInAnotherCase", {Update(2, "a"_w, {{"windows 11"_w}})}, "|"},
        UpdateRow{"WordInside", {Update(2, "a"_w, {{"For Windows 11"_w}})}, "a|a told"},
        UpdateRow{"EmptyNameCounts", {Update(2, "a"_w, {{"Drivers"_w, ""_w}})}, "a|a told"},
        UpdateRow{"NoCategoryCounts", {Update(2, "a"_w, {{}})}, "a|a told"},
        UpdateRow{"UnreadableCategories", {Update(2, "a"_w, std::nullopt)}, "|"},
        UpdateRow{"UnreadableTitleGivesNeither",
                  {OperatingSystemUpdate{2, std::nullopt, "told"_w, {{}}}, Update(2, "a"_w, {{}})},
                  "|"},
        UpdateRow{"UnreadableDescriptionKeepsTheTitle",
                  {OperatingSystemUpdate{2, "a"_w, ""_w, {{}}}},
                  "a|"}),
    yox_test::RowName());

TEST(MachineInformationCollectionTest, TheLastOfSeveralAcceleratorsWins) {
  InstalledDevice device(R"({"accelerators": [
      {"manufacturer": "Contoso", "description": "First"},
      {"manufacturer": "Fabrikam", "description": "Second"}]})");
  TestRecord record;
  const CapturedLog captured;
  record.CollectNpuInfo();
  EXPECT_EQ(record.npu_exists(), "true"_w);
  EXPECT_EQ(record.npu_mfr(), "Fabrikam"_w);
  EXPECT_EQ(record.npu_description(), "Second"_w);
  std::string log;
  for (const CapturedLog::Line& line : captured.Lines()) {
    EXPECT_EQ(line.level, YOX::LogLevel::Debug);
    log += line.text + "\n";
  }
  EXPECT_EQ(log,
            "MachineInformation::CollectNpuInfo Manufacturer : Contoso\n"
            "MachineInformation::CollectNpuInfo Description : First\n"
            "MachineInformation::CollectNpuInfo Manufacturer : Fabrikam\n"
            "MachineInformation::CollectNpuInfo Description : Second\n"
            "MachineInformation::CollectNpuInfo NPU exists, set to true\n"
            "MachineInformation::CollectNpuInfo exiting\n");
}

TEST(MachineInformationCollectionTest, TheLastAcceleratorWinsMemberByMember) {
  InstalledDevice device(R"({"accelerators": [
      {"manufacturer": "Contoso", "description": "First"}, {"description": "Second"}]})");
  TestRecord record;
  record.CollectNpuInfo();
  EXPECT_EQ(record.npu_mfr(), "Contoso"_w);
  EXPECT_EQ(record.npu_description(), "Second"_w);
}

TEST(MachineInformationCollectionTest, AnAcceleratorThatCannotBeDescribedExistsAllTheSame) {
  InstalledDevice device(R"({"accelerators": [{}]})");
  TestRecord record;
  record.set_npu_mfr("old maker"_w);
  record.set_npu_description("old"_w);
  record.CollectNpuInfo();
  EXPECT_EQ(record.npu_exists(), "true"_w);
  EXPECT_EQ(record.npu_mfr(), "old maker"_w);
  EXPECT_EQ(record.npu_description(), "old"_w);
}

TEST(MachineInformationCollectionTest, WithoutAcceleratorsTheTextsAreNotCleared) {
  InstalledDevice device("{}");
  TestRecord record;
  record.set_npu_mfr("old"_w);
  const CapturedLog captured;
  record.CollectNpuInfo();
  EXPECT_EQ(record.npu_exists(), "false"_w);
  EXPECT_EQ(record.npu_mfr(), "old"_w);
  EXPECT_EQ(captured.Text(),
            "yox D MachineInformation::CollectNpuInfo NPU doesnt exist, set to false\n"
            "yox D MachineInformation::CollectNpuInfo exiting\n");
}

TEST(MachineInformationCollectionTest, AcceleratorsThatCannotBeAskedChangeNothing) {
  InstalledDevice device;
  yox_test::SubstitutedPlatform platform(device.device());
  class : public yox::platform::Accelerators {
    std::optional<std::vector<yox::platform::Accelerator>> Enumerate() override {
      return std::nullopt;
    }
  } unknown;
  platform.Set(unknown);
  const yox::platform::ScopedPlatform installed(platform);
  TestRecord record;
  const CapturedLog captured;
  record.CollectNpuInfo();
  EXPECT_EQ(record.npu_exists(), ""_w);
  ASSERT_EQ(captured.Lines().size(), 1U);
  EXPECT_EQ(captured.Lines()[0].level, YOX::LogLevel::Debug);
  EXPECT_EQ(captured.Lines()[0].text, "MachineInformation::CollectNpuInfo Invalid class guid");
}

struct AdapterRow {
  const char* name;
  const char* adapters;
  std::vector<WString> names;  // what is kept; if there are none, the former ones
};
class GpuNamesTest : public testing::TestWithParam<AdapterRow> {};

TEST_P(GpuNamesTest, AreThoseOfRealHardware) {
  InstalledDevice device(R"({"display_adapters": [{"description": "Former",
      "dedicated_video_memory": 1}]})");
  TestRecord record;
  record.CollectGpuNames();
  ASSERT_EQ(record.gpu_names(), std::vector{"Former"_w});
  device->Change([](DeviceProfile& profile) {
    profile.display_adapters =
        yox::platform::ReadDeviceProfile(std::string("{\"display_adapters\": ") +
                                         GetParam().adapters + "}")
            .display_adapters;
  });
  const CapturedLog captured;
  record.CollectGpuNames();
  EXPECT_EQ(record.gpu_names(), GetParam().names);
  const bool failed = GetParam().names == std::vector{"Former"_w};
  ASSERT_FALSE(captured.Lines().empty());
  for (const CapturedLog::Line& line : captured.Lines()) {
    EXPECT_EQ(line.level, failed ? YOX::LogLevel::Error : YOX::LogLevel::Debug);
  }
  EXPECT_EQ(captured.Lines()[0].text,
            failed ? "MachineInformation::CollectGpuNames Failed to collect GPU names using DXGI"
                   : "MachineInformation::CollectGpuNames GPU Name : " +
                         YOX::String::UTF16ToUTF8(GetParam().names[0]));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, GpuNamesTest,
    testing::Values(
        AdapterRow{"InOrder",
                   R"([{"description": "B", "dedicated_video_memory": 1},
                       {"description": "A", "shared_system_memory": 1},
                       {"description": "C", "dedicated_system_memory": 1}])",
                   {"B"_w, "A"_w, "C"_w}},
        AdapterRow{"NoAdapterIsAFailure", "[]", {"Former"_w}},
        AdapterRow{"BasicRenderDriverOnly",
                   R"([{"description": "Microsoft Basic Render Driver",
                        "shared_system_memory": 1}])",
                   {"Former"_w}},
        AdapterRow{"SoftwareByItsFlag",
                   R"([{"description": "S", "software": true, "shared_system_memory": 1},
                       {"description": "H", "shared_system_memory": 1}])",
                   {"H"_w}},
        AdapterRow{"WithoutAnyMemory",
                   R"([{"description": "V"}, {"description": "H", "dedicated_video_memory": 1}])",
                   {"H"_w}}),
    yox_test::RowName());

TEST(MachineInformationCollectionTest, AcceleratorsAreAdditionalOnlyWhenAskedFor) {
  InstalledDevice device(R"({"accelerators": [{}],
      "display_adapters": [{"description": "H", "dedicated_video_memory": 1}]})");
  TestRecord record;
  record.CollectAdditionalInfo(false);
  EXPECT_EQ(record.npu_exists(), ""_w);
  EXPECT_EQ(record.gpu_names(), std::vector{"H"_w});
  record.CollectAdditionalInfo(true);
  EXPECT_EQ(record.npu_exists(), "true"_w);
}

}  // namespace
