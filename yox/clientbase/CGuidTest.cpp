#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

#include "yox/base/String.h"
#include "yox/clientbase/CGuid.h"
#include "yox/platform/crypto/RandomBytes.h"

namespace {

using YOX::Utility::CGuid;

TEST(CGuidTest, AGuidIsThirtySixLowerCaseCharacters) {
  const std::regex form("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
  EXPECT_TRUE(std::regex_match(YOX::String::UTF16ToUTF8(CGuid::NewGuid(true)), form));
}

TEST(CGuidTest, BracesAreOptional) {
  const yox::WString guid = CGuid::NewGuid(false);
  ASSERT_EQ(guid.size(), 38U);
  EXPECT_EQ(guid.front(), yox::WChar{'{'});
  EXPECT_EQ(guid.back(), yox::WChar{'}'});
}

TEST(CGuidTest, NoTwoAreTheSame) {
  std::set<yox::WString> guids;
  for (int i = 0; i < 1000; ++i) guids.insert(CGuid::NewGuid(true));
  EXPECT_EQ(guids.size(), 1000U);
}

TEST(CGuidTest, WithoutRandomNumbersThereIsNone) {
  const yox::platform::ScopedRandomSource none([](std::span<unsigned char>) { return false; });
  EXPECT_EQ(CGuid::NewGuid(true), yox::WString());
}

}  // namespace
