#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// Access to files by the library's own paths (see platform/files/Files.h): texts with backslashes,
// which the platform in use maps to places on this machine. Only regular files, and links to them,
// count as files. Safe from any thread. Errors of the file system are returned, never thrown.
class YOX_API FileSystem {
 public:
  FileSystem() = delete;

  // Returns the machine-wide folder for application data, without a separator at the end; empty if
  // there is none.
  static yox::WString GetCommonApplicationDataPath();

  // Returns whether there is a regular file, or a link to one, at the path. False for a folder, and
  // if the file system cannot say.
  static bool fileExists(const yox::WString& path);
  // Returns the size in bytes; 0 if there is no such file.
  static std::uint64_t fileSize(const yox::WString& path);
  // Creates a folder and, if `with_parents` is true, the missing folders above it. Only this
  // account may open what is created (see platform/files/StateFiles.h). Returns whether the folder
  // exists afterwards.
  static bool createDirectory(const yox::WString& path, bool with_parents);
  // Deletes a file. Returns true if this call has deleted it.
  static bool deleteFile(const yox::WString& path);

  // Returns the version of the program at the path, such as "4.2.10.0"; empty if it has none.
  static yox::WString GetFileVersion(const yox::WString& path);

  // Returns the place of the path on this machine.
  static std::filesystem::path Locate(const yox::WString& path);

  // Writes what `content` returns over a file in place; returns false if it can neither be opened
  // nor created (see platform/files/StateFiles.h).
  static bool WriteInPlace(const yox::WString& path, const std::function<std::string()>& content);

  // Return a stream, which has failed if the file cannot be opened. OpenToWrite creates a missing
  // file.
  static std::ifstream OpenToRead(const yox::WString& path,
                                  std::ios::openmode mode = std::ios::in | std::ios::binary);
  static std::ofstream OpenToWrite(const yox::WString& path,
                                   std::ios::openmode mode = std::ios::out | std::ios::trunc);
};

// Functions with UTF-8 paths and results as in the C library.
class YOX_API FileUtils {
 public:
  FileUtils() = delete;

  // Returns 0 if the file exists, otherwise -1.
  static int fileExist(const std::string& path);
  // Deletes a file. Returns 0 if this call has deleted it, otherwise -1.
  static int removeFile(const std::string& path);
};
