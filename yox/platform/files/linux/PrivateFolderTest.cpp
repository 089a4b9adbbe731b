#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <string>
#include <system_error>

#include "yox/platform/files/linux/PrivateFolder.h"

#include "tests/support/FileMode.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using testing::StartsWith;
using yox::platform::FileDescriptor;
using yox::platform::PrivateFolder;
using yox_test::ModeOf;

class Umask {
 public:
  explicit Umask(mode_t mask) : former_(umask(mask)) {}
  ~Umask() { umask(former_); }

 private:
  mode_t former_;
};

class PrivateFolderTest : public testing::Test {
 protected:
  const fs::path& temporary() const { return temporary_.path(); }

 private:
  yox_test::TemporaryFolder temporary_;
};

TEST_F(PrivateFolderTest, MissingFoldersAreTheOwnersAloneWhateverTheUmask) {
  for (const mode_t mask : {0U, 022U, 0777U}) {
    const fs::path top = temporary() / std::to_string(mask);
    const Umask changed(mask);
    PrivateFolder::Create(top / "a" / "b");
    for (const fs::path& folder : {top, top / "a", top / "a" / "b"}) {
      EXPECT_EQ(ModeOf(folder), 0700U) << mask << folder;
    }
  }
}

TEST_F(PrivateFolderTest, AnExistingFolderKeepsItsMode) {
  chmod(temporary().c_str(), 0755);
  PrivateFolder::Create(temporary());
  EXPECT_EQ(ModeOf(temporary()), 0755U);
}

TEST_F(PrivateFolderTest, ASeparatorAtTheEndAndARelativePathAreFolders) {
  PrivateFolder::Create(temporary() / "a" / "");
  EXPECT_TRUE(fs::is_directory(temporary() / "a"));
  const fs::path former = fs::current_path();
  fs::current_path(temporary());
  PrivateFolder::Create("b/c");
  fs::current_path(former);
  EXPECT_TRUE(fs::is_directory(temporary() / "b" / "c"));
}

TEST_F(PrivateFolderTest, AFolderThatCannotBeMadeIsNamedWithTheReason) {
  std::ofstream(temporary() / "file") << "x";
  for (const fs::path& path : {temporary() / "file", temporary() / "file" / "below", fs::path()}) {
    try {
      PrivateFolder::Create(path);
      ADD_FAILURE() << path;
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code(),
                path.empty() ? std::errc::no_such_file_or_directory : std::errc::not_a_directory);
      EXPECT_THAT(error.what(), StartsWith(path.native()));
    }
  }
}

TEST_F(PrivateFolderTest, AMissingFolderIsNotOpened) {
  EXPECT_THROW(PrivateFolder(temporary() / "missing"), std::system_error);
}

TEST_F(PrivateFolderTest, ANewFileIsTheOwnersAloneWhateverTheUmask) {
  const PrivateFolder folder(temporary());
  for (const mode_t mask : {0U, 0777U}) {
    const std::string name = std::to_string(mask);
    const Umask changed(mask);
    EXPECT_TRUE(folder.CreateFile(name.c_str()));
    EXPECT_EQ(ModeOf(temporary() / name), 0600U);
  }
}

TEST_F(PrivateFolderTest, ATakenNameGivesNoFile) {
  const PrivateFolder folder(temporary());
  std::ofstream(temporary() / "file") << "kept";
  fs::create_symlink(temporary() / "target", temporary() / "link");
  EXPECT_FALSE(folder.CreateFile("file"));
  EXPECT_FALSE(folder.CreateFile("link"));
  EXPECT_EQ(fs::file_size(temporary() / "file"), 4U);
  EXPECT_FALSE(fs::exists(temporary() / "target"));
}

TEST_F(PrivateFolderTest, FilesAreOfTheFolderThatWasOpened) {
  const PrivateFolder folder = PrivateFolder::Create(temporary() / "folder");
  fs::rename(temporary() / "folder", temporary() / "moved");
  fs::create_directory(temporary() / "folder");
  EXPECT_TRUE(folder.CreateFile("file"));
  EXPECT_TRUE(fs::exists(temporary() / "moved" / "file"));
  EXPECT_FALSE(fs::exists(temporary() / "folder" / "file"));
  EXPECT_TRUE(folder.OpenFile("file", O_RDONLY));
}

TEST_F(PrivateFolderTest, OnlyRegularFilesAreOpenedAndNoLinks) {
  const PrivateFolder folder(temporary());
  std::ofstream(temporary() / "file") << "x";
  fs::create_symlink(temporary() / "file", temporary() / "link");
  fs::create_directory(temporary() / "below");
  ASSERT_EQ(mkfifo((temporary() / "pipe").c_str(), 0600), 0);
  EXPECT_TRUE(folder.OpenFile("file", O_RDWR));
  EXPECT_FALSE(folder.OpenFile("missing", O_RDONLY));
  for (const char* const name : {"link", "below", "pipe"}) {
    EXPECT_THROW(folder.OpenFile(name, O_RDONLY), std::system_error) << name;
  }
}

}  // namespace
