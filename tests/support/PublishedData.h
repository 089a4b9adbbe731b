#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/Checkout.h"

namespace yox_test {

// Returns the content of a file of tests/data, which others published (tests/data/README.md).
inline std::string PublishedData(const std::string& name) {
  std::ifstream file(Checkout() / "tests/data" / name, std::ios::binary);
  EXPECT_TRUE(file) << "tests/data/" << name << " is missing";
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace yox_test
