#pragma once

#include <cstdint>
#include <optional>

#include "yox/platform/files/linux/FileDescriptor.h"
#include "yox/platform/files/linux/MappedNumber.h"
#include "yox/platform/files/linux/PrivateFolder.h"

namespace yox::platform {

// The number of commits of all processes, in a file: what a process has read from the database is
// still right as long as the number is the same. It is a generation counter with a lock, like a
// seqlock whose writers the kernel cleans up after.
//
// A writer, while it has the database's write lock, takes a shared lock of the file, increments the
// number, commits, and closes the file. The kernel then releases the lock and reports the closing
// to inotify (IN_CLOSE_WRITE), even for a process that was killed. Therefore, when a reader finds
// the number n and the file unlocked afterwards, every commit counted in n has ended and each later
// one changes the number before it changes the database. A reader that finds the same number again
// later need not ask for the lock again.
//
// The number is never 0, which is what a file reads as that was truncated and extended. A file
// whose number was lost gets one that no process has seen before. Safe from any thread.
class CommitCounter {
 public:
  static constexpr const char* kFile = "registry.changed";

  // Opens the file for reading, if it exists.
  explicit CommitCounter(const PrivateFolder& folder);

  // Returns std::nullopt when the file is missing or has no number. Costs a system call.
  std::optional<std::uint64_t> Count() const;
  // Maps the same number, which then costs a load; it may turn 0 for good when the file is
  // truncated, and always is 0 where files cannot be mapped.
  void MapTo(MappedNumber& memory) const { memory.Map(file_.number()); }
  // Whether some process is between the increment and the end of its commit.
  bool IsCommitting() const;

  // Announces a commit from its construction to its destruction; the caller has the database's
  // write lock. Creates or repairs the file where needed. Throws std::system_error.
  class Commit {
   public:
    explicit Commit(const PrivateFolder& folder);

   private:
    FileDescriptor file_;
  };

 private:
  FileDescriptor file_;
};

}  // namespace yox::platform
