#include "yox/clientbase/FileSystem.h"

#include <system_error>

#include "yox/base/String.h"
#include "yox/platform/Platform.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/files/StateFiles.h"
#include "yox/platform/system/Client.h"

using yox::WString;

namespace {

yox::platform::Files& Files() { return yox::platform::Platform::Get().files(); }

bool IsFile(const std::filesystem::path& path) {
  std::error_code none;
  return std::filesystem::is_regular_file(path, none);
}

}  // namespace

WString FileSystem::GetFileVersion(const WString& path) {
  return yox::platform::Platform::Get().client().FileVersion(path);
}

WString FileSystem::GetCommonApplicationDataPath() { return Files().CommonApplicationDataPath(); }

std::filesystem::path FileSystem::Locate(const WString& path) { return Files().Locate(path); }

bool FileSystem::fileExists(const WString& path) { return IsFile(Locate(path)); }

std::uint64_t FileSystem::fileSize(const WString& path) {
  const std::filesystem::path file = Locate(path);
  std::error_code error;
  const auto size = IsFile(file) ? std::filesystem::file_size(file, error) : 0;
  return error ? 0 : size;
}

bool FileSystem::createDirectory(const WString& path, bool with_parents) {
  std::filesystem::path folder = Locate(path);
  // A separator at the end would make the last name an empty one.
  if (!folder.has_filename()) folder = folder.parent_path();
  return yox::platform::CreatePrivateFolder(folder, with_parents);
}

bool FileSystem::deleteFile(const WString& path) {
  const std::filesystem::path file = Locate(path);
  std::error_code error;
  return IsFile(file) && std::filesystem::remove(file, error);
}

std::ifstream FileSystem::OpenToRead(const WString& path, std::ios::openmode mode) {
  const std::filesystem::path file = Locate(path);
  std::ifstream stream;
  if (IsFile(file)) {
    stream.open(file, mode);
  } else {
    stream.setstate(std::ios::failbit);
  }
  return stream;
}

bool FileSystem::WriteInPlace(const WString& path, const std::function<std::string()>& content) {
  return yox::platform::WriteInPlace(Locate(path), content);
}

std::ofstream FileSystem::OpenToWrite(const WString& path, std::ios::openmode mode) {
  const std::filesystem::path file = Locate(path);
  std::error_code none;
  std::ofstream stream;
  if (IsFile(file) || !std::filesystem::exists(file, none)) {
    stream.open(file, mode);
  } else {
    stream.setstate(std::ios::failbit);
  }
  return stream;
}

int FileUtils::fileExist(const std::string& path) {
  return FileSystem::fileExists(YOX::String::UTF8ToUTF16(path)) ? 0 : -1;
}

int FileUtils::removeFile(const std::string& path) {
  return FileSystem::deleteFile(YOX::String::UTF8ToUTF16(path)) ? 0 : -1;
}
