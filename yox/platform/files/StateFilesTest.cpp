#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "yox/platform/files/NewFile.h"
#include "yox/platform/files/PathText.h"
#include "yox/platform/files/StateFiles.h"

#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using yox::NewFile;
using yox::platform::CreatePrivateFolder;
using yox::platform::WriteInPlace;

std::string Read(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) return "no file";
  return {std::istreambuf_iterator<char>(stream), {}};
}

void Write(const fs::path& file, std::string_view content) {
  std::ofstream(file, std::ios::binary) << content;
}

class StateFilesTest : public testing::Test {
 protected:
  std::ptrdiff_t Files() const {
    const fs::directory_iterator files(folder_.path());
    return std::distance(begin(files), end(files));
  }

  yox_test::TemporaryFolder folder_;
  fs::path file_ = folder_.path() / "file";
};

TEST_F(StateFilesTest, FolderIsCreatedWithThoseAboveItOnlyIfWanted) {
  EXPECT_FALSE(CreatePrivateFolder(folder_.path() / "a" / "b", false));
  EXPECT_FALSE(fs::exists(folder_.path() / "a"));
  EXPECT_TRUE(CreatePrivateFolder(folder_.path() / "a" / "b", true));
  EXPECT_TRUE(fs::is_directory(folder_.path() / "a" / "b"));
  EXPECT_TRUE(CreatePrivateFolder(folder_.path() / "a" / "b", false));
  EXPECT_TRUE(CreatePrivateFolder(folder_.path() / "a" / "c", false));
}

TEST_F(StateFilesTest, FileInThePlaceOfAFolderIsNoFolder) {
  Write(file_, "x");
  EXPECT_FALSE(CreatePrivateFolder(file_, true));
  EXPECT_FALSE(CreatePrivateFolder(file_ / "inside", true));
}

TEST_F(StateFilesTest, MissingFileAppearsWithItsContent) {
  EXPECT_TRUE(WriteInPlace(file_, [&] {
    EXPECT_EQ(Read(file_), "no file");
    return "content";
  }));
  EXPECT_EQ(Read(file_), "content");
  EXPECT_EQ(Files(), 1);
}

TEST_F(StateFilesTest, ExistingFileKeepsItsContentUntilTheNewOneIsWritten) {
  Write(file_, "former content");
  fs::create_hard_link(file_, folder_.path() / "other name");
  EXPECT_TRUE(WriteInPlace(file_, [&] {
    EXPECT_EQ(Read(file_), "former content");
    return "new";
  }));
  EXPECT_EQ(Read(file_), "new");
  EXPECT_EQ(Read(folder_.path() / "other name"), "new") << "the file was replaced";
}

TEST_F(StateFilesTest, FileOfAnotherProcessThatWasFirstIsWrittenOver) {
  EXPECT_TRUE(WriteInPlace(file_, [&] {
    Write(file_, "the other process's content");
    return "ours";
  }));
  EXPECT_EQ(Read(file_), "ours");
  EXPECT_EQ(Files(), 1);
}

TEST_F(StateFilesTest, ContentIsNotAskedForWhenTheFileCannotBeOpened) {
  const auto content = [] {
    ADD_FAILURE() << "it was";
    return std::string();
  };
  fs::create_directory(file_);
  EXPECT_FALSE(WriteInPlace(file_, content));
  EXPECT_FALSE(WriteInPlace(folder_.path() / "none" / "file", content));
}

class NewFileTest : public StateFilesTest {
 protected:
  NewFile Create(NewFile::Access access) const {
    return NewFile(yox::platform::ToText(file_), access, NewFile::Form::kBinary);
  }
  fs::path staging_ = folder_.path() / "file.new";
};

TEST_F(NewFileTest, FormerFileStaysUntilTheNewOneIsComplete) {
  Write(file_, "former");
  NewFile file = Create(NewFile::Access::kPrivate);
  EXPECT_EQ(yox::platform::ToPath(file.path()), staging_);
  file.Write("n");
  file.Write("ew");
  EXPECT_EQ(Read(file_), "former");
  EXPECT_EQ(Read(staging_), "new");
  file.Commit();
  EXPECT_EQ(Read(file_), "new");
  EXPECT_EQ(Files(), 1);
}

TEST_F(NewFileTest, UnfinishedFileLeavesTheFormerOneAlone) {
  Write(file_, "former");
  Create(NewFile::Access::kAsBefore).Write("new");
  EXPECT_EQ(Read(file_), "former");
  EXPECT_EQ(Files(), 1);
}

TEST_F(NewFileTest, LeftoverOfAFormerProcessIsReplaced) {
  Write(staging_, "leftover, longer than what follows");
  NewFile file = Create(NewFile::Access::kPublic);
  file.Write("new");
  file.Commit();
  EXPECT_EQ(Read(file_), "new");
}

TEST_F(NewFileTest, FolderIsNotReplaced) {
  fs::create_directory(file_);
  EXPECT_THROW(Create(NewFile::Access::kPrivate), std::runtime_error);
  fs::remove(file_);
  file_ = folder_.path() / "none" / "file";
  EXPECT_THROW(Create(NewFile::Access::kPrivate), std::runtime_error);
}

}  // namespace
