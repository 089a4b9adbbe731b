#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "yox/platform/files/NewFile.h"
#include "yox/platform/files/PathText.h"
#include "yox/platform/files/StateFiles.h"

#include "tests/support/FileMode.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using yox::NewFile;
using yox::platform::CreatePrivateFolder;
using yox::platform::ToText;
using yox::platform::WriteInPlace;
using yox_test::ModeOf;

void Replace(const fs::path& file, NewFile::Access access) {
  NewFile created(ToText(file), access, NewFile::Form::kBinary);
  created.Write("new");
  created.Commit();
}

// Each test has a process of its own, so that the umask is not set back. The umask that takes all
// shows that modes are set explicitly, the one that takes none that they are not left to it.
class StateFileModesTest : public testing::TestWithParam<mode_t> {
 protected:
  void SetUp() override { umask(GetParam()); }

  yox_test::TemporaryFolder folder_;
};

TEST_P(StateFileModesTest, AreTheSameForEveryUmask) {
  ASSERT_TRUE(CreatePrivateFolder(folder_.path() / "a" / "b", true));
  EXPECT_EQ(ModeOf(folder_.path() / "a"), 0700U);
  EXPECT_EQ(ModeOf(folder_.path() / "a" / "b"), 0700U);

  ASSERT_TRUE(WriteInPlace(folder_.path() / "cache", [] { return "x"; }));
  EXPECT_EQ(ModeOf(folder_.path() / "cache"), 0600U);

  Replace(folder_.path() / "private", NewFile::Access::kPrivate);
  EXPECT_EQ(ModeOf(folder_.path() / "private"), 0600U);
  Replace(folder_.path() / "public", NewFile::Access::kPublic);
  EXPECT_EQ(ModeOf(folder_.path() / "public"), 0644U);
  Replace(folder_.path() / "public", NewFile::Access::kAsBefore);
  EXPECT_EQ(ModeOf(folder_.path() / "public"), 0644U);
  Replace(folder_.path() / "first", NewFile::Access::kAsBefore);
  EXPECT_EQ(ModeOf(folder_.path() / "first"), 0600U);
}

INSTANTIATE_TEST_SUITE_P(, StateFileModesTest, testing::Values(0, 022, 0777),
                         [](const auto& row) { return "Umask" + std::to_string(row.param); });

class StateFileLinksTest : public testing::Test {
 protected:
  void SetUp() override { std::ofstream(victim_) << "untouched"; }
  std::string Victim() const {
    std::ifstream file(victim_);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  yox_test::TemporaryFolder folder_;
  fs::path victim_ = folder_.path() / "victim";
  fs::path link_ = folder_.path() / "link";
};

TEST_F(StateFileLinksTest, InPlaceWritingFollowsNone) {
  fs::create_symlink(victim_, link_);
  EXPECT_FALSE(WriteInPlace(link_, [] { return "x"; }));
  fs::remove(link_);
  fs::create_symlink(folder_.path() / "none", link_);
  EXPECT_FALSE(WriteInPlace(link_, [] { return "x"; }));
  EXPECT_EQ(Victim(), "untouched");
  EXPECT_FALSE(fs::exists(folder_.path() / "none"));
}

TEST_F(StateFileLinksTest, ANewFileReplacesThemAndFollowsNone) {
  fs::create_symlink(victim_, link_);
  fs::create_symlink(victim_, folder_.path() / "link.new");
  chmod(victim_.c_str(), 0640);
  Replace(link_, NewFile::Access::kAsBefore);
  EXPECT_EQ(Victim(), "untouched");
  EXPECT_EQ(ModeOf(victim_), 0640U);
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(link_)));
  EXPECT_EQ(ModeOf(link_), 0600U);
}

TEST_F(StateFileLinksTest, AFolderThatIsExchangedMeanwhileIsNotWrittenTo) {
  fs::create_directory(folder_.path() / "folder");
  NewFile file(ToText(folder_.path() / "folder" / "file"), NewFile::Access::kPrivate,
               NewFile::Form::kBinary);
  fs::rename(folder_.path() / "folder", folder_.path() / "moved");
  fs::create_directory(folder_.path() / "elsewhere");
  fs::create_symlink(folder_.path() / "elsewhere", folder_.path() / "folder");
  file.Write("new");
  file.Commit();
  EXPECT_TRUE(fs::is_empty(folder_.path() / "elsewhere"));
  EXPECT_TRUE(fs::exists(folder_.path() / "moved" / "file"));
}

class StateFileFullDiskTest : public testing::Test {
 protected:
  yox_test::TemporaryFolder folder_;
  fs::path file_ = folder_.path() / "file";
};

TEST_F(StateFileFullDiskTest, AFileThatCannotBeWrittenWholeIsRemoved) {
  std::ofstream(file_) << "former";
  const yox_test::FileSizeLimit limit(10);
  EXPECT_TRUE(WriteInPlace(file_, [] { return std::string(20, 'x'); }));
  EXPECT_FALSE(fs::exists(file_));
}

TEST_F(StateFileFullDiskTest, AFirstFileThatCannotBeWrittenWholeNeverAppears) {
  const yox_test::FileSizeLimit limit(10);
  EXPECT_TRUE(WriteInPlace(file_, [] { return std::string(20, 'x'); }));
  EXPECT_TRUE(fs::is_empty(folder_.path()));
}

TEST_F(StateFileFullDiskTest, ANewFileThatCannotBeWrittenWholeLeavesTheFormerOne) {
  std::ofstream(file_) << "former";
  const yox_test::FileSizeLimit limit(10);
  EXPECT_THROW(
      {
        NewFile file(ToText(file_), NewFile::Access::kPrivate, NewFile::Form::kBinary);
        file.Write(std::string(20, 'x'));
      },
      std::runtime_error);
  EXPECT_EQ(fs::file_size(file_), 6U);
}

}  // namespace
