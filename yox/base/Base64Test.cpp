#include <gtest/gtest.h>

#include <string>

#include "yox/base/Base64.h"
#include "yox/base/String.h"

namespace {

using yox::FromBase64;
using yox::FromBase64Url;
using YOX::String;
using yox::ToBase64;

// RFC 4648, section 10.
constexpr const char* kPublished[][2] = {
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
};

TEST(Base64Test, AgreesWithThePublishedExamples) {
  for (const auto& [bytes, text] : kPublished) {
    EXPECT_EQ(ToBase64(bytes), text);
    EXPECT_EQ(FromBase64(text), bytes);
    EXPECT_EQ(String::Base64toString(text), bytes);
  }
}

TEST(Base64Test, EveryByteComesBack) {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  EXPECT_EQ(FromBase64(ToBase64(bytes)), bytes);
  EXPECT_EQ(ToBase64("\xFB\xFF\xFE"), "+//+");
  EXPECT_EQ(FromBase64("+//+"), "\xFB\xFF\xFE");
  EXPECT_EQ(FromBase64Url("-__-"), "\xFB\xFF\xFE");
  EXPECT_EQ(FromBase64Url("Zg"), "f");
}

TEST(Base64Test, EveryOtherTextIsNothing) {
  for (const char* const text : {"Z", "Zg", "Zg=", "Zg===", "=", "====", "Zm9v=", "Z=g=", "Zh==",
                                 "Zm9=", "Zm 9v", "Zm9v\n", "Zm9-", "Zm_v", "Zm9\xC3"}) {
    EXPECT_EQ(FromBase64(text), std::nullopt) << text;
  }
  for (const char* const text : {"Z", "Zg==", "Zh", "Zm9", "+//+", "Zm9v "}) {
    EXPECT_EQ(FromBase64Url(text), std::nullopt) << text;
  }
}

TEST(Base64Test, TextOfThePolicySkipsWhiteSpaceAlone) {
  EXPECT_EQ(String::Base64toString(" Zm\r\n9v\tYm\v\fE=\n"), "fooba");
  EXPECT_EQ(String::Base64toString("Zm9v!"), "");
  EXPECT_EQ(String::Base64toString("Zm9vYmE"), "");
  EXPECT_EQ(String::Base64toString("Zm9v=YmE="), "");
  EXPECT_EQ(String::Base64toString(" \n"), "");
}

}  // namespace
