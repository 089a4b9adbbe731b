#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "yox/base/Json.h"
#include "yox/device/CacheKeys.h"
#include "yox/device/InstalledDevice.h"
#include "yox/device/MachineCache.h"
#include "yox/device/RegionInformation.h"
#include "yox/platform/devices/Accelerators.h"
#include "yox/platform/devices/DisplayAdapters.h"
#include "yox/platform/firmware/Firmware.h"
#include "yox/platform/system/JoinState.h"
#include "yox/platform/system/Locale.h"
#include "yox/platform/system/ManagementQueries.h"
#include "yox/platform/system/OperatingSystem.h"
#include "yox/platform/system/Services.h"
#include "yox/platform/users/Users.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Latch.h"
#include "tests/support/LostFiles.h"
#include "tests/support/SubstitutedPlatform.h"
#include "tests/support/TestRecord.h"

namespace {

using namespace yox::literals;
using yox_test::InstalledDevice;
using yox_test::ReadFile;
using yox_test::TestRecord;
using yox_test::WriteFile;

constexpr char kRecordFile[] = "MachineInformationCached.json";

// What other versions of the client read and write: do not edit.
constexpr char kGoldenRecordFile[] =
    R"({"device_bios_release_date":"2025-11-03","device_bios_version":"FAL14 v1.35",)"
    R"("device_bios_version_short":"1.35","device_brand":"Falcon","device_ec_release_date":)"
    R"("2025-10-01","device_ec_version":"1.20","device_enclosuretype":"Notebook",)"
    R"("device_family":"Falcon 14","device_info_datetime":"2026-03-01T12:00:00Z",)"
    R"("device_manufacturer":"Contoso","device_model":"FA14-2210","device_mt":"FA14",)"
    R"("device_smbios_version":"3.4","device_subbrand":"14","device_tag":"",)"
    R"("os_description":"Microsoft Windows 11 Pro","os_is_s_mode":true,"os_language":"en-US",)"
    R"("os_name":"Windows 11 Pro","os_region":"US","os_update_description":"Fixes.",)"
    R"("os_update_title":"2026-02 Cumulative Update","os_version":"10.0.22631.4460",)"
    R"("serial_number":"C0FFEE12"})";

TEST(MachineInformationCacheTest, TheFirstInstanceCollectsAndWritesAllKeys) {
  InstalledDevice device;
  ASSERT_FALSE(std::filesystem::exists(device.Shared("")));
  MachineInformation* const record = MachineInformation::GetInstance();
  EXPECT_EQ(record->serial_number(), "C0FFEE12"_w);
  EXPECT_EQ(ReadFile(device.Shared(kRecordFile)), kGoldenRecordFile);
}

TEST(MachineInformationCacheTest, EveryFolderOnTheWayIsCreated) {
  InstalledDevice device;
  std::filesystem::remove_all(device.Shared("").parent_path().parent_path());
  MachineInformation::GetInstance();
  EXPECT_EQ(ReadFile(device.Shared(kRecordFile)), kGoldenRecordFile);
}

TEST(MachineInformationCacheTest, LoadingAndSavingReturnWhetherTheFileWasOpened) {
  InstalledDevice device;
  TestRecord record;
  EXPECT_FALSE(record.SaveMachineInformationToFile()) << "there is no folder";
  EXPECT_FALSE(record.LoadMachineInformationFromFile());
  std::filesystem::create_directories(device.Shared(""));
  EXPECT_TRUE(record.SaveMachineInformationToFile());
  EXPECT_TRUE(record.LoadMachineInformationFromFile());
}

TEST(MachineInformationCacheTest, AFailureOfTheFilesIsNoFile) {
  InstalledDevice device;
  TestRecord record;
  record.Initialize();
  yox_test::SubstitutedPlatform platform(device.device());
  yox_test::LostFiles files(device->files());
  platform.Set(files);
  const yox::platform::ScopedPlatform installed(platform);
  EXPECT_FALSE(record.SaveMachineInformationToFile());
  EXPECT_FALSE(record.LoadMachineInformationFromFile());
  EXPECT_EQ(record.serial_number(), "C0FFEE12"_w);
}

TEST(MachineInformationCacheTest, TheKeysHaveTheirOrder) {
  // What other versions of the client read and write: do not edit.
  constexpr const char* kOrder[] = {"serial_number",
                                    "os_name",
                                    "os_region",
                                    "os_language",
                                    "os_version",
                                    "os_is_s_mode",
                                    "os_update_title",
                                    "os_update_description",
                                    "os_description",
                                    "device_brand",
                                    "device_subbrand",
                                    "device_family",
                                    "device_model",
                                    "device_mt",
                                    "device_tag",
                                    "device_info_datetime",
                                    "device_enclosuretype",
                                    "device_bios_version",
                                    "device_bios_version_short",
                                    "device_bios_release_date",
                                    "device_ec_release_date",
                                    "device_manufacturer",
                                    "device_ec_version",
                                    "device_smbios_version"};
  std::vector<std::string> names;
  for (const yox::device::CacheKey& key : yox::device::kCacheKeys) names.emplace_back(key.name);
  EXPECT_EQ(names, std::vector<std::string>(std::begin(kOrder), std::end(kOrder)));
}

TEST(MachineInformationCacheTest, AStartFromTheFileAsksNothing) {
  InstalledDevice device;
  WriteFile(device.Shared(kRecordFile), kGoldenRecordFile);
  yox_test::SubstitutedPlatform platform(device.device());
  yox_test::Untouchable untouchable;
  platform.Set(static_cast<yox::platform::Firmware&>(untouchable));
  platform.Set(static_cast<yox::platform::OperatingSystem&>(untouchable));
  platform.Set(static_cast<yox::platform::ManagementQueries&>(untouchable));
  platform.Set(static_cast<yox::platform::Users&>(untouchable));
  platform.Set(static_cast<yox::platform::DisplayAdapters&>(untouchable));
  yox_test::UntouchableSurroundings surroundings;
  platform.Set(static_cast<yox::platform::Locale&>(surroundings));
  platform.Set(static_cast<yox::platform::Accelerators&>(surroundings));
  platform.Set(static_cast<yox::platform::Services&>(surroundings));
  platform.Set(static_cast<yox::platform::JoinState&>(surroundings));
  yox_test::ToldRegistry registry([] { ADD_FAILURE() << "the registry was asked"; });
  platform.Set(registry);
  const yox::platform::ScopedPlatform installed(platform);

  const MachineInformation* const record = MachineInformation::GetInstance();
  EXPECT_EQ(record->device_manufacturer(), "Contoso"_w);
  EXPECT_EQ(record->device_mt(), "FA14"_w);
  EXPECT_TRUE(record->os_is_s_mode());
  EXPECT_EQ(record->baseboard_serial_number(), ""_w);
  EXPECT_EQ(record->npu_exists(), ""_w);
  EXPECT_EQ(ReadFile(device.Shared(kRecordFile)), kGoldenRecordFile);
}

// A file that is read gives a record, and no collection, whatever it contains.
struct BadFileRow {
  const char* name;
  std::string content;
  const char* os_name;
  const char* os_version;
};
class MachineInformationBadFileTest : public testing::TestWithParam<BadFileRow> {};

TEST_P(MachineInformationBadFileTest, IsBelievedAndLeftAlone) {
  const BadFileRow& row = GetParam();
  InstalledDevice device;
  WriteFile(device.Shared(kRecordFile), row.content);
  TestRecord record;
  record.Initialize();
  EXPECT_EQ(YOX::String::UTF16ToUTF8(record.os_name()), row.os_name);
  EXPECT_EQ(YOX::String::UTF16ToUTF8(record.os_version()), row.os_version);
  EXPECT_EQ(record.serial_number(), ""_w);
  EXPECT_EQ(record.device_manufacturer(), ""_w);
  EXPECT_EQ(ReadFile(device.Shared(kRecordFile)), row.content);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, MachineInformationBadFileTest,
    testing::Values(
        BadFileRow{"Empty", "", "", ""}, BadFileRow{"NotJson", "{\"os_name\":", "", ""},
        BadFileRow{"FirstByteZero", std::string("\0{\"os_name\":\"A\"}", 16), "", ""},
        BadFileRow{"ZeroAfterTheDocument", std::string("{\"os_name\":\"A\"}\0x", 17), "A", ""},
        // A reader that did not stop at the zero would take the text with the zero in it.
        BadFileRow{"ZeroInsideAText", std::string("{\"os_name\":\"A\0B\"}", 17), "", ""},
        BadFileRow{"OneKey", R"({"os_name":"A"})", "A", ""},
        BadFileRow{"Array", R"(["os_name"])", "", ""},
        // The keys are read in their order: what comes before the one that raises is kept.
        BadFileRow{"ObjectForAText", R"({"os_name":"A","os_version":{},"os_language":"B"})", "A",
                   ""},
        BadFileRow{"TextForTheFlag", R"({"os_version":"1.2","os_is_s_mode":"x","os_name":"A"})",
                   "A", "1.2"},
        BadFileRow{"NumberForAText", R"({"os_name":5})", "5", ""}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(MachineInformationCacheTest, BehindAValueOfWrongShapeMembersKeepWhatTheyHold) {
  TestRecord record;
  record.set_device_brand("kept"_w);
  record.set_os_name("overwritten"_w);
  record.DeSerialize(R"({"os_name":"A","os_version":[],"device_brand":"lost"})");
  EXPECT_EQ(record.os_name(), "A"_w);
  EXPECT_EQ(record.device_brand(), "kept"_w);
}

TEST(MachineInformationCacheTest, AFileThatIsNoObjectIsUnusable) {
  InstalledDevice device;
  EXPECT_EQ(yox::device::UnusableMachineCache(), std::nullopt);
  for (const char* const content : {"", "[]", "{\"os_name\":", "7", "\0{}"}) {
    WriteFile(device.Shared(kRecordFile), content);
    const auto path = yox::device::UnusableMachineCache();
    ASSERT_TRUE(path) << content;
    EXPECT_EQ(device->files().Locate(*path), device.Shared(kRecordFile));
  }
  for (const char* const content : {"{}", kGoldenRecordFile}) {
    WriteFile(device.Shared(kRecordFile), content);
    EXPECT_EQ(yox::device::UnusableMachineCache(), std::nullopt);
  }
}

// Firmware of which two threads read at once would be seen.
class CountingFirmware final : public yox::platform::Firmware {
 public:
  explicit CountingFirmware(Firmware& base) : base_(base) {}
  const yox::platform::FirmwareFacts* Facts() override { return base_.Facts(); }
  void Reread() override {
    ++reread;
    if (++inside > 1) together = true;
    for (int i = 0; i < 200; ++i) std::this_thread::yield();
    base_.Reread();
    --inside;
  }
  std::atomic<int> reread{0};
  std::atomic<int> inside{0};
  std::atomic<bool> together{false};

 private:
  Firmware& base_;
};

TEST(MachineInformationCacheTest, TheFirstCollectionTakesTheFirmwareAsItWasRead) {
  InstalledDevice device;
  yox_test::SubstitutedPlatform platform(device.device());
  CountingFirmware firmware(device->firmware());
  platform.Set(firmware);
  const yox::platform::ScopedPlatform installed(platform);
  TestRecord record;
  record.Initialize();
  EXPECT_EQ(record.serial_number(), "C0FFEE12"_w);
  EXPECT_EQ(firmware.reread, 0);
  record.ReInitialize(true);
  EXPECT_EQ(firmware.reread, 1);
}

TEST(MachineInformationCacheTest, ForcedRefreshesRunOneAfterTheOther) {
  InstalledDevice device;
  yox_test::SubstitutedPlatform platform(device.device());
  CountingFirmware firmware(device->firmware());
  platform.Set(firmware);
  const yox::platform::ScopedPlatform installed(platform);
  TestRecord record;
  record.Initialize();
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 50; ++n) record.ReInitialize(true);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(firmware.together);
}

TEST(MachineInformationCacheTest, AMissingKeyEmptiesItsMember) {
  TestRecord record;
  record.set_os_name("old"_w);
  record.set_os_is_s_mode(true);
  record.DeSerialize("{}");
  EXPECT_EQ(record.os_name(), ""_w);
  EXPECT_FALSE(record.os_is_s_mode());
}

TEST(MachineInformationCacheTest, ATextThatIsNoJsonChangesNothing) {
  TestRecord record;
  record.set_os_name("old"_w);
  record.DeSerialize("no");
  EXPECT_EQ(record.os_name(), "old"_w);
}

TEST(MachineInformationCacheTest, AnUnforcedRefreshDoesNothing) {
  InstalledDevice device;
  TestRecord record;
  record.Initialize();
  device->Change([](auto& profile) { profile.os.product_name = "Changed"_w; });
  std::filesystem::remove(device.Shared(kRecordFile));
  record.ReInitialize(false);
  EXPECT_EQ(record.os_name(), "Windows 11 Pro"_w);
  EXPECT_FALSE(std::filesystem::exists(device.Shared(kRecordFile)));
}

// Firmware whose tables take long to read.
class SlowFirmware final : public yox::platform::Firmware {
 public:
  explicit SlowFirmware(Firmware& base) : base_(base) {}
  const yox::platform::FirmwareFacts* Facts() override { return base_.Facts(); }
  void Reread() override {
    reading.CountDown();
    EXPECT_TRUE(go_on.Wait());
    base_.Reread();
  }
  yox_test::Latch reading, go_on;

 private:
  Firmware& base_;
};

// Firmware that lets another thread fill the record while it is being filled.
class MeetingFirmware final : public yox::platform::Firmware {
 public:
  MeetingFirmware(Firmware& base, TestRecord& record) : base_(base), record_(record) {}
  ~MeetingFirmware() override {
    if (meeting_.joinable()) meeting_.join();
  }
  const yox::platform::FirmwareFacts* Facts() override {
    if (!meeting_.joinable()) {
      meeting_ = std::thread([this] {
        begun_ = true;
        record_.Initialize();
        EXPECT_EQ(record_.serial_number(), "C0FFEE12"_w);
      });
      while (!begun_) std::this_thread::yield();
      for (int i = 0; i < 300; ++i) std::this_thread::yield();
    }
    return base_.Facts();
  }
  void Reread() override { base_.Reread(); }

 private:
  Firmware& base_;
  TestRecord& record_;
  std::atomic<bool> begun_{false};
  std::thread meeting_;
};

TEST(MachineInformationCacheTest, WhoFillsARecordSecondWaitsUntilItIsFilled) {
  InstalledDevice device;
  yox_test::SubstitutedPlatform platform(device.device());
  TestRecord record;
  MeetingFirmware firmware(device->firmware(), record);
  platform.Set(firmware);
  const yox::platform::ScopedPlatform installed(platform);
  record.Initialize();
}

TEST(MachineInformationCacheTest, AnUnforcedRefreshDoesNotWaitForACollection) {
  InstalledDevice device;
  yox_test::SubstitutedPlatform platform(device.device());
  SlowFirmware firmware(device->firmware());
  platform.Set(firmware);
  const yox::platform::ScopedPlatform installed(platform);
  TestRecord record;
  record.Initialize();
  yox_test::Latch returned;
  std::thread collecting([&] { record.ReInitialize(true); });
  std::thread unforced([&] {
    EXPECT_TRUE(firmware.reading.Wait());
    record.ReInitialize(false);
    returned.CountDown();
  });
  EXPECT_TRUE(returned.Wait());  // while the collection still holds the record's lock
  firmware.go_on.CountDown();
  collecting.join();
  unforced.join();
}

TEST(MachineInformationCacheTest, ARecordIsFilledOnce) {
  InstalledDevice device;
  TestRecord record;
  record.Initialize();
  device->Change([](auto& profile) { profile.os.product_name = "Changed"_w; });
  std::filesystem::remove(device.Shared(kRecordFile));
  record.Initialize();
  EXPECT_EQ(record.os_name(), "Windows 11 Pro"_w);
  EXPECT_FALSE(std::filesystem::exists(device.Shared(kRecordFile)));
}

TEST(MachineInformationCacheTest, ARecordThatCannotBeWrittenDownLeavesAnEmptyFile) {
  class Unwritable : public TestRecord {
   public:
    yox::WString device_manufacturer() const override { throw std::runtime_error("none"); }
  };
  InstalledDevice device;
  WriteFile(device.Shared(kRecordFile), kGoldenRecordFile);
  Unwritable record;
  EXPECT_EQ(record.Serialize(), "");
  record.ReInitialize(true);
  EXPECT_EQ(record.serial_number(), "C0FFEE12"_w);
  EXPECT_EQ(ReadFile(device.Shared(kRecordFile)), "");
}

TEST(MachineInformationCacheTest, AForcedRefreshOverwritesTheFileAndKeepsTheTag) {
  InstalledDevice device;
  TestRecord record;
  record.Initialize();
  record.set_device_tag("lab"_w);
  device->Change([](auto& profile) {
    profile.os.product_name = "Windows 12"_w;
    profile.firmware->bios_version = "FAL14 v2.00"_w;
    profile.region.country_code = "DE"_w;
  });
  record.ReInitialize(true);
  EXPECT_EQ(record.os_name(), "Windows 12"_w);
  EXPECT_EQ(record.device_bios_version(), "FAL14 v2.00"_w);
  EXPECT_EQ(record.os_region(), "DE"_w);
  TestRecord restarted;
  restarted.Initialize();
  EXPECT_EQ(restarted.device_tag(), "lab"_w);
  EXPECT_EQ(restarted.os_name(), "Windows 12"_w);
}

TEST(MachineInformationCacheTest, EveryCachedTextComesBackUnchanged) {
  for (const yox::device::CacheKey& key : yox::device::kCacheKeys) {
    TestRecord record;
    const std::string text = std::string(key.name) + " größe 漢字 \U0001F4BB \"\\\n\x01";
    const std::string document = record.Serialize();
    Json::Value root = yox::ParseLenientJson(document).value();
    ASSERT_EQ(root.size(), 24U);
    if (key.text) {
      root[key.name] = text;
    } else {
      root[key.name] = true;
    }
    record.DeSerialize(root.toStyledString());
    TestRecord copy;
    copy.DeSerialize(record.Serialize());
    if (key.text) {
      EXPECT_EQ(YOX::String::UTF16ToUTF8(copy.View(*key.text)), text);
    } else {
      EXPECT_TRUE(copy.os_is_s_mode());
    }
  }
}

TEST(MachineInformationCacheTest, TheFileHasNoLineBreaks) {
  EXPECT_EQ(TestRecord().Serialize().find('\n'), std::string::npos);
}

TEST(MachineInformationCacheTest, TheManufacturerIsWrittenThroughItsVirtualGetter) {
  class Presented : public TestRecord {
   public:
    yox::WString device_manufacturer() const override { return "Presented"_w; }
  } record;
  record.set_device_manufacturer("Real"_w);
  EXPECT_NE(record.Serialize().find(R"("device_manufacturer":"Presented")"), std::string::npos);
}

TEST(MachineInformationCacheTest, AFolderInThePlaceOfTheFileLeavesTheRecordCollected) {
  InstalledDevice device;
  std::filesystem::create_directories(device.Shared(kRecordFile));
  TestRecord record;
  record.Initialize();
  EXPECT_EQ(record.os_name(), "Windows 11 Pro"_w);
  EXPECT_TRUE(std::filesystem::is_directory(device.Shared(kRecordFile)));
}

TEST(MachineInformationCacheTest, NothingIsLogged) {
  InstalledDevice device;
  WriteFile(device.Shared(kRecordFile), "broken");
  TestRecord record;
  const yox_test::CapturedLog captured;
  record.Initialize();
  EXPECT_EQ(captured.Text(), "");
}

}  // namespace
