#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "yox/base/Pem.h"
#include "yox/base/Sha256.h"
#include "yox/base/String.h"
#include "yox/policy/BuiltInTrust.h"

namespace {

// Where Debian's ca-certificates puts the roots, one to a file.
constexpr const char* kBundle = "/usr/share/ca-certificates/mozilla/";

TEST(TrustedRootsTest, ThumbprintsAreThoseOfTheInstalledBundle) {
  for (const auto& root : yox::policy::TrustedRoots()) {
    std::ifstream file(std::string(kBundle) + root.name + ".crt", std::ios::binary);
    ASSERT_TRUE(file) << root.name << ": package ca-certificates";
    const auto blocks = yox::ReadPem(std::string{std::istreambuf_iterator<char>(file), {}});
    ASSERT_TRUE(blocks && blocks->size() == 1) << root.name;
    std::string thumbprint;
    for (const unsigned byte : yox::Sha256(blocks->front().der)) {
      thumbprint += "0123456789abcdef"[byte >> 4];
      thumbprint += "0123456789abcdef"[byte & 0xF];
    }
    EXPECT_EQ(YOX::String::UTF16ToUTF8(root.thumbprint), thumbprint) << root.name;
  }
}

}  // namespace
