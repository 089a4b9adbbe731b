#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// Files by the library's paths (see platform/Files.h): texts with backslashes, located on this
// machine by the platform in use. Only regular files count and are opened; a link to one is one.
// Nothing here throws for what stands or fails to stand on the disk.
class YOX_API FileSystem {
 public:
  FileSystem() = delete;

  // The machine-wide folder for the data of all programs, without a separator at the end.
  static yox::WString GetCommonApplicationDataPath();

  static bool fileExists(const yox::WString& path);
  // In bytes; 0 when there is no such file.
  static std::uint64_t fileSize(const yox::WString& path);
  // Creates a folder, with `with_parents` also the missing ones above it. What is created only this
  // account may open (see platform/files/StateFiles.h). Returns whether the folder exists
  // afterwards.
  static bool createDirectory(const yox::WString& path, bool with_parents);
  // True when the file is gone by this call.
  static bool deleteFile(const yox::WString& path);

  // The version of the program at the path, "4.2.10.0"; empty when it has none.
  static yox::WString GetFileVersion(const yox::WString& path);

  // Where the path lies on this machine.
  static std::filesystem::path Locate(const yox::WString& path);

  // Writes what `content` returns over a file in place; returns false if it can neither be opened
  // nor created (see platform/files/StateFiles.h).
  static bool WriteInPlace(const yox::WString& path, const std::function<std::string()>& content);

  // Streams that are not good when the file cannot be opened. Reading is binary unless `mode` says
  // otherwise, writing is what `mode` says, and a missing file is created.
  static std::ifstream OpenToRead(const yox::WString& path,
                                  std::ios::openmode mode = std::ios::in | std::ios::binary);
  static std::ofstream OpenToWrite(const yox::WString& path,
                                   std::ios::openmode mode = std::ios::out | std::ios::trunc);
};

// The same by paths in UTF-8, answering like the C library.
class YOX_API FileUtils {
 public:
  FileUtils() = delete;

  // 0 when the file exists.
  static int fileExist(const std::string& path);
  // 0 when the file is gone by this call.
  static int removeFile(const std::string& path);
};
