#include <gtest/gtest.h>

#include <random>
#include <string>

#include "yox/base/FoldedText.h"
#include "yox/base/String.h"
#include "yox/base/WString.h"

namespace yox {
namespace {

// Short texts of two letters: a part of one is often a part of another.
class FoldedTextTest : public testing::Test {
 protected:
  WString Draw() {
    WString text(std::uniform_int_distribution<std::size_t>(0, 13)(random_), 'a');
    for (WChar& unit : text) unit = std::uniform_int_distribution(0, 3)(random_) == 0 ? 'b' : 'a';
    return text;
  }

  static constexpr int kRounds = 20000;

 private:
  std::mt19937 random_{16};
};

TEST_F(FoldedTextTest, SameUnitsComparesEveryUnit) {
  for (int i = 0; i < kRounds; ++i) {
    const WString text = Draw();
    const WString other = Draw();
    EXPECT_TRUE(SameUnits(text.data(), WString(text).data(), text.size()));
    if (text.size() == other.size()) {
      EXPECT_EQ(SameUnits(text.data(), other.data(), text.size()), text == other);
    }
  }
  EXPECT_FALSE(SameUnits("abcdeXg"_wv.data(), "abcdefg"_wv.data(), 7));
  EXPECT_FALSE(SameUnits("aXc"_wv.data(), "abc"_wv.data(), 3));
}

TEST_F(FoldedTextTest, APartIsFoundWhereTheStandardLibraryFindsIt) {
  for (int i = 0; i < kRounds; ++i) {
    const WString text = Draw();
    const WString part = Draw();
    const std::string what = String::UTF16ToUTF8(text + ", "_w + part);
    EXPECT_EQ(StartsWithUnits(text, part, FirstUnits(part)), text.starts_with(part)) << what;
    EXPECT_EQ(EndsWithUnits(text, part, LastUnits(part)), text.ends_with(part)) << what;
    EXPECT_EQ(ContainsUnits(text, part), text.find(part) != WString::npos) << what;
  }
}

TEST_F(FoldedTextTest, FingerprintsOfFourUnitsAndSizeTellTextsApart) {
  // The function that mixes in the only word can be inverted: two texts of one size differ.
  for (int i = 0; i < kRounds; ++i) {
    const WString text = Draw().substr(0, kFingerprintIsExact);
    const WString other = Draw().substr(0, kFingerprintIsExact);
    EXPECT_EQ(Fingerprint(text) == Fingerprint(other) && text.size() == other.size(),
              text == other);
  }
}

TEST_F(FoldedTextTest, EqualsFoldedIgnoresTheLetterCaseOfItsFirstArgumentOnly) {
  EXPECT_TRUE(EqualsFolded("MiXeD \u00C4"_wv.data(), "mixed \u00E4"_wv));
  EXPECT_FALSE(EqualsFolded("mixed"_wv.data(), "Mixed"_wv));
  EXPECT_FALSE(EqualsFolded("mixex"_wv.data(), "mixed"_wv));
}

TEST_F(FoldedTextTest, AFoldedTextHasNoWhiteSpaceAroundIt) {
  const FoldedText folded(" Some Text\t"_wv);
  EXPECT_EQ(folded.text, "some text"_w);
  EXPECT_EQ(folded.fingerprint, Fingerprint("some text"_wv));
  EXPECT_EQ(FoldedText().fingerprint, FoldedText(" "_wv).fingerprint);
}

TEST_F(FoldedTextTest, FoldedTextsAreSeenThroughTheirViews) {
  FoldedTexts<2> texts;
  EXPECT_TRUE(texts[1].text.empty());
  EXPECT_EQ(texts[1].fingerprint, Fingerprint({}));
  texts.Set(1, FoldedText(" Some Text\t"_wv));
  EXPECT_EQ(texts[1].text, "some text"_wv);
  EXPECT_EQ(texts[1].fingerprint, Fingerprint("some text"_wv));
  EXPECT_TRUE(texts[0].text.empty());
}

TEST_F(FoldedTextTest, ACopyOfFoldedTextsHasItsOwn) {
  FoldedTexts<2> texts;
  texts.Set(0, FoldedText("A"_wv));
  texts.Set(1, FoldedText("A text that is too long for the string itself"_wv));
  const FoldedTexts<2> copy(texts);
  FoldedTexts<2> assigned;
  assigned = texts;
  texts.Set(0, FoldedText("B"_wv));
  texts.Set(1, FoldedText("Another text that is too long for the string itself"_wv));
  for (const auto* const each : {&copy, &std::as_const(assigned)}) {
    EXPECT_EQ((*each)[0].text, "a"_wv);
    EXPECT_EQ((*each)[0].fingerprint, Fingerprint("a"_wv));
    EXPECT_EQ((*each)[1].text, "a text that is too long for the string itself"_wv);
    EXPECT_EQ((*each)[1].fingerprint, Fingerprint((*each)[1].text));
  }
}

}  // namespace
}  // namespace yox
