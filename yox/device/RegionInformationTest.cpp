#include <gtest/gtest.h>

#include <stdexcept>

#include "yox/device/InstalledDevice.h"
#include "yox/device/RegionInformation.h"

#include "tests/support/LostFiles.h"
#include "tests/support/SubstitutedPlatform.h"

namespace {

using namespace yox::literals;
using yox::platform::DeviceProfile;
using yox_test::InstalledDevice;
using yox_test::ReadFile;
using yox_test::WriteFile;

constexpr char kRegionFile[] = "RegionInformationCached.json";

// What other versions of the client read and write: do not edit.
constexpr char kGoldenRegionFile[] =
    R"({"country_code":"US","country_name":"United States","language_code":"en-US",)"
    R"~("language_name":"English (United States)","region_info_datetime":"2026-03-01T12:00:00Z",)~"
    R"("region_name":"USA"})";
constexpr char kOtherFile[] =
    R"({"region_name":"Deutschland","country_code":"DE","region_info_datetime":"then"})";

std::filesystem::path Fallback(InstalledDevice& device) {
  return device->files().Locate(device->files().CommonApplicationDataPath()) / "tervan" / "yox" /
         "Shared" / kRegionFile;
}

void MakeSharedFolder(InstalledDevice& device) {
  std::filesystem::create_directories(device.Shared(""));
}

void LogOff(InstalledDevice& device) {
  device->Change([](DeviceProfile& profile) { profile.user.sid.clear(); });
}

TEST(RegionInformationTest, WithoutAFileTheUsersSettingsAreReadAndWritten) {
  InstalledDevice device;
  MakeSharedFolder(device);
  const RegionInformation* const region = RegionInformation::GetInstance();
  EXPECT_EQ(region->country_code(), "US"_w);
  EXPECT_EQ(region->country_name(), "United States"_w);
  EXPECT_EQ(region->region_name(), "USA"_w);
  EXPECT_EQ(region->language_code(), "en-US"_w);
  EXPECT_EQ(region->language_name(), "English (United States)"_w);
  EXPECT_EQ(region->region_info_datetime(), "2026-03-01T12:00:00Z"_w);
  EXPECT_EQ(ReadFile(device.Shared(kRegionFile)), kGoldenRegionFile);
}

TEST(RegionInformationTest, WithoutAFileAndAUserNothingIsWritten) {
  InstalledDevice device;
  MakeSharedFolder(device);
  LogOff(device);
  EXPECT_EQ(RegionInformation::GetInstance()->country_code(), "US"_w);
  EXPECT_FALSE(std::filesystem::exists(device.Shared(kRegionFile)));
}

TEST(RegionInformationTest, WithoutTheSharedFolderSavingFailsSilently) {
  InstalledDevice device;
  EXPECT_EQ(RegionInformation::GetInstance()->country_code(), "US"_w);
  EXPECT_FALSE(std::filesystem::exists(device.Shared("")));
}

TEST(RegionInformationTest, AFileComesBeforeTheUsersSettings) {
  InstalledDevice device;
  WriteFile(device.Shared(kRegionFile), kOtherFile);
  EXPECT_EQ(RegionInformation::GetInstance()->country_code(), "DE"_w);
  EXPECT_EQ(ReadFile(device.Shared(kRegionFile)), kOtherFile);
}

TEST(RegionInformationTest, ARefreshWithoutAUserReloadsTheFile) {
  InstalledDevice device;
  WriteFile(device.Shared(kRegionFile), kOtherFile);
  LogOff(device);
  RegionInformation* const region = RegionInformation::GetInstance();
  region->set_country_code("FR"_w);
  region->ReInitialize();
  EXPECT_EQ(region->country_code(), "DE"_w);
  EXPECT_EQ(region->region_info_datetime(), "then"_w);
  EXPECT_EQ(ReadFile(device.Shared(kRegionFile)), kOtherFile);
}

TEST(RegionInformationTest, ARefreshWithoutAUserAndAFileIsKeptInMemoryOnly) {
  InstalledDevice device;
  MakeSharedFolder(device);
  LogOff(device);
  RegionInformation* const region = RegionInformation::GetInstance();
  device->Change([](DeviceProfile& profile) { profile.region.country_code = "JP"_w; });
  region->ReInitialize();
  EXPECT_EQ(region->country_code(), "JP"_w);
  EXPECT_FALSE(std::filesystem::exists(device.Shared(kRegionFile)));
}

TEST(RegionInformationTest, ARefreshWithAUserOverwritesTheFile) {
  InstalledDevice device;
  WriteFile(device.Shared(kRegionFile), kOtherFile);
  RegionInformation* const region = RegionInformation::GetInstance();
  region->ReInitialize();
  EXPECT_EQ(region->country_code(), "US"_w);
  EXPECT_EQ(ReadFile(device.Shared(kRegionFile)), kGoldenRegionFile);
}

TEST(RegionInformationTest, TheFallbackFileIsReadAndNeverCopied) {
  InstalledDevice device;
  MakeSharedFolder(device);
  WriteFile(Fallback(device), kOtherFile);
  EXPECT_EQ(RegionInformation::GetInstance()->country_code(), "DE"_w);
  EXPECT_FALSE(std::filesystem::exists(device.Shared(kRegionFile)));
}

TEST(RegionInformationTest, WithoutAStateFolderTheFallbackFileIsRead) {
  InstalledDevice device;
  device->files().SetStateFolder(false);
  WriteFile(Fallback(device), kOtherFile);
  EXPECT_EQ(RegionInformation::GetInstance()->country_code(), "DE"_w);
}

TEST(RegionInformationTest, AFailureOfTheFilesIsNoFile) {
  InstalledDevice device;
  LogOff(device);
  yox_test::SubstitutedPlatform platform(device.device());
  yox_test::LostFiles files(device->files());
  platform.Set(files);
  const yox::platform::ScopedPlatform installed(platform);
  EXPECT_EQ(RegionInformation::GetInstance()->country_code(), "US"_w);
}

TEST(RegionInformationTest, AnEmptyFileEmptiesAllAndHidesTheFallback) {
  InstalledDevice device;
  WriteFile(device.Shared(kRegionFile), "");
  WriteFile(Fallback(device), kOtherFile);
  const RegionInformation* const region = RegionInformation::GetInstance();
  EXPECT_EQ(region->country_code(), ""_w);
  EXPECT_EQ(region->region_info_datetime(), ""_w);
}

TEST(RegionInformationTest, ACorruptFileIsRepairedByARefreshWithAUser) {
  InstalledDevice device;
  WriteFile(device.Shared(kRegionFile), "{");
  RegionInformation* const region = RegionInformation::GetInstance();
  EXPECT_EQ(region->country_code(), ""_w);
  region->ReInitialize();
  EXPECT_EQ(region->country_code(), "US"_w);
  EXPECT_EQ(ReadFile(device.Shared(kRegionFile)), kGoldenRegionFile);
}

TEST(RegionInformationTest, BehindAValueOfWrongShapeMembersKeepWhatTheyHold) {
  InstalledDevice device;
  WriteFile(device.Shared(kRegionFile), R"({"region_name":"A","country_code":"B","country_name":[],
                                      "language_code":"C"})");
  const RegionInformation* const region = RegionInformation::GetInstance();
  EXPECT_EQ(region->region_name(), "A"_w);
  EXPECT_EQ(region->country_code(), "B"_w);
  EXPECT_EQ(region->country_name(), ""_w);
  EXPECT_EQ(region->language_code(), ""_w);
}

}  // namespace
