#include "yox/platform/registry/linux/DiskReserve.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <system_error>

namespace yox::platform {
namespace {

constexpr const char* kFile = "registry.reserve";
// For the memory that connections share (32 KiB) and the log of a deletion of some hundred values.
constexpr off_t kSize = off_t{256} << 10;

}  // namespace

bool FillDiskReserve(const PrivateFolder& folder) try {
  FileDescriptor file = folder.OpenFile(kFile, O_RDWR);
  if (!file) file = folder.CreateFile(kFile);
  struct stat status {};
  // fallocate, unlike ftruncate, takes the blocks; where the file system has no such call, glibc
  // writes them.
  const bool is_complete = (fstat(file.number(), &status) == 0 && status.st_size == kSize) ||
                           posix_fallocate(file.number(), 0, kSize) == 0;
  if (!is_complete) {
    // A file that is only partly allocated would be of no use.
    [[maybe_unused]] const int ignored = ftruncate(file.number(), 0);
  }
  return is_complete;
} catch (const std::system_error&) {
  return false;  // without it deletions need room like other changes
}

bool ReleaseDiskReserve(const PrivateFolder& folder) {
  const FileDescriptor file = folder.OpenFile(kFile, O_RDWR);
  struct stat status {};
  return file && fstat(file.number(), &status) == 0 && status.st_size != 0 &&
         ftruncate(file.number(), 0) == 0;
}

}  // namespace yox::platform
