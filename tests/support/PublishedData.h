#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include "tests/support/Checkout.h"

namespace yox_test {

// A file of the data that stands beside the checkout, in ../shared/data; nothing when it is not
// there, and the test that wanted it skips and says so.
inline std::optional<std::string> PublishedData(const std::filesystem::path& name) {
  // A work tree may stand a folder deeper than the checkout.
  const std::filesystem::path checkout = Checkout();
  for (const auto& beside : {checkout / "..", checkout / "../.."}) {
    std::ifstream file(beside / "shared/data" / name, std::ios::binary);
    if (file) return std::string{std::istreambuf_iterator<char>(file), {}};
  }
  return std::nullopt;
}

}  // namespace yox_test
