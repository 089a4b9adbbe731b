#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "yox/base/String.h"

#include "tests/support/Rows.h"

namespace {

using namespace yox::literals;
using YOX::String;
using yox::WChar;
using yox::WString;
using yox::WStringView;
using Pieces = std::vector<WString>;

WString Units(std::initializer_list<unsigned> units) {
  WString text;
  for (const unsigned unit : units) text += static_cast<WChar>(unit);
  return text;
}

TEST(WideLiteralTest, IsUtf16AtCompileTime) {
  static_assert("aé€😀"_wv.size() == 5);
  EXPECT_EQ("aé€😀"_w, Units({'a', 0xE9, 0x20AC, 0xD83D, 0xDE00}));
  EXPECT_EQ(""_w, WString());
  EXPECT_EQ("a\0b"_wv.size(), 3U);
}

struct ConversionCase {
  const char* name;
  std::string bytes;
  WString units;
};

class WellFormed : public testing::TestWithParam<ConversionCase> {};

TEST_P(WellFormed, ConvertsBothWays) {
  EXPECT_EQ(String::UTF8ToUTF16(GetParam().bytes), GetParam().units);
  EXPECT_EQ(String::UTF16ToUTF8(GetParam().units), GetParam().bytes);
  EXPECT_TRUE(String::IsValidUTF8(GetParam().bytes));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WellFormed,
    testing::Values(ConversionCase{"Empty", "", {}}, ConversionCase{"Ascii", "abc", "abc"_w},
                    ConversionCase{"TwoBytes", "\xC2\x80\xDF\xBF", Units({0x80, 0x7FF})},
                    ConversionCase{"ThreeBytes", "\xE0\xA0\x80\xEF\xBF\xBF",
                                   Units({0x800, 0xFFFF})},
                    ConversionCase{"FourBytes", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
                                   Units({0xD800, 0xDC00, 0xDBFF, 0xDFFF})},
                    ConversionCase{"EmbeddedZero", std::string("a\0b", 3), Units({'a', 0, 'b'})}),
    yox_test::RowName());

class Malformed : public testing::TestWithParam<ConversionCase> {};

TEST_P(Malformed, BytesBecomeTheReplacementCharacter) {
  EXPECT_EQ(String::UTF8ToUTF16(GetParam().bytes), GetParam().units);
  EXPECT_FALSE(String::IsValidUTF8(GetParam().bytes));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Malformed,
    testing::Values(
        ConversionCase{"LoneTrail", "a\x80z", Units({'a', 0xFFFD, 'z'})},
        ConversionCase{"Truncated", "\xE2\x82", Units({0xFFFD})},
        ConversionCase{"TruncatedThenAscii", "\xF0\x9F\x98x", Units({0xFFFD, 'x'})},
        ConversionCase{"Overlong", "\xC0\xAF", Units({0xFFFD, 0xFFFD})},
        ConversionCase{"OverlongThree", "\xE0\x80\xAF", Units({0xFFFD, 0xFFFD, 0xFFFD})},
        ConversionCase{"Surrogate", "\xED\xA0\x80", Units({0xFFFD, 0xFFFD, 0xFFFD})},
        ConversionCase{"PastTheEnd", "\xF4\x90\x80\x80", Units({0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD})},
        ConversionCase{"NeverAByte", "\xFF", Units({0xFFFD})}),
    yox_test::RowName());

TEST(StringTest, ALoneSurrogateBecomesTheReplacementCharacter) {
  EXPECT_EQ(String::UTF16ToUTF8(Units({'a', 0xD800})), "a\xEF\xBF\xBD");
  EXPECT_EQ(String::UTF16ToUTF8(Units({0xDC00, 'b'})),
            "\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(String::UTF16ToUTF8(Units({0xD800, 0xD800, 0xDC00})), "\xEF\xBF\xBD\xF0\x90\x80\x80");
}

TEST(StringTest, SixCharactersAreWhiteSpaceAndNoOther) {
  EXPECT_TRUE(String::IsEmptyOrWhiteSpace(""_wv));
  EXPECT_TRUE(String::IsEmptyOrWhiteSpace(" \t\n\r\v\f"_wv));
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    const bool expected =
        std::string(" \t\n\r\v\f").find(static_cast<char>(unit)) != std::string::npos &&
        unit < 0x80 && unit != 0;
    EXPECT_EQ(String::IsEmptyOrWhiteSpace(Units({unit})), expected) << unit;
  }
  EXPECT_FALSE(String::IsEmptyOrWhiteSpace(" x "_wv));
}

TEST(StringTest, SplitKeepsEveryPiece) {
  EXPECT_EQ(String::Split("a,b"_wv, ','), (Pieces{"a"_w, "b"_w}));
  EXPECT_EQ(String::Split("a,"_wv, ','), (Pieces{"a"_w, ""_w}));
  EXPECT_EQ(String::Split(",a,,b"_wv, ','), (Pieces{""_w, "a"_w, ""_w, "b"_w}));
  EXPECT_EQ(String::Split(","_wv, ','), (Pieces{""_w, ""_w}));
  EXPECT_EQ(String::Split("a"_wv, ','), Pieces{"a"_w});
}

TEST(StringTest, SplitOfTheEmptyTextHasNoPiece) { EXPECT_EQ(String::Split(""_wv, ','), Pieces{}); }

TEST(StringTest, SplitOnceDividesAtTheFirstSeparator) {
  EXPECT_EQ(String::SplitOnce("a:b:c"_wv, ':'), (Pieces{"a"_w, "b:c"_w}));
  EXPECT_EQ(String::SplitOnce("a:"_wv, ':'), (Pieces{"a"_w, ""_w}));
  EXPECT_EQ(String::SplitOnce("abc"_wv, ':'), Pieces{"abc"_w});
  EXPECT_EQ(String::SplitOnce(""_wv, ':'), Pieces{""_w});
}

TEST(StringTest, TrimTakesASetAndWorksInPlace) {
  WString text = ">=1.2>="_w;
  EXPECT_EQ(String::trim(text, ">="_wv), "1.2"_w);
  EXPECT_EQ(text, "1.2"_w);
  WString path = "HKLM\\Machine\\Key"_w;
  EXPECT_EQ(String::trimStart(path, "HKLM\\"_wv), "achine\\Key"_w);
  EXPECT_EQ(path, "achine\\Key"_w);
  WString end = "abc  "_w;
  EXPECT_EQ(String::trimEnd(end, " "_wv), "abc"_w);
  WString blank = " \t "_w;
  EXPECT_EQ(String::trim(blank, String::kWhiteSpace), ""_w);
  EXPECT_EQ(blank, ""_w);
}

TEST(StringTest, TrimmedIsAViewOfTheText) {
  const WString text = "  ab c "_w;
  EXPECT_EQ(String::Trimmed(text), "ab c"_wv);
  EXPECT_EQ(String::Trimmed(text).data(), text.data() + 2);
  EXPECT_EQ(String::Trimmed("   "_wv), ""_wv);
  EXPECT_EQ(String::Trimmed(""_wv), ""_wv);
}

TEST(StringTest, ReplaceReplacesEveryOccurrence) {
  EXPECT_EQ(String::Replace("a/b//c"_wv, "/"_wv, "\\"_wv), "a\\b\\\\c"_w);
  EXPECT_EQ(String::Replace("aaa"_wv, "aa"_wv, "b"_wv), "ba"_w);
  EXPECT_EQ(String::Replace("abc"_wv, ""_wv, "x"_wv), "abc"_w);
}

TEST(StringTest, LetterCaseIsIgnored) {
  EXPECT_TRUE(String::CaseInsesitiveEqual("Größe"_wv, "GRÖßE"_wv));
  EXPECT_FALSE(String::CaseInsesitiveEqual("Größe"_wv, "GRÖSSE"_wv));
  EXPECT_TRUE(String::CaseInsesitiveEqual("ΣΑΣ"_wv, "σας"_wv));
  EXPECT_FALSE(String::CaseInsesitiveEqual("@"_wv, "`"_wv));
  EXPECT_FALSE(String::CaseInsesitiveEqual("ab"_wv, "abc"_wv));
  EXPECT_TRUE(String::CaseInsensitiveStartsWith("ABCD"_wv, "ab"_wv));
  EXPECT_FALSE(String::CaseInsensitiveStartsWith("A"_wv, "ab"_wv));
  EXPECT_TRUE(String::CaseInsensitiveEndsWith("ABCD"_wv, "cd"_wv));
  EXPECT_FALSE(String::CaseInsensitiveEndsWith("D"_wv, "cd"_wv));
  EXPECT_TRUE(String::CaseInsesitiveFind("xxABCD"_wv, "bc"_wv));
  EXPECT_FALSE(String::CaseInsesitiveFind("xxABCD"_wv, "bd"_wv));
}

TEST(StringTest, AnEmptyNeedleIsFoundEverywhere) {
  EXPECT_TRUE(String::CaseInsesitiveFind(""_wv, ""_wv));
  EXPECT_TRUE(String::CaseInsesitiveFind("abc"_wv, ""_wv));
}

TEST(StringTest, StartsWithAndEndsWithHeedLetterCase) {
  EXPECT_TRUE(String::StartsWith("!abc"_wv, "!"_wv));
  EXPECT_FALSE(String::StartsWith("Abc"_wv, "a"_wv));
  EXPECT_TRUE(String::EndsWith("abc*"_wv, "*"_wv));
  EXPECT_FALSE(String::EndsWith("abC"_wv, "c"_wv));
}

TEST(StringTest, UpperAndLowerCaseMapEachUnit) {
  EXPECT_EQ(String::ToUpper("usb\\vid_046d ÿßσς"_wv), "USB\\VID_046D ŸßΣΣ"_w);
  EXPECT_EQ(String::ToLower("ÄΣ I"_wv), "äσ i"_w);
}

// The published folding of every code unit, where it maps one unit of the basic plane to another.
TEST(StringTest, FoldingAgreesWithUnicodesCaseFoldingData) {
  std::ifstream file("/usr/share/unicode/CaseFolding.txt");
  if (!file) GTEST_SKIP() << "Unicode's data (package unicode-data) is not on this system";
  std::map<unsigned, unsigned> published;
  for (std::string line; std::getline(file, line);) {
    unsigned from = 0, to = 0;
    char status = 0;
    if (std::sscanf(line.c_str(), "%x; %c; %x", &from, &status, &to) != 3) continue;
    if ((status == 'C' || status == 'S') && from < 0x10000 && to < 0x10000) published[from] = to;
  }
  ASSERT_GT(published.size(), 1000U);
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    const auto row = published.find(unit);
    const unsigned expected = row == published.end() ? unit : row->second;
    ASSERT_EQ(static_cast<unsigned>(String::FoldCase(static_cast<WChar>(unit))), expected) << unit;
  }
}

struct IntegerCase {
  const char* name;
  WString text;
  int value;
};

class Integers : public testing::TestWithParam<IntegerCase> {};

TEST_P(Integers, AreRead) {
  EXPECT_EQ(String::ToInteger(GetParam().text), GetParam().value);
  int value = -77;
  EXPECT_EQ(String::TryToInteger(GetParam().text, value), String::IntegerStatus::kOk);
  EXPECT_EQ(value, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(Rows, Integers,
                         testing::Values(IntegerCase{"Plain", "12"_w, 12},
                                         IntegerCase{"StopsAtALetter", "12abc"_w, 12},
                                         IntegerCase{"SkipsWhiteSpace", " \t\n\r\v\f7"_w, 7},
                                         IntegerCase{"Negative", "-5"_w, -5},
                                         IntegerCase{"Positive", "+5"_w, 5},
                                         IntegerCase{"Largest", "2147483647"_w, 2147483647},
                                         IntegerCase{"Smallest", "-2147483648"_w, -2147483647 - 1},
                                         IntegerCase{"LeadingZeros", "000000000000000000009"_w, 9}),
                         yox_test::RowName());

template <class Exception>
void ExpectThrow(WStringView text, const char* message) {
  try {
    String::ToInteger(text);
    ADD_FAILURE() << "nothing was thrown";
  } catch (const Exception& exception) {
    EXPECT_STREQ(exception.what(), message);
  }
  int value = -77;
  EXPECT_NE(String::TryToInteger(text, value), String::IntegerStatus::kOk);
  EXPECT_EQ(value, -77);
}

TEST(StringTest, ATextWithoutANumberIsAnInvalidArgument) {
  for (const WStringView text : {""_wv, " "_wv, "abc"_wv, "-"_wv, "- 5"_wv, "+-5"_wv, "٣"_wv}) {
    ExpectThrow<std::invalid_argument>(text, "invalid stoi argument");
  }
}

TEST(StringTest, ANumberThatDoesNotFitIsOutOfRange) {
  for (const WStringView text : {"2147483648"_wv, "-2147483649"_wv, "99999999999999999999999"_wv}) {
    ExpectThrow<std::out_of_range>(text, "stoi argument out of range");
  }
}

}  // namespace
