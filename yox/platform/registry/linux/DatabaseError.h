#pragma once

#include <stdexcept>
#include <string>
#include <system_error>

namespace yox::platform {

// Why a database could not be read or written.
enum class DatabaseFault {
  kDenied,        // this account has no permission
  kReadOnly,      // the file, its folder or its file system
  kFull,          // the disk, or the account's quota
  kBusy,          // another process kept it locked
  kLaterVersion,  // this version does not know its format
  kDamaged,       // it is not such a database, or a broken one
  kOther,
};

// The fault that an error number of the system means.
DatabaseFault FaultOfSystemError(int error);

// A failure of a database or of a file beside it.
class DatabaseError : public std::runtime_error {
 public:
  // The text is one line: the fault in words, then `detail` in parentheses if there is one, as in
  // "the file is damaged (file is not a database)"; for kOther `detail` alone.
  explicit DatabaseError(DatabaseFault fault, const std::string& detail = {});
  // A failed system call; the text of `error` names the file.
  explicit DatabaseError(const std::system_error& error);

  DatabaseFault fault() const { return fault_; }

 private:
  DatabaseFault fault_;
};

}  // namespace yox::platform
