#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "yox/platform/registry/MultiString.h"

namespace yox::platform {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string BytesOf(WStringView units) {
  return {reinterpret_cast<const char*>(units.data()), units.size() * sizeof(WChar)};
}

std::vector<WString> Read(WStringView units) {
  return ReadMultiString(kMultiStringType, BytesOf(units));
}

TEST(MultiStringTest, AnEmptyTextEndsTheList) {
  EXPECT_THAT(Read("A\0BC\0\0D\0\0"_wv), ElementsAre("A"_w, "BC"_w));
}

TEST(MultiStringTest, ATextThatIsCutOffCounts) {
  EXPECT_THAT(Read("A\0BC"_wv), ElementsAre("A"_w, "BC"_w));
}

TEST(MultiStringTest, NothingIsReadFromNothing) {
  EXPECT_THAT(Read(""_wv), IsEmpty());
  EXPECT_THAT(Read("\0"_wv), IsEmpty());
  EXPECT_THAT(ReadMultiString(kMultiStringType, "A"), IsEmpty());
}

TEST(MultiStringTest, AByteThatIsLeftOverDoesNotCount) {
  EXPECT_THAT(ReadMultiString(kMultiStringType, BytesOf("A\0\0"_wv) + "x"), ElementsAre("A"_w));
}

TEST(MultiStringTest, AnotherTypeHoldsNoTexts) {
  for (const std::uint32_t type : {0U, 1U, 2U, 3U, 6U, 8U}) {
    EXPECT_THAT(ReadMultiString(type, BytesOf("A\0\0"_wv)), IsEmpty()) << type;
  }
}

TEST(MultiStringTest, WhatIsWrittenIsReadBack) {
  const std::vector<WString> texts = {"USB\\A"_w, "\xC3\xA4"_w};
  EXPECT_EQ(ReadMultiString(kMultiStringType, WriteMultiString(texts)), texts);
  EXPECT_EQ(WriteMultiString({}), std::string(2, '\0'));
}

}  // namespace
}  // namespace yox::platform
