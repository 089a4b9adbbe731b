#include <gtest/gtest.h>

#include <compare>
#include <type_traits>

#include "yox/foundation/Version.h"

#include "tests/support/Rows.h"

namespace {

using namespace yox::literals;
using yox::WString;

struct TextCase {
  const char* name;
  WString text;
  bool parses;
  Version version;
};

class VersionText : public testing::TestWithParam<TextCase> {};

TEST_P(VersionText, ParsesOrLeavesTheOutputAlone) {
  const TextCase& row = GetParam();
  Version out(9, 8, 7, 6);
  EXPECT_EQ(Version::TryParse(row.text, out), row.parses);
  EXPECT_TRUE(out == (row.parses ? row.version : Version(9, 8, 7, 6)));

  Version again(9, 8, 7, 6);
  EXPECT_EQ(Version::TryParseVersion(row.text, again), row.parses);
  EXPECT_TRUE(again == out);

  EXPECT_TRUE(Version::Parse(row.text) == (row.parses ? row.version : Version()));
  EXPECT_EQ(Version::FromView(row.text).has_value(), row.parses);
  EXPECT_TRUE(Version::FromView(row.text).value_or(Version(9, 8, 7, 6)) == out);
}

// Hosts hold these operations as function pointers of exactly these types.
static_assert(std::is_same_v<decltype(&Version::Parse), Version (*)(const WString&)>);
static_assert(std::is_same_v<decltype(&Version::TryParse), bool (*)(const WString&, Version&)>);
static_assert(
    std::is_same_v<decltype(&Version::TryParseVersion), bool (*)(const WString&, Version&)>);
static_assert(std::is_same_v<decltype(&Version::TryParseComponent),
                             bool (*)(const WString&, const WString&, Version&, int&)>);

INSTANTIATE_TEST_SUITE_P(
    Rows, VersionText,
    testing::Values(TextCase{"EmptyText", ""_w, false, {}},             //
                    TextCase{"OnePiece", "7"_w, false, {}},             //
                    TextCase{"FivePieces", "1.2.3.4.5"_w, false, {}},   //
                    TextCase{"EmptySecondPiece", "1."_w, false, {}},    //
                    TextCase{"EmptyFirstPiece", ".1"_w, false, {}},     //
                    TextCase{"EmptyMiddlePiece", "1..2"_w, false, {}},  //
                    TextCase{"TwoPieces", "1.2"_w, true, {1, 2}},       //
                    TextCase{"ThreePieces", "1.2.3"_w, true, {1, 2, 3}},
                    TextCase{"FourPieces", "10.0.22631.4460"_w, true, {10, 0, 22631, 4460}},
                    TextCase{"PieceWithoutDigit", "1.2.x"_w, false, {}},
                    TextCase{"LettersAreDeleted", "1.2b.3"_w, true, {1, 2, 3}},
                    TextCase{"LettersBetweenDigitsAreDeleted", "3a1.1-2"_w, true, {31, 12}},
                    TextCase{"SignIsDeleted", "-5.1"_w, true, {5, 1}},
                    TextCase{"LeadingLetterIsDeleted", "x10.v2"_w, true, {10, 2}},
                    TextCase{"WhiteSpaceIsDeleted", " 1 . 2 "_w, true, {1, 2}},
                    TextCase{"ForeignDigitsAreNotDigits", "1.٢"_w, false, {}},
                    TextCase{"LargestInt", "2147483647.0"_w, true, {2147483647, 0}},
                    TextCase{"OutOfRange", "2147483648.0"_w, false, {}},
                    TextCase{"OutOfRangeInFirstPiece", "99999999999.1"_w, false, {}},
                    TextCase{"FarOutOfRange", "99999999999999999999999.1"_w, false, {}},
                    TextCase{"OutOfRangeInLastPiece", "1.2.3.99999999999"_w, false, {}},
                    TextCase{"LeadingZerosDoNotCount", "000000000000001.02"_w, true, {1, 2}},
                    TextCase{"Word", "abc"_w, false, {}}),
    yox_test::RowName());

TEST(VersionTest, ParseOfAWordGivesTheDefault) {
  EXPECT_TRUE(Version::Parse("abc"_w) == Version(0, 0, -1, -1));
}

TEST(VersionTest, ConstructorsStoreWhatTheyAreGiven) {
  EXPECT_TRUE(Version() == Version(0, 0, -1, -1));
  EXPECT_TRUE(Version(1, 2) == Version(1, 2, -1, -1));
  EXPECT_TRUE(Version(1, 2, 3) == Version(1, 2, 3, -1));
  EXPECT_TRUE(Version(-7, -2, -9, -3) < Version(-7, -2, -9, -2));
}

TEST(VersionTest, AMissingComponentSortsBeforeZero) {
  EXPECT_TRUE(Version(1, 2) < Version(1, 2, 0));
  EXPECT_TRUE(Version(1, 2, 0) < Version(1, 2, 0, 0));
  EXPECT_EQ(Version(1, 2).CompareTo(Version(1, 2, 0)), -1);
  EXPECT_EQ(Version(1, 2, 0).CompareTo(Version(1, 2)), 1);
  EXPECT_FALSE(Version(1, 2).Equals(Version(1, 2, 0)));
}

TEST(VersionTest, TheFirstDifferingFieldDecides) {
  const Version ascending[] = {{-1, 9, 9, 9}, {0, 0},       {1, 0, 9, 9}, {1, 1},      {1, 1, 0, 5},
                               {1, 1, 1},     {1, 1, 1, 0}, {1, 1, 1, 1}, {2, 0, 0, 0}};
  for (std::size_t i = 0; i < std::size(ascending); ++i) {
    for (std::size_t k = 0; k < std::size(ascending); ++k) {
      const Version& a = ascending[i];
      const Version& b = ascending[k];
      EXPECT_EQ(a.CompareTo(b), i < k ? -1 : i > k ? 1 : 0) << i << " " << k;
      EXPECT_EQ(a == b, i == k);
      EXPECT_EQ(a.Equals(b), i == k);
      EXPECT_EQ(a != b, i != k);
      EXPECT_EQ(a < b, i < k);
      EXPECT_EQ(a <= b, i <= k);
      EXPECT_EQ(a > b, i > k);
      EXPECT_EQ(a >= b, i >= k);
    }
  }
}

TEST(VersionTest, AComponentIgnoresItsNameAndTheVersion) {
  Version untouched(1, 2, 3, 4);
  int value = 77;
  EXPECT_TRUE(Version::TryParseComponent("1-2"_w, "anything"_w, untouched, value));
  EXPECT_EQ(value, 12);
  EXPECT_FALSE(Version::TryParseComponent("x"_w, "version"_w, untouched, value));
  EXPECT_EQ(value, 12);
  EXPECT_TRUE(untouched == Version(1, 2, 3, 4));
}

}  // namespace
