#include "yox/platform/files/linux/PrivateFolder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace yox::platform {
namespace {

namespace fs = std::filesystem;

// O_PATH needs no permission on the folder itself: /home may be searchable and not readable.
constexpr int kFolderFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;

[[noreturn]] void FailAt(const fs::path& path) {
  throw std::system_error(errno, std::generic_category(), path.native());
}

}  // namespace

PrivateFolder::PrivateFolder(fs::path path, FileDescriptor folder)
    : path_(std::move(path)), folder_(std::move(folder)) {}

PrivateFolder::PrivateFolder(const fs::path& path)
    : PrivateFolder(path, FileDescriptor(open(path.c_str(), kFolderFlags))) {
  if (!folder_) FailAt(path);
}

PrivateFolder PrivateFolder::Create(const fs::path& path) {
  if (path.has_relative_path() && !path.has_filename()) return Create(path.parent_path());
  FileDescriptor folder(open(path.c_str(), kFolderFlags));
  if (folder) return {path, std::move(folder)};
  // "." is missing when the working directory was deleted: nothing can be created in it.
  if (errno != ENOENT || path.empty() || path == ".") FailAt(path);
  const PrivateFolder above = Create(path.has_parent_path() ? path.parent_path() : fs::path("."));
  const fs::path name = path.filename();
  const bool made = mkdirat(above.descriptor(), name.c_str(), S_IRWXU) == 0;
  if (!made && errno != EEXIST) FailAt(path);
  // The umask may have taken bits of the owner's.
  if (made && fchmodat(above.descriptor(), name.c_str(), S_IRWXU, AT_SYMLINK_NOFOLLOW) != 0) {
    FailAt(path);
  }
  folder = FileDescriptor(openat(above.descriptor(), name.c_str(), kFolderFlags | O_NOFOLLOW));
  if (!folder) FailAt(path);
  return {path, std::move(folder)};
}

FileDescriptor PrivateFolder::CreateFile(const char* name) const {
  constexpr mode_t kMode = S_IRUSR | S_IWUSR;
  FileDescriptor file(
      openat(descriptor(), name, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kMode));
  if (!file && errno != EEXIST) Fail(name);
  if (file && fchmod(file.number(), kMode) != 0) Fail(name);
  return file;
}

FileDescriptor PrivateFolder::OpenFile(const char* name, int flags) const {
  // Without O_NONBLOCK, opening a FIFO waits for its other end.
  FileDescriptor file(
      openat(descriptor(), name, flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file && errno == ENOENT) return file;
  struct stat status {};
  if (!file || fstat(file.number(), &status) != 0) Fail(name);
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    Fail(name);
  }
  return file;
}

void PrivateFolder::Fail(const char* name) const { FailAt(path_ / name); }

}  // namespace yox::platform
