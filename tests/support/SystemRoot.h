#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "tests/support/TemporaryFolder.h"

namespace yox_test {

// A system's root directory, with the files that a test puts there.
class SystemRoot {
 public:
  SystemRoot& File(const std::string& path, std::string_view content) {
    std::filesystem::create_directories((folder_.path() / path).parent_path());
    std::ofstream(folder_.path() / path, std::ios::binary) << content;
    return *this;
  }
  SystemRoot& Link(const std::string& path, const std::string& target) {
    std::filesystem::create_directories((folder_.path() / path).parent_path());
    std::filesystem::create_symlink(target, folder_.path() / path);
    return *this;
  }
  const std::filesystem::path& path() const { return folder_.path(); }

 private:
  yox_test::TemporaryFolder folder_;
};

}  // namespace yox_test
