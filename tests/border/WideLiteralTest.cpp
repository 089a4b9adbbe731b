// Where wchar_t has 16 bits, a caller passes its own wide literals and strings.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "yox/base/String.h"
#include "yox/foundation/Version.h"
#include "yox/foundation/YOXTag.h"

namespace {

static_assert(std::is_same_v<yox::WString, std::wstring>);
static_assert(std::is_same_v<yox::WStringView, std::wstring_view>);

TEST(WideLiteralTest, WideLiteralsAreTexts) {
  using namespace yox::literals;
  EXPECT_EQ("caf\u00e9 \U0001F600"_w, L"caf\u00e9 \U0001F600");
  EXPECT_TRUE(Version::Parse(L"10.0.19041") == Version(10, 0, 19041));
  EXPECT_TRUE(YOX::String::CaseInsesitiveEqual(L"\u00c4RGER", L"\u00e4rger"));
  EXPECT_EQ(YOX::String::Split(L"a,,b", L','), (std::vector<std::wstring>{L"a", L"", L"b"}));
  EXPECT_EQ(YOX::String::UTF16ToUTF8(L"\u00e9"), "\xC3\xA9");
}

TEST(WideLiteralTest, WideStringsGoInAndComeOutAsTheyAre) {
  const std::wstring key = L"Device.Usage";
  YOXTag tag(key, L"true");
  const std::wstring value = tag.getValue();
  EXPECT_EQ(value, L"true");
  EXPECT_EQ(tag.getKey(), key);
  tag.setValue(L"false");
  EXPECT_EQ(tag.getValue(), std::wstring(L"false"));
}

}  // namespace
