// Preloaded into a program (LD_PRELOAD): counts the calls that change files of a folder, and ends
// the program before one of them or lets the disk be full from one of them on. What is synced is
// copied aside, so that a test can put the folder into the state that a loss of power would leave.
//
//   YOX_POWER_FOLDER   the folder, as realpath(3) has it; calls on other files are passed on
//   YOX_POWER_SYNCED   a folder that gets a copy of each file when it is synced, named by its inode
//   YOX_POWER_CUT      kills the process before the call with this number
//   YOX_POWER_FULL     the call with this number and all later ones that need room fail with ENOSPC
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::atomic<long> g_calls{0};

template <class Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

const char* Setting(const char* name) {
  const char* const text = std::getenv(name);
  return text != nullptr ? text : "";
}

bool IsOurs(const std::string& path) {
  const std::string folder = Setting("YOX_POWER_FOLDER");
  return !folder.empty() && path.compare(0, folder.size() + 1, folder + "/") == 0;
}

std::string PathOf(int file) {
  char path[PATH_MAX];
  const std::string link = "/proc/self/fd/" + std::to_string(file);
  const ssize_t length = readlink(link.c_str(), path, sizeof path);
  return length > 0 ? std::string(path, static_cast<std::size_t>(length)) : std::string();
}

std::string PathOf(int folder, const char* name) {
  if (name[0] == '/') return name;
  char here[PATH_MAX];
  const std::string below = folder != AT_FDCWD
                                ? PathOf(folder)
                                : std::string(getcwd(here, sizeof here) != nullptr ? here : "");
  return below + "/" + name;
}

// Returns false when there is no room for the call.
bool Count(const std::string& path, bool needs_room) {
  if (!IsOurs(path)) return true;
  const long number = ++g_calls;
  if (number == std::atol(Setting("YOX_POWER_CUT"))) kill(getpid(), SIGKILL);
  const long full = std::atol(Setting("YOX_POWER_FULL"));
  if (!needs_room || full == 0 || number < full) return true;
  errno = ENOSPC;
  return false;
}

std::string SyncedCopy(const struct stat& file) {
  return std::string(Setting("YOX_POWER_SYNCED")) + "/" + std::to_string(file.st_ino);
}

// A further file may get the inode of one that goes.
void Forget(const std::string& path) {
  struct stat file {};
  if (IsOurs(path) && lstat(path.c_str(), &file) == 0 && file.st_nlink <= 1) {
    Real<int(const char*)>("unlink")(SyncedCopy(file).c_str());
  }
}

void KeepSynced(int file) {
  struct stat status {};
  if (!IsOurs(PathOf(file)) || fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return;
  static const auto put = Real<ssize_t(int, const void*, std::size_t)>("write");
  const int from = open(("/proc/self/fd/" + std::to_string(file)).c_str(), O_RDONLY | O_CLOEXEC);
  const int to = open(SyncedCopy(status).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  char bytes[1 << 16];
  ssize_t count = 0;
  while (from >= 0 && to >= 0 && (count = read(from, bytes, sizeof bytes)) > 0) {
    if (put(to, bytes, static_cast<std::size_t>(count)) != count) abort();
  }
  if (from < 0 || to < 0 || count < 0) abort();
  close(from);
  close(to);
}

int Sync(int file, const char* name) {
  Count(PathOf(file), false);
  const int result = Real<int(int)>(name)(file);
  if (result == 0) KeepSynced(file);
  return result;
}

}  // namespace

extern "C" {

ssize_t write(int file, const void* bytes, std::size_t size) {
  static const auto real = Real<ssize_t(int, const void*, std::size_t)>("write");
  return Count(PathOf(file), true) ? real(file, bytes, size) : -1;
}
ssize_t writev(int file, const iovec* parts, int count) {
  static const auto real = Real<ssize_t(int, const iovec*, int)>("writev");
  return Count(PathOf(file), true) ? real(file, parts, count) : -1;
}
ssize_t pwrite(int file, const void* bytes, std::size_t size, off_t offset) {
  static const auto real = Real<ssize_t(int, const void*, std::size_t, off_t)>("pwrite");
  return Count(PathOf(file), true) ? real(file, bytes, size, offset) : -1;
}
ssize_t pwrite64(int file, const void* bytes, std::size_t size, off64_t offset) {
  static const auto real = Real<ssize_t(int, const void*, std::size_t, off64_t)>("pwrite64");
  return Count(PathOf(file), true) ? real(file, bytes, size, offset) : -1;
}
int posix_fallocate(int file, off_t offset, off_t size) {
  static const auto real = Real<int(int, off_t, off_t)>("posix_fallocate");
  return Count(PathOf(file), true) ? real(file, offset, size) : ENOSPC;
}
int posix_fallocate64(int file, off64_t offset, off64_t size) {
  static const auto real = Real<int(int, off64_t, off64_t)>("posix_fallocate64");
  return Count(PathOf(file), true) ? real(file, offset, size) : ENOSPC;
}
int fallocate(int file, int mode, off_t offset, off_t size) {
  static const auto real = Real<int(int, int, off_t, off_t)>("fallocate");
  return Count(PathOf(file), true) ? real(file, mode, offset, size) : -1;
}
int ftruncate(int file, off_t size) {
  static const auto real = Real<int(int, off_t)>("ftruncate");
  return Count(PathOf(file), false) ? real(file, size) : -1;
}
int ftruncate64(int file, off64_t size) {
  static const auto real = Real<int(int, off64_t)>("ftruncate64");
  return Count(PathOf(file), false) ? real(file, size) : -1;
}
int fsync(int file) { return Sync(file, "fsync"); }
int fdatasync(int file) { return Sync(file, "fdatasync"); }

int unlink(const char* name) {
  static const auto real = Real<int(const char*)>("unlink");
  const std::string path = PathOf(AT_FDCWD, name);
  Count(path, false);
  Forget(path);
  return real(name);
}
int unlinkat(int folder, const char* name, int flags) {
  static const auto real = Real<int(int, const char*, int)>("unlinkat");
  const std::string path = PathOf(folder, name);
  Count(path, false);
  if ((flags & AT_REMOVEDIR) == 0) Forget(path);
  return real(folder, name, flags);
}
int rename(const char* from, const char* to) {
  static const auto real = Real<int(const char*, const char*)>("rename");
  const std::string path = PathOf(AT_FDCWD, to);
  Count(path, false);
  Forget(path);
  return real(from, to);
}
int renameat(int from_folder, const char* from, int to_folder, const char* to) {
  static const auto real = Real<int(int, const char*, int, const char*)>("renameat");
  const std::string path = PathOf(to_folder, to);
  Count(path, false);
  Forget(path);
  return real(from_folder, from, to_folder, to);
}

}  // extern "C"
