#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <span>
#include <string_view>

#include "yox/platform/Platform.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/files/PathText.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/support/TemporaryFolder.h"

namespace {

using yox::WString;
using yox::platform::Files;
using yox::platform::Platform;
using yox::platform::ToText;
using namespace yox::literals;

TEST(SimulatedFilesTest, TemporaryFolderGoesWithTheDevice) {
  std::filesystem::path folder;
  {
    yox::platform::SimulatedDevice device;
    folder = device.files().folder();
    EXPECT_TRUE(std::filesystem::is_directory(folder));
    EXPECT_EQ(device.files().folder(), folder);
    EXPECT_NE(yox::platform::SimulatedDevice().files().folder(), folder);
  }
  EXPECT_FALSE(std::filesystem::exists(folder));
}

TEST(SimulatedFilesTest, NamedFolderStays) {
  const yox_test::TemporaryFolder folder;
  {
    yox::platform::SimulatedDevice device({}, folder.path());
    EXPECT_EQ(device.files().folder(), folder.path());
  }
  EXPECT_TRUE(std::filesystem::is_directory(folder.path()));
}

// What every implementation keeps; the folder is a real one each time.
class FilesContractTest : public testing::TestWithParam<const char*> {
 protected:
  Files& files() {
    return GetParam() == std::string_view("Native") ? Platform::Native().files() : device_.files();
  }
  std::filesystem::path Path(const char* name) { return device_.files().folder() / name; }

  yox::platform::SimulatedDevice device_;
  yox::platform::ScopedPlatform installed_{device_};
};

TEST_P(FilesContractTest, FoldersAreAbsoluteWithoutSeparatorAtTheEnd) {
  for (const WString& folder : {files().CommonApplicationDataPath(), files().SystemDirectory(),
                                files().ProductDirectory()}) {
    const std::filesystem::path located = files().Locate(folder);
    EXPECT_TRUE(located.is_absolute()) << located;
    EXPECT_TRUE(located.has_filename()) << located;
  }
}

TEST_P(FilesContractTest, PathOfThisMachineIsLocatedAsItIs) {
  EXPECT_EQ(files().Locate(ToText(Path("file"))), Path("file"));
}

TEST_P(FilesContractTest, PrivateFileIsNewEmptyAndWritable) {
  ASSERT_TRUE(files().CreatePrivate(Path("private")));
  EXPECT_EQ(std::filesystem::file_size(Path("private")), 0U);
  EXPECT_TRUE(std::ofstream(Path("private")) << "content" << std::flush);
  EXPECT_FALSE(files().CreatePrivate(Path("private")));
  EXPECT_EQ(std::filesystem::file_size(Path("private")), 7U);
  EXPECT_FALSE(files().CreatePrivate(Path("no-folder/private")));
}

TEST_P(FilesContractTest, GrantsNeedAFileAndKnownAccounts) {
  const yox::AccessGrant full{"S-1-5-18"_w, true, true, true, true, true};
  EXPECT_FALSE(files().Grant(Path("none"), std::span(&full, 1), true));
  EXPECT_FALSE(files().Grant(Path("none"), std::span(&full, 1), false));
  std::ofstream(Path("file")) << "x";
  EXPECT_TRUE(files().Grant(Path("file"), std::span(&full, 1), true));
  EXPECT_TRUE(files().Grant(Path("file"), std::span(&full, 1), false));
  const yox::AccessGrant nobody{"S-not-an-account"_w, false, false, true, true, true};
  EXPECT_FALSE(files().Grant(Path("file"), std::span(&nobody, 1), true));
}

INSTANTIATE_TEST_SUITE_P(, FilesContractTest, testing::Values("Native", "Simulated"),
                         [](const auto& row) { return std::string(row.param); });

}  // namespace
