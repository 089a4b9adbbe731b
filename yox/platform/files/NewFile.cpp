#include "yox/platform/files/NewFile.h"

#include <stdexcept>
#include <system_error>

#include "yox/platform/Platform.h"
#include "yox/platform/files/Files.h"

namespace yox {

namespace fs = std::filesystem;

NewFile::NewFile(const WString& path, Access access, std::ios::openmode mode)
    : path_(path),
      target_(platform::Platform::Get().files().Locate(path)),
      staging_(platform::Platform::Get().files().Locate(this->path())) {
  std::error_code error;
  const fs::file_status former = fs::status(target_, error);
  if (fs::exists(former) && !fs::is_regular_file(former)) {
    throw std::runtime_error("what stands in the place of the file is none");
  }
  fs::remove(staging_, error);
  if (access == Access::kPrivate && !platform::Platform::Get().files().CreatePrivate(staging_)) {
    throw std::runtime_error("the file cannot be created");
  }
  stream_.open(staging_, mode | std::ios::out);
  if (!stream_) throw std::runtime_error("the file cannot be opened");
  if (access == Access::kAsBefore && fs::exists(former)) {
    fs::permissions(staging_, former.permissions(), error);
  }
}

NewFile::~NewFile() {
  stream_.close();
  std::error_code ignored;
  fs::remove(staging_, ignored);
}

WString NewFile::path() const { return path_ + ".new"_w; }

void NewFile::Write(std::string_view bytes) {
  stream_.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!stream_.flush()) throw std::runtime_error("the file cannot be written");
}

void NewFile::Commit() {
  stream_.close();
  std::error_code error;
  fs::rename(staging_, target_, error);
  if (error) throw std::runtime_error("the file cannot take its place");
}

}  // namespace yox
