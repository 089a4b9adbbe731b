#include "host/yoxd/StateFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace yoxd {

namespace fs = std::filesystem;

namespace {

// Writes all bytes. Returns 0 or an errno value.
int WriteAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(file, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

}  // namespace

int StateFolder::MakePrivate(const fs::path& folder) {
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return errno;
  // Also when it was there, with other rights.
  std::error_code error;
  fs::permissions(folder, fs::perms::owner_all, error);
  return 0;
}

int StateFolder::Lock(const fs::path& file) {
  const int lock = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (lock < 0) return errno;
  if (flock(lock, LOCK_EX | LOCK_NB) != 0) {
    const int error = errno == EWOULDBLOCK ? kInUse : errno;
    close(lock);
    return error;
  }
  lock_ = lock;
  return 0;
}

StateFolder::~StateFolder() { close(static_cast<int>(lock_)); }

bool StateFolder::Write(const std::string& name, std::string_view bytes) {
  const fs::path file = path_ / name;
  const fs::path temporary = file.string() + ".new";
  unlink(temporary.c_str());  // of a process that was killed
  const int opened = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  int error = opened < 0 ? errno : WriteAll(opened, bytes);
  if (error == 0 && fsync(opened) != 0) error = errno;
  if (opened >= 0 && close(opened) != 0 && error == 0) error = errno;
  if (error == 0 && rename(temporary.c_str(), file.c_str()) != 0) error = errno;
  if (error != 0) {
    unlink(temporary.c_str());
    return Failed(file, error);
  }
  // The rename itself reaches the disk with the folder.
  const int folder = open(file.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder >= 0) {
    fsync(folder);
    close(folder);
  }
  return true;
}

bool StateFolder::Append(const std::string& name, std::string_view bytes) {
  const fs::path file = path_ / name;
  const int opened =
      open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (opened < 0) return Failed(file, errno);
  const off_t end = lseek(opened, 0, SEEK_END);
  int error = WriteAll(opened, bytes);
  if (error != 0 && ftruncate(opened, end) != 0) error = errno;
  if (close(opened) != 0 && error == 0) error = errno;
  return error == 0 || Failed(file, error);
}

}  // namespace yoxd
