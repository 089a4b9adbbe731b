#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

namespace yox_test {

// The permission bits of a file on Linux; of a symbolic link, those of the link itself.
inline mode_t ModeOf(const std::filesystem::path& file) {
  struct stat status {};
  EXPECT_EQ(lstat(file.c_str(), &status), 0) << file;
  return status.st_mode & 07777;
}

}  // namespace yox_test
