#include <gtest/gtest.h>

#include "yox/base/Document.h"

#include "host/yoxd/Text.h"

namespace yoxd {
namespace {

std::string ErrorOf(const std::string& text) {
  try {
    ReadJson(text);
  } catch (const yox::DocumentError& error) {
    return error.what();
  }
  return "no error";
}

TEST(TextTest, WhatIsNotJsonIsNamedWithItsPlace) {
  EXPECT_EQ(ErrorOf(R"({"a": 1})"), "no error");
  EXPECT_EQ(ErrorOf("{\n  \"a\": 1,\n}"),
            "not JSON: line 3, column 1: missing '}' or object member name");
  EXPECT_TRUE(ErrorOf("<html>").starts_with("not JSON: line 1, column 1: "));
  EXPECT_TRUE(ErrorOf("").starts_with("not JSON: line 1, column 1: "));
  EXPECT_TRUE(ErrorOf(R"({"a": 1, "a": 2})").starts_with("not JSON: line 1, column "));
  EXPECT_TRUE(ErrorOf(R"({"a": 1} {})").starts_with("not JSON: line 1, column "));
  EXPECT_TRUE(ErrorOf(std::string(2'000, '[')).starts_with("not JSON: "));
}

TEST(TextTest, AMomentIsWrittenInUtc) {
  EXPECT_EQ(UtcText(0), "1970-01-01T00:00:00Z");
  EXPECT_EQ(UtcText(1'772'366'399), "2026-03-01T11:59:59Z");
  EXPECT_EQ(UtcText(-1), "1969-12-31T23:59:59Z");
}

TEST(TextTest, ANameIsOneLevelOfATopicAndOfAPath) {
  for (const char* const name : {"a", "Editor-8_1.2", "0"}) EXPECT_TRUE(IsName(name)) << name;
  EXPECT_TRUE(IsName(std::string(64, 'x')));
  for (const char* const name : {"", ".", "..", ".a", "a/b", "a b", "+", "#", "\xc3\xa4"}) {
    EXPECT_FALSE(IsName(name)) << name;
  }
  EXPECT_FALSE(IsName(std::string(65, 'x')));
}

}  // namespace
}  // namespace yoxd
