#include <gtest/gtest.h>

#include <string>

#include "yox/base/String.h"
#include "yox/clientbase/FilePermissions.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/clientbase/Paths.h"
#include "yox/platform/files/PathText.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

namespace {

using yox::WString;
using yox::platform::NativePath;
using yox::platform::ToText;
using namespace yox::literals;

class FileSystemTest : public testing::Test {
 protected:
  WString Text(const char* name) { return ToText(device_.files().folder() / name); }
  void Write(const WString& path, std::string_view content) {
    FileSystem::OpenToWrite(path, std::ios::out | std::ios::binary) << content;
  }
  std::string Read(const WString& path) {
    std::ifstream stream = FileSystem::OpenToRead(path);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  yox::platform::SimulatedDevice device_;
  yox::platform::ScopedPlatform installed_{device_};
};

TEST_F(FileSystemTest, MissingFileHasNoSizeAndCannotBeReadOrDeleted) {
  const WString path = Text("none");
  EXPECT_FALSE(FileSystem::fileExists(path));
  EXPECT_EQ(FileSystem::fileSize(path), 0U);
  EXPECT_FALSE(FileSystem::OpenToRead(path).good());
  EXPECT_FALSE(FileSystem::deleteFile(path));
  const std::string narrow = YOX::String::UTF16ToUTF8(path);
  EXPECT_NE(FileUtils::fileExist(narrow), 0);
  EXPECT_NE(FileUtils::removeFile(narrow), 0);
}

TEST_F(FileSystemTest, WrittenFileIsReadBackAndDeleted) {
  const WString path = Text("größe \xF0\x9F\x94\x91.txt");
  Write(path, std::string_view("a\r\nb\0c\x1A", 7));
  EXPECT_TRUE(FileSystem::fileExists(path));
  EXPECT_EQ(FileSystem::fileSize(path), 7U);
  EXPECT_EQ(Read(path), std::string_view("a\r\nb\0c\x1A", 7));
  const std::string narrow = YOX::String::UTF16ToUTF8(path);
  EXPECT_EQ(FileUtils::fileExist(narrow), 0);
  EXPECT_EQ(FileUtils::removeFile(narrow), 0);
  EXPECT_FALSE(FileSystem::fileExists(path));
}

TEST_F(FileSystemTest, FoldersAreCreatedWithAndWithoutTheirParents) {
  const WString folder = ToText(device_.files().folder()) + NativePath("\\Shared\\Deep"_wv);
  EXPECT_FALSE(FileSystem::createDirectory(folder, false));
  EXPECT_TRUE(FileSystem::createDirectory(folder, true));
  EXPECT_TRUE(FileSystem::createDirectory(folder, true));
  EXPECT_TRUE(FileSystem::createDirectory(folder + "/"_w, false));
  EXPECT_TRUE(std::filesystem::is_directory(device_.files().folder() / "Shared" / "Deep"));
  Write(folder + "/file"_w, "x");
  EXPECT_TRUE(
      std::filesystem::is_regular_file(device_.files().folder() / "Shared" / "Deep" / "file"));
}

TEST_F(FileSystemTest, FolderIsNoFile) {
  const WString folder = Text("folder");
  ASSERT_TRUE(FileSystem::createDirectory(folder, false));
  EXPECT_FALSE(FileSystem::fileExists(folder));
  EXPECT_EQ(FileSystem::fileSize(folder), 0U);
  EXPECT_FALSE(FileSystem::OpenToRead(folder).good());
  EXPECT_FALSE(FileSystem::OpenToWrite(folder).good());
  EXPECT_FALSE(FileSystem::deleteFile(folder));
  EXPECT_TRUE(std::filesystem::is_directory(device_.files().folder() / "folder"));
}

TEST_F(FileSystemTest, FileIsNoFolder) {
  Write(Text("file"), "x");
  EXPECT_FALSE(FileSystem::createDirectory(Text("file"), true));
}

TEST_F(FileSystemTest, RootDirectoryIsTheDevicesOwn) {
  EXPECT_EQ(FileSystem::Locate("C:\\yox-provision.json"_w),
            device_.files().folder() / "Root" / "yox-provision.json");
}

TEST_F(FileSystemTest, CertificateFilesLieInAFolderThatIsMade) {
  std::string bridge;
  std::string embedded;
  ASSERT_TRUE(YOX::utility::getBridgeMqttPemFilePath(bridge));
  ASSERT_TRUE(YOX::utility::getEmbeddedMqttPemFilePath(embedded));
  const std::string combined = YOX::utility::getMqttPemFilePath();
  EXPECT_NE(bridge, combined);
  EXPECT_NE(embedded, combined);
  EXPECT_TRUE(FileSystem::OpenToWrite(YOX::String::UTF8ToUTF16(bridge), std::ios::out).good());
  EXPECT_TRUE(FileSystem::OpenToWrite(YOX::String::UTF8ToUTF16(combined), std::ios::out).good());
}

TEST_F(FileSystemTest, WithoutStateFolderThereAreNoPathsInIt) {
  device_.files().SetStateFolder(false);
  WString root = "kept"_w;
  std::string bridge = "kept";
  EXPECT_FALSE(YOX::utility::GetYoxAppDataRootPath(root));
  EXPECT_FALSE(YOX::utility::getBridgeMqttPemFilePath(bridge));
  EXPECT_EQ(root, "kept"_w);
  EXPECT_EQ(bridge, "kept");
  EXPECT_EQ(YOX::utility::getMqttPemFilePath(), "");
}

TEST_F(FileSystemTest, MalformedGrantsChangeNothing) {
  Write(Text("file"), "x");
  EXPECT_FALSE(YOX::utility::ApplyFilePermissions(Text("file"), "rubbish"_w, true));
  EXPECT_TRUE(device_.files().Grants().empty());
  EXPECT_EQ(Read(Text("file")), "x");
}

#if !defined(_WIN32)
TEST_F(FileSystemTest, PipesAndDevicesAreNeverOpened) {
  const std::filesystem::path pipe = device_.files().folder() / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  for (const std::filesystem::path& file : {pipe, std::filesystem::path("/dev/null")}) {
    EXPECT_FALSE(FileSystem::fileExists(ToText(file)));
    EXPECT_FALSE(FileSystem::OpenToRead(ToText(file)).good());
    EXPECT_FALSE(FileSystem::OpenToWrite(ToText(file)).good());
    EXPECT_FALSE(FileSystem::deleteFile(ToText(file)));
  }
}
#endif

}  // namespace
