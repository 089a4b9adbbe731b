#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/NearestWord.h"

#include "tests/support/Rows.h"

namespace {

using yox::DidYouMean;
using yox::EditDistance;
using yox::NearestWord;

struct DistanceRow {
  const char* name;
  std::string_view from;
  std::string_view to;
  std::size_t distance;
};

class EditDistanceRows : public testing::TestWithParam<DistanceRow> {};

TEST_P(EditDistanceRows, IsTheSameInBothDirections) {
  const DistanceRow& row = GetParam();
  EXPECT_EQ(EditDistance(row.from, row.to), row.distance);
  EXPECT_EQ(EditDistance(row.to, row.from), row.distance);
}

constexpr DistanceRow kDistances[] = {
    {"BothEmpty", "", "", 0},
    {"OneEmpty", "", "abc", 3},
    {"Same", "country", "country", 0},
    {"LetterCase", "COUNTRY", "country", 0},
    {"LetterCaseOfAsciiOnly", "\xC3\x84", "\xC3\xA4", 1},
    {"SignsBesideTheLetters", "@[", "`{", 2},
    {"OneMissing", "contry", "country", 1},
    {"OneReplaced", "cointry", "country", 1},
    {"Exchanged", "conutry", "country", 1},
    {"ExchangedInAnotherCase", "coNUtry", "country", 1},
    {"ExchangedAndReplaced", "conutrx", "country", 2},
    {"ExchangedApart", "ca", "abc", 3},  // no letter is edited twice
    {"ExchangedTwice", "badc", "abcd", 2},
    {"Reversed", "abc", "cba", 2},
    {"OneOfTheLastTwo", "ab", "ac", 1},
};

INSTANTIATE_TEST_SUITE_P(Rows, EditDistanceRows, testing::ValuesIn(kDistances),
                         yox_test::RowName());

constexpr std::array<std::string_view, 5> kWords = {"show", "set", "get", "export", "import"};

TEST(NearestWord, AThirdOfTheLettersMayDiffer) {
  EXPECT_EQ(NearestWord("expotr", kWords), "export");
  EXPECT_EQ(NearestWord("exptt", kWords), "export");    // two of five
  EXPECT_EQ(NearestWord("exprts", kWords), "export");   // two of six
  EXPECT_EQ(NearestWord("axpirx", kWords), "");         // three of six
  EXPECT_EQ(NearestWord("axpirxt", kWords), "export");  // three of seven
  EXPECT_EQ(NearestWord("gex", kWords), "get");
  EXPECT_EQ(NearestWord("gxx", kWords), "");
  EXPECT_EQ(NearestWord("", kWords), "");
}

TEST(NearestWord, OfTwoThatAreAsNearTheFirstIsTaken) {
  EXPECT_EQ(NearestWord("xet", kWords), "set");
  EXPECT_EQ(NearestWord("xxport", kWords), "export");
  EXPECT_EQ(NearestWord("xmport", kWords), "import");  // nearer, although later
}

TEST(NearestWord, LongWordsHaveNoneNear) {
  const std::vector<std::string> words = {std::string(64, 'a'), std::string(65, 'a')};
  EXPECT_EQ(NearestWord(std::string(64, 'a'), words), words[0]);
  EXPECT_EQ(NearestWord(std::string(65, 'a'), words), "");
}

TEST(NearestWord, IsShownAsAQuestion) {
  EXPECT_EQ(DidYouMean("shwo", kWords), " (did you mean \"show\"?)");
  EXPECT_EQ(DidYouMean("frobnicate", kWords), "");
}

}  // namespace
