#include "yox/platform/registry/linux/CommitCounter.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <system_error>

namespace yox::platform {
namespace {

using Number = std::uint64_t;

std::optional<Number> Read(const FileDescriptor& file) {
  Number number = 0;
  const bool whole = pread(file.number(), &number, sizeof number, 0) == ssize_t{sizeof number};
  return whole && number != 0 ? std::optional(number) : std::nullopt;
}

// Writes the bytes in which the next number differs from the former, which is the file's: the most
// significant first, and each by itself. A process that reads the memory of the file meanwhile, or
// after this one was killed, finds the former number or one that no commit had before. (A single
// write of eight bytes may become visible in any order.)
bool Increase(const FileDescriptor& file, Number former, Number next) {
  constexpr bool kIsLittle = std::endian::native == std::endian::little;
  for (int byte = sizeof(Number) - 1; byte >= 0; --byte) {
    const auto value = static_cast<unsigned char>(next >> (8 * byte));
    if (value == static_cast<unsigned char>(former >> (8 * byte))) continue;
    const off_t offset = kIsLittle ? byte : off_t{sizeof(Number)} - 1 - byte;
    if (pwrite(file.number(), &value, 1, offset) != 1) return false;
  }
  return true;
}

// A number that no process has seen before, also when the file lost its own: later than any count
// that started from the clock.
Number First() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<Number>(now.tv_sec) * 1'000'000'000 + static_cast<Number>(now.tv_nsec);
}

// Open file description locks, unlike the older record locks, belong to one opening of the file:
// closing another one of the same process does not release them.
struct flock WholeFile(short type) {
  struct flock lock {};  // from 0, which is SEEK_SET, and without an end
  lock.l_type = type;
  return lock;
}

}  // namespace

CommitCounter::CommitCounter(const PrivateFolder& folder)
    : file_(folder.OpenFile(kFile, O_RDONLY)) {}

std::optional<std::uint64_t> CommitCounter::Count() const { return Read(file_); }

bool CommitCounter::IsCommitting() const {
  // Asks who would be in the way of an exclusive lock.
  struct flock lock = WholeFile(F_WRLCK);
  return fcntl(file_.number(), F_OFD_GETLK, &lock) != 0 || lock.l_type != F_UNLCK;
}

CommitCounter::Commit::Commit(const PrivateFolder& folder) : file_(folder.OpenFile(kFile, O_RDWR)) {
  if (!file_) {
    folder.CreateFile(kFile);  // no failure when another process has just created it
    file_ = folder.OpenFile(kFile, O_RDWR);
  }
  // Shared, and so never waited for: a writer that is stopped here does not keep others from
  // writing.
  struct flock lock = WholeFile(F_RDLCK);
  const bool locked = fcntl(file_.number(), F_OFD_SETLK, &lock) == 0;
  const std::optional<Number> former = Read(file_);
  const Number first = First();
  const bool written = former ? Increase(file_, *former, *former + 1)
                              : pwrite(file_.number(), &first, sizeof first, 0) == sizeof first;
  if (!locked || !written) {
    throw std::system_error(errno, std::generic_category(), (folder.path() / kFile).native());
  }
}

}  // namespace yox::platform
