#include "yox/platform/files/NewFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "yox/platform/Platform.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/files/linux/FileDescriptor.h"
#include "yox/platform/files/linux/PrivateFolder.h"

namespace yox {

namespace fs = std::filesystem;

// All names are looked up in the folder that was opened first, so that no account that may write to
// a folder above it can lead the file elsewhere.
struct NewFile::State {
  explicit State(const fs::path& target)
      : folder(target.parent_path()), name(target.filename()), staging(name + ".new") {}
  ~State() {
    if (!committed) unlinkat(folder.descriptor(), staging.c_str(), 0);
  }

  [[noreturn]] void Fail() const {
    throw std::system_error(errno, std::generic_category(), folder.path() / name);
  }

  platform::PrivateFolder folder;
  std::string name;
  std::string staging;
  platform::FileDescriptor file;
  bool committed = false;
};

NewFile::NewFile(const WString& path, Access access, Form /*form*/)
    : path_(path), state_(std::make_unique<State>(platform::Platform::Get().files().Locate(path))) {
  constexpr mode_t kPrivateMode = S_IRUSR | S_IWUSR;
  constexpr mode_t kPublicMode = kPrivateMode | S_IRGRP | S_IROTH;
  const int folder = state_->folder.descriptor();
  mode_t mode = access == Access::kPublic ? kPublicMode : kPrivateMode;
  struct stat former {};
  if (fstatat(folder, state_->name.c_str(), &former, AT_SYMLINK_NOFOLLOW) == 0) {
    if (S_ISREG(former.st_mode)) {
      if (access == Access::kAsBefore) mode = former.st_mode & 07777;
    } else if (!S_ISLNK(former.st_mode)) {  // a link is replaced, and never followed
      errno = S_ISDIR(former.st_mode) ? EISDIR : EINVAL;
      state_->Fail();
    }
  }
  unlinkat(folder, state_->staging.c_str(), 0);
  state_->file = state_->folder.CreateFile(state_->staging.c_str());
  if (!state_->file || fchmod(state_->file.number(), mode) != 0) state_->Fail();
}

NewFile::~NewFile() = default;

void NewFile::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(state_->file.number(), bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) state_->Fail();
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

void NewFile::Commit() {
  // A file system may give the file its name before it has its content: without this, a loss of
  // power leaves an empty file in the place of the former one.
  if (fdatasync(state_->file.number()) != 0) state_->Fail();
  state_->file = {};
  const int folder = state_->folder.descriptor();
  if (renameat(folder, state_->staging.c_str(), folder, state_->name.c_str()) != 0) state_->Fail();
  state_->committed = true;
}

}  // namespace yox
