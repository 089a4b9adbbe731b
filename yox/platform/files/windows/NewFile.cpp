#include "yox/platform/files/NewFile.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "yox/platform/Platform.h"
#include "yox/platform/files/Files.h"

namespace yox {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const fs::path& file, const char* what) {
  const std::u8string name = file.u8string();
  throw std::runtime_error(std::string(name.begin(), name.end()) + ": " + what);
}

}  // namespace

struct NewFile::State {
  ~State() {
    stream.close();
    std::error_code ignored;
    fs::remove(staging, ignored);
  }

  fs::path target;
  fs::path staging;
  std::ofstream stream;
};

NewFile::NewFile(const WString& path, Access access, Form form)
    : path_(path), state_(std::make_unique<State>()) {
  platform::Files& files = platform::Platform::Get().files();
  state_->target = files.Locate(path);
  state_->staging = files.Locate(this->path());
  std::error_code error;
  const fs::file_status former = fs::status(state_->target, error);
  if (fs::exists(former) && !fs::is_regular_file(former)) Fail(state_->target, "is not a file");
  fs::remove(state_->staging, error);
  const bool is_private =
      access == Access::kPrivate || (access == Access::kAsBefore && !fs::exists(former));
  if (is_private && !files.CreatePrivate(state_->staging)) {
    Fail(state_->staging, "cannot be created");
  }
  state_->stream.open(state_->staging,
                      form == Form::kText ? std::ios::out : std::ios::out | std::ios::binary);
  if (!state_->stream) Fail(state_->staging, "cannot be opened");
}

NewFile::~NewFile() = default;

void NewFile::Write(std::string_view bytes) {
  state_->stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!state_->stream.flush()) Fail(state_->staging, "cannot be written");
}

void NewFile::Commit() {
  state_->stream.close();
  std::error_code error;
  fs::rename(state_->staging, state_->target, error);
  if (error) Fail(state_->target, "cannot be replaced");
}

}  // namespace yox
