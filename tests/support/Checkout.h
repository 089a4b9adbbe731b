#pragma once

#include <cstdlib>
#include <filesystem>

namespace yox_test {

// The folder of the sources: from CTest's environment, otherwise the nearest one above that
// contains them.
inline std::filesystem::path Checkout() {
  if (const char* const told = std::getenv("YOX_CHECKOUT")) return told;
  std::filesystem::path folder = std::filesystem::current_path();
  while (folder.has_relative_path() && !std::filesystem::exists(folder / "CMakePresets.json")) {
    folder = folder.parent_path();
  }
  return folder;
}

}  // namespace yox_test
