#pragma once

#include <filesystem>
#include <fstream>
#include <string_view>

#include "yox/base/WString.h"

namespace yox {

// A file that takes the place of another only when it is complete: until then it stands beside it
// under a name of its own, ".new" behind the other's. Whoever opens the other, and whatever ends
// this process, finds the former file or the new one. One that a former process left is replaced.
// One thread at a time, in one process.
class NewFile {
 public:
  enum class Access {
    kPrivate,   // this account's alone, from its first moment (see Files::CreatePrivate)
    kAsBefore,  // that of the file whose place it takes, as far as a mode says it
  };

  // Throws std::runtime_error when the file cannot be created, or the other is not a regular file.
  NewFile(const WString& path, Access access, std::ios::openmode mode);
  // Leaves the other as it was, unless Commit was called.
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  // Where it stands until then.
  WString path() const;

  // Throws std::runtime_error when the bytes cannot all be written.
  void Write(std::string_view bytes);
  // Takes the place. Throws std::runtime_error when that fails.
  void Commit();

 private:
  const WString path_;
  const std::filesystem::path target_;
  const std::filesystem::path staging_;
  std::ofstream stream_;
};

}  // namespace yox
