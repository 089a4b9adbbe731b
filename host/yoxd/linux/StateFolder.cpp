#include "host/yoxd/StateFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
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

void MakePrivate(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder.parent_path(), error);
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
    throw std::runtime_error(folder.string() +
                             ": cannot be created: " + std::system_category().message(errno));
  }
  // Also when it was there, with other rights.
  fs::permissions(folder, fs::perms::owner_all, error);
}

}  // namespace

StateFolder::StateFolder(const fs::path& root) : path_(root / "yoxd") {
  std::error_code ignored;
  if (!fs::exists(root, ignored)) MakePrivate(root);
  MakePrivate(path_);
  MakePrivate(path_ / "content");
  const int lock = open((path_ / "lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (lock < 0 || flock(lock, LOCK_EX | LOCK_NB) != 0) {
    const int error = errno;
    if (lock >= 0) close(lock);
    throw std::runtime_error(path_.string() + ": " +
                             (error == EWOULDBLOCK ? "another yoxd uses this folder"
                                                   : std::system_category().message(error)));
  }
  lock_ = lock;
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
