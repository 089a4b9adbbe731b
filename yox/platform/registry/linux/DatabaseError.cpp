#include "yox/platform/registry/linux/DatabaseError.h"

#include <array>
#include <cerrno>
#include <cstddef>

namespace yox::platform {
namespace {

// In the order of DatabaseFault.
constexpr std::array kWords = {
    "permission denied",
    "the file or its folder is read-only",
    "the disk is full",
    "another process keeps it locked",
    "it was written by a later version",
    "the file is damaged",
};

std::string Text(DatabaseFault fault, const std::string& detail) {
  if (fault == DatabaseFault::kOther) return detail;
  const std::string words = kWords.at(static_cast<std::size_t>(fault));
  return detail.empty() ? words : words + " (" + detail + ")";
}

}  // namespace

DatabaseFault FaultOfSystemError(int error) {
  switch (error) {
    case EACCES:
    case EPERM:
      return DatabaseFault::kDenied;
    case EROFS:
      return DatabaseFault::kReadOnly;
    case ENOSPC:
    case EDQUOT:
      return DatabaseFault::kFull;
    default:
      return DatabaseFault::kOther;
  }
}

DatabaseError::DatabaseError(DatabaseFault fault, const std::string& detail)
    : std::runtime_error(Text(fault, detail)), fault_(fault) {}

DatabaseError::DatabaseError(const std::system_error& error)
    : DatabaseError(FaultOfSystemError(error.code().value()), error.what()) {}

}  // namespace yox::platform
