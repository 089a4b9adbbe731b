#pragma once

#include <filesystem>

#include "yox/platform/files/linux/FileDescriptor.h"

namespace yox::platform {

// An open folder for files that only this account may open. What is created gets the modes 0700
// and 0600 whatever the process's umask; file names are looked up in the folder that was opened,
// even if its path leads elsewhere by now; and a symbolic link in the place of a file is not
// followed. Every failure is a std::system_error whose text starts with the path. Safe from any
// thread.
class PrivateFolder {
 public:
  // Opens the folder; creates it and every missing folder above it with mode 0700. A folder that
  // exists keeps its mode, for a user may have chosen a shared one.
  static PrivateFolder Create(const std::filesystem::path& path);
  // Opens an existing folder, following symbolic links in its path.
  explicit PrivateFolder(const std::filesystem::path& path);

  // As in the constructor.
  const std::filesystem::path& path() const { return path_; }
  // Opened with O_PATH: for the functions of the openat family.
  int descriptor() const { return folder_.number(); }

  // Creates an empty file with mode 0600 and opens it to read and write. Returns no descriptor when
  // the name is taken.
  FileDescriptor CreateFile(const char* name) const;
  // Opens an existing regular file; `flags` are those of open(2). Returns no descriptor when there
  // is no such file.
  FileDescriptor OpenFile(const char* name, int flags) const;

 private:
  PrivateFolder(std::filesystem::path path, FileDescriptor folder);
  [[noreturn]] void Fail(const char* name) const;

  std::filesystem::path path_;
  FileDescriptor folder_;
};

}  // namespace yox::platform
