#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "yox/base/FoldedText.h"
#include "yox/base/String.h"
#include "yox/decision/TextAlternatives.h"
#include "yox/decision/TextArena.h"

namespace yox::decision {
namespace {

WString Folded(WString text) {
  for (WChar& unit : text) unit = String::FoldCase(unit);
  return text;
}

TEST(FingerprintTest, LetterCaseDoesNotCount) {
  // Kelvin sign and long s fold to ASCII letters, at each place of a word and in short texts.
  for (const auto& text : {"K"_w, "kelvin"_w, "Straße NEBEN der Straße"_w, "ÄÖÜ"_w, "@[`{AZaz"_w,
                           "\u212A"_w, "abc\u212Aefg"_w, "\u017Ftop"_w, "stop\u017F"_w}) {
    EXPECT_EQ(Fingerprint(text), Fingerprint(Folded(text))) << String::UTF16ToUTF8(text);
    EXPECT_EQ(Fingerprint(String::ToUpper(text)), Fingerprint(Folded(String::ToUpper(text))));
  }
  EXPECT_EQ(Fingerprint("\u212Aelvins"_w), Fingerprint("kelvins"_w));
}

TEST(FingerprintTest, EveryUnitCounts) {
  for (std::size_t size = 1; size < 20; ++size) {
    const WString text(size, 'a');
    for (std::size_t i = 0; i < size; ++i) {
      WString other = text;
      other[i] = '[';  // no letter, beside the letters
      EXPECT_NE(Fingerprint(text), Fingerprint(other)) << size << ", " << i;
    }
    EXPECT_NE(Fingerprint(text), Fingerprint(text + "a"_w));
  }
}

TEST(TextAlternativesTest, ATextIsFoundAmongAnyNumber) {
  for (const std::size_t count : std::initializer_list<std::size_t>{1, 2, 3, 4, 5, 12, 1000}) {
    TextArena arena;
    std::vector<TextPattern> patterns;
    for (std::size_t i = 0; i < count; ++i) {
      const std::string text = "text " + std::to_string(i / 2);  // each twice
      TextPattern pattern = TextPattern::Parse(arena.Keep(String::UTF8ToUTF16(text)));
      pattern.fingerprint = Fingerprint(pattern.text);
      patterns.push_back(pattern);
    }
    TextAlternatives alternatives;
    alternatives.Add(patterns);
    const auto set = alternatives.Add(patterns);  // not the first of its object
    const auto has = [&](const WString& text) { return set.texts.Has(text, Fingerprint(text)); };
    for (const TextPattern& pattern : patterns) {
      EXPECT_TRUE(has(WString(pattern.text)));
      EXPECT_TRUE(has(String::ToUpper(pattern.text)));
    }
    EXPECT_FALSE(has(""_w));
    EXPECT_FALSE(has("text"_w));
    EXPECT_FALSE(has({}));
    EXPECT_FALSE(has("text "_w + String::UTF8ToUTF16(std::to_string(count))));
    EXPECT_EQ(set.pattern_count, 0U);
  }
}

TEST(TextAlternativesTest, OtherPatternsAreTriedInTurn) {
  std::vector<TextPattern> patterns;
  for (const WStringView text : {"a*"_wv, "*b*"_wv, "!c*"_wv}) {
    patterns.push_back(TextPattern::Parse(text));
  }
  TextAlternatives alternatives;
  const auto first_two = alternatives.Add(std::span(patterns).first(2));
  const auto last = alternatives.Add(std::span(patterns).subspan(2));
  for (const bool is_folded : {false, true}) {
    EXPECT_TRUE(alternatives.AnyPatternMatches(first_two, "about"_wv, is_folded));
    EXPECT_TRUE(alternatives.AnyPatternMatches(first_two, "cab"_wv, is_folded));
    EXPECT_FALSE(alternatives.AnyPatternMatches(first_two, "c"_wv, is_folded));
    EXPECT_FALSE(alternatives.AnyPatternMatches(last, "car"_wv, is_folded));
    EXPECT_TRUE(alternatives.AnyPatternMatches(last, "a"_wv, is_folded));
  }
  EXPECT_TRUE(alternatives.AnyPatternMatches(first_two, "ABOUT"_wv, false));
  EXPECT_EQ(first_two.texts.slot_mask, 0U);
}

}  // namespace
}  // namespace yox::decision
