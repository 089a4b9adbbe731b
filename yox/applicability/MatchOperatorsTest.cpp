#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "yox/applicability/TestEvaluator.h"
#include "yox/decision/MatchOperators.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Rows.h"

namespace {

using namespace yox::literals;
using yox::WString;
using yox_test::AnyEvaluator;
using yox_test::CapturedLog;
using yox_test::TestEvaluator;
using Pairs = ApplicabilityEvaluator::Pairs;

struct MatchCase {
  const char* name;
  WString required;
  WString actual;
  bool matches;
};

class StringPattern : public testing::TestWithParam<MatchCase> {};

TEST_P(StringPattern, MatchesAsToldAndLeavesItsArgumentsAlone) {
  const MatchCase& row = GetParam();
  const WString required = row.required;
  const WString actual = row.actual;
  EXPECT_EQ(AnyEvaluator().DoesStringMatch(required, actual), row.matches);
  EXPECT_EQ(required, row.required);
  EXPECT_EQ(actual, row.actual);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, StringPattern,
    testing::Values(MatchCase{"EmptyPatternMatchesAnyValue", ""_w, "x"_w, true},
                    MatchCase{"EmptyPatternMatchesTheEmptyValue", ""_w, ""_w, true},
                    MatchCase{"BlankPatternMatchesAnyValue", " \t\r\n\v\f"_w, "x"_w, true},
                    MatchCase{"BlankPatternMatchesTheEmptyValue", " \t"_w, ""_w, true},
                    MatchCase{"LoneNegationFailsTheEmptyValue", "!"_w, ""_w, false},
                    MatchCase{"LoneNegationMatchesAValue", "!"_w, "x"_w, true},
                    MatchCase{"CaseAndSurroundingBlanksAreIgnored", "ABC"_w, " abc "_w, true},
                    MatchCase{"PatternIsTrimmed", "\tabc\n"_w, "ABC"_w, true},
                    MatchCase{"BlankInsideCounts", "a bc"_w, "abc"_w, false},
                    MatchCase{"BlankBehindTheNegationIsPartOfTheText", "! abc"_w, "abc"_w, true},
                    MatchCase{"NegationFailsTheSameText", "!abc"_w, "ABC"_w, false},
                    MatchCase{"SecondNegationIsText", "!!abc"_w, "!abc"_w, false},
                    MatchCase{"StarMatchesEverything", "*"_w, "anything"_w, true},
                    MatchCase{"StarMatchesTheEmptyValue", "*"_w, ""_w, true},
                    MatchCase{"NegatedStarMatchesNothing", "!*"_w, "anything"_w, false},
                    MatchCase{"SeveralStarsAreOne", "***"_w, "anything"_w, true},
                    MatchCase{"StarAtTheEndIsAPrefix", "ab*"_w, "ABCD"_w, true},
                    MatchCase{"StarAtTheStartIsASuffix", "*cd"_w, "ABCD"_w, true},
                    MatchCase{"StarAtBothEndsIsASubstring", "*BC*"_w, "ABCD"_w, true},
                    MatchCase{"NegatedPrefixFails", "!ab*"_w, "ABCD"_w, false},
                    MatchCase{"NegatedSuffixFails", "!*cd"_w, "ABCD"_w, false},
                    MatchCase{"NegatedSubstringFails", "!*BC*"_w, "ABCD"_w, false},
                    MatchCase{"PrefixElsewhereFails", "bc*"_w, "ABCD"_w, false},
                    MatchCase{"SuffixElsewhereFails", "*bc"_w, "ABCD"_w, false},
                    MatchCase{"SubstringMissing", "*bd*"_w, "ABCD"_w, false},
                    MatchCase{"TrailingStarsAreAllDeleted", "ab**"_w, "abc"_w, true},
                    MatchCase{"LeadingStarsAreAllDeleted", "**cd"_w, "abcd"_w, true},
                    MatchCase{"InnerStarMatchesEveryValue", "a*d"_w, "xyz"_w, true},
                    MatchCase{"NegatedInnerStarMatchesEveryValue", "!a*d"_w, "abd"_w, true},
                    MatchCase{"InnerStarBesideALeadingOneIsText", "*a*b"_w, "xa*b"_w, true},
                    MatchCase{"InnerStarBesideALeadingOneIsNoWildcard", "*a*b"_w, "xayb"_w, false},
                    MatchCase{"InnerStarBesideATrailingOneIsText", "a*b*"_w, "a*bx"_w, true},
                    MatchCase{"InnerStarBetweenTwoIsText", "*a*b*"_w, "xa*bx"_w, true},
                    MatchCase{"EmptyValueIsNoText", "a"_w, ""_w, false}),
    yox_test::RowName());

class StringList : public testing::TestWithParam<MatchCase> {};

TEST_P(StringList, HoldsWhenOneAlternativeDoes) {
  EXPECT_EQ(AnyEvaluator().EvaluateStringFilter(GetParam().required, GetParam().actual),
            GetParam().matches);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, StringList,
    testing::Values(MatchCase{"FirstAlternative", "US,CA"_w, "US"_w, true},
                    MatchCase{"LastAlternative", "US, CA"_w, "ca"_w, true},
                    MatchCase{"NoAlternative", "US,CA"_w, "DE"_w, false},
                    MatchCase{"NegatedListHoldsForEverything", "!a,!b"_w, "a"_w, true},
                    MatchCase{"EmptyAlternativeHoldsForEverything", "US,"_w, "DE"_w, true},
                    MatchCase{"LoneCommaHoldsForEverything", ","_w, "DE"_w, true},
                    MatchCase{"NoPieceHoldsForNothing", ""_w, "DE"_w, false}),
    yox_test::RowName());

class VersionPattern : public testing::TestWithParam<MatchCase> {};

TEST_P(VersionPattern, MatchesAsTold) {
  WString required = GetParam().required;
  WString actual = GetParam().actual;
  EXPECT_EQ(AnyEvaluator().DoesVersionMatch(required, actual), GetParam().matches);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, VersionPattern,
    testing::Values(MatchCase{"EmptyPatternFails", ""_w, "1.0"_w, false},
                    MatchCase{"BlankPatternFails", "  "_w, "1.0"_w, false},
                    MatchCase{"EmptyValueFails", ">=1.0"_w, ""_w, false},
                    MatchCase{"BlankValueFails", "!1.0"_w, " "_w, false},
                    MatchCase{"AtLeastTheSame", ">=1.2"_w, "1.2"_w, true},
                    MatchCase{"AtLeastLess", ">=1.2.0"_w, "1.2"_w, false},
                    MatchCase{"AtLeastWithMoreComponents", ">=1.2.0"_w, "1.2.0.0"_w, true},
                    MatchCase{"GreaterThanTheSame", ">1.2"_w, "1.2"_w, false},
                    MatchCase{"GreaterByAnAddedZero", ">1.2"_w, "1.2.0"_w, true},
                    MatchCase{"AtMostTheSame", "<=1.2"_w, "1.2"_w, true},
                    MatchCase{"AtMostMore", "<=1.2"_w, "1.2.0"_w, false},
                    MatchCase{"LessByAMissingZero", "<1.2.0"_w, "1.2"_w, true},
                    MatchCase{"LessThanTheSame", "<1.2"_w, "1.2"_w, false},
                    MatchCase{"DiffersInAField", "!1.2"_w, "1.2.0"_w, true},
                    MatchCase{"DiffersInNoField", "!1.2"_w, "1.02"_w, false},
                    MatchCase{"PlainFormComparesText", "1.2"_w, "1.2"_w, true},
                    MatchCase{"PlainFormNeedsTheSameText", "1.2.0"_w, "1.2.00"_w, false},
                    MatchCase{"PlainFormAddsNoZero", "1.2"_w, "1.2.0"_w, false},
                    MatchCase{"PlainFormNeedsAVersionInThePattern", "abc"_w, "abc"_w, false},
                    MatchCase{"PlainFormIgnoresCase", "1.2B"_w, "1.2b"_w, true},
                    MatchCase{"OperandMustBeAVersion", ">=abc"_w, "1.2"_w, false},
                    MatchCase{"ValueMustBeAVersion", ">=1.2"_w, "abc"_w, false},
                    MatchCase{"BlanksBehindTheOperatorDoNotCount", ">= 1 . 2"_w, "1.2"_w, true},
                    MatchCase{"SurroundingBlanksDoNotCount", " >=1.2 "_w, " 1.3 "_w, true},
                    MatchCase{"OperatorGoesFromBothEnds", ">=1.2=>"_w, "1.2"_w, true},
                    MatchCase{"EqualsSignAloneIsNoOperator", "=1.2"_w, "1.2"_w, false}),
    yox_test::RowName());

TEST(VersionPatternTest, AnEmptyPatternFailsAsAVersionThoughItHoldsAsAText) {
  EXPECT_FALSE(AnyEvaluator().DoesVersionMatch(""_w, "1.0"_w));
  EXPECT_TRUE(AnyEvaluator().DoesStringMatch(""_w, "1.0"_w));
}

TEST(VersionPatternTest, TheCallersTextsComeBackTrimmed) {
  WString required = " >=1.2 "_w;
  WString actual = "\t1.3\n"_w;
  EXPECT_TRUE(AnyEvaluator().DoesVersionMatch(required, actual));
  EXPECT_EQ(required, ">=1.2"_w);
  EXPECT_EQ(actual, "1.3"_w);
}

TEST(VersionPatternTest, ABlankPartnerLeavesTheOtherTextAlone) {
  WString required = " "_w;
  WString actual = " 1.3 "_w;
  EXPECT_FALSE(AnyEvaluator().DoesVersionMatch(required, actual));
  EXPECT_EQ(required, " "_w);
  EXPECT_EQ(actual, " 1.3 "_w);
}

TEST(VersionListTest, HoldsWhenOneAlternativeDoes) {
  TestEvaluator evaluator;
  EXPECT_TRUE(evaluator.EvaluateVersionFilter("<1.0,>=2.0"_w, "2.1"_w));
  EXPECT_FALSE(evaluator.EvaluateVersionFilter("<1.0,>=2.0"_w, "1.5"_w));
  EXPECT_FALSE(evaluator.EvaluateVersionFilter(""_w, "1.5"_w));
  EXPECT_FALSE(evaluator.EvaluateVersionFilter(","_w, "1.5"_w));
}

TEST(VersionListTest, TrimsTheValueButNotTheRequirement) {
  const WString required = " >=1.0 , 3.0"_w;
  WString actual = " 1.5 "_w;
  EXPECT_TRUE(AnyEvaluator().EvaluateVersionFilter(required, actual));
  EXPECT_EQ(required, " >=1.0 , 3.0"_w);
  EXPECT_EQ(actual, "1.5"_w);
}

TEST(VersionListTest, AListOfBlanksTrimsNothing) {
  WString actual = " 1.5 "_w;
  EXPECT_FALSE(AnyEvaluator().EvaluateVersionFilter(" , "_w, actual));
  EXPECT_EQ(actual, " 1.5 "_w);
}

TEST(VersionListTest, ATrimmedValueIsOnlyReadSoThreadsCanShareIt) {
  const WString shared = "2.1.0"_w;
  const auto ask = [&shared] {
    TestEvaluator evaluator;
    for (int i = 0; i < 200; ++i) EXPECT_TRUE(evaluator.EvaluateVersionFilter(">=2.0"_w, shared));
  };
  std::thread other(ask);
  ask();
  other.join();
}

class IntegerPattern : public testing::TestWithParam<MatchCase> {};

TEST_P(IntegerPattern, MatchesAsTold) {
  WString required = GetParam().required;
  WString actual = GetParam().actual;
  EXPECT_EQ(AnyEvaluator().DoesIntMatch(required, actual), GetParam().matches);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, IntegerPattern,
    testing::Values(MatchCase{"AtLeastTheSame", ">=10"_w, "10"_w, true},
                    MatchCase{"AtLeastLess", ">=10"_w, "9"_w, false},
                    MatchCase{"Greater", ">10"_w, "11"_w, true},
                    MatchCase{"GreaterThanTheSame", ">10"_w, "10"_w, false},
                    MatchCase{"AtMost", "<=10"_w, "10"_w, true},
                    MatchCase{"Less", "<10"_w, "-5"_w, true},
                    MatchCase{"LessThanTheSame", "<10"_w, "10"_w, false},
                    MatchCase{"NotEqual", "!5"_w, "6"_w, true},
                    MatchCase{"NotEqualToTheSame", "!5"_w, "05"_w, false},
                    MatchCase{"Equal", "5"_w, "5"_w, true},
                    MatchCase{"EqualToAnother", "5"_w, "6"_w, false},
                    MatchCase{"StopsAtTheFirstLetter", "12"_w, "12abc"_w, true},
                    MatchCase{"SurroundingBlanksDoNotCount", " >= 10 "_w, " 11 "_w, true}),
    yox_test::RowName());

template <class Exception>
void ExpectIntegerThrows(WString required, WString actual, const char* message) {
  try {
    AnyEvaluator().DoesIntMatch(required, actual);
    ADD_FAILURE() << "nothing was thrown";
  } catch (const Exception& exception) {
    EXPECT_STREQ(exception.what(), message);
  }
}

TEST(IntegerPatternTest, ABadValueOrPatternRaises) {
  ExpectIntegerThrows<std::invalid_argument>("5"_w, "abc"_w, "invalid stoi argument");
  ExpectIntegerThrows<std::invalid_argument>(">"_w, "5"_w, "invalid stoi argument");
  ExpectIntegerThrows<std::out_of_range>("5"_w, "99999999999"_w, "stoi argument out of range");
  ExpectIntegerThrows<std::out_of_range>("<99999999999"_w, "5"_w, "stoi argument out of range");
}

TEST(IntegerPatternTest, TheValueIsReadBeforeThePattern) {
  ExpectIntegerThrows<std::out_of_range>("abc"_w, "99999999999"_w, "stoi argument out of range");
}

TEST(IntegerPatternTest, TheCallersTextsComeBackTrimmed) {
  WString required = " >=5 "_w;
  WString actual = " 7 "_w;
  EXPECT_TRUE(AnyEvaluator().DoesIntMatch(required, actual));
  EXPECT_EQ(required, ">=5"_w);
  EXPECT_EQ(actual, "7"_w);
}

const Pairs kPairs = {{"Device.Usage.IsManagedDevice"_w, "true"_w},
                      {"Level"_w, "10"_w},
                      {"App"_w, "7.1.0"_w},
                      {"level"_w, "99"_w},
                      {"Empty"_w, ""_w},
                      {" Spaced "_w, " v "_w}};

struct TermCase {
  const char* name;
  WString term;
  bool holds;
};

class KeyValueTerm : public testing::TestWithParam<TermCase> {};

TEST_P(KeyValueTerm, HoldsAsTold) {
  const CapturedLog log;
  EXPECT_EQ(AnyEvaluator().DoesKvpMatch(GetParam().term, kPairs), GetParam().holds);
  EXPECT_EQ(log.Text(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, KeyValueTerm,
    testing::Values(TermCase{"KeyIsThere", "Level"_w, true},
                    TermCase{"KeyIgnoresCaseAndBlanks", " LEVEL "_w, true},
                    TermCase{"KeyIsMissing", "Missing"_w, false},
                    TermCase{"NegatedKeyIsMissing", "!Missing"_w, true},
                    TermCase{"NegatedKeyIsThere", "!Level"_w, false},
                    TermCase{"NegationGoesFromBothEnds", "!Level!"_w, false},
                    TermCase{"KeyPatternHasWildcards", "*IsManaged*"_w, true},
                    TermCase{"StoredKeyIsTrimmed", "spaced"_w, true},
                    TermCase{"EmptyTermMatchesTheFirstPair", ""_w, true},
                    TermCase{"EmptyValueHoldsWhateverTheValue", "Level|"_w, true},
                    TermCase{"BlankValueHoldsWhateverTheValue", "Level| "_w, true},
                    TermCase{"ValueOfAMissingKey", "Missing|"_w, false},
                    TermCase{"ValueIsText", "device.usage.*|TRUE"_w, true},
                    TermCase{"ValueDiffers", "Device.Usage.IsManagedDevice|false"_w, false},
                    TermCase{"NegatedValueIsText", "App|!7.1"_w, true},
                    TermCase{"NegatedValueEqual", "App|!7.1.0"_w, false},
                    TermCase{"IntegerComparison", "Level|>=10"_w, true},
                    TermCase{"IntegerComparisonFails", "Level|>10"_w, false},
                    TermCase{"VersionComparison", "App|<7.2"_w, true},
                    TermCase{"VersionComparisonFails", "App|>=7.2"_w, false},
                    TermCase{"VersionOfANumber", "Level|>1.0"_w, false},
                    TermCase{"OnlyTheFirstPairCounts", "Level|99"_w, false},
                    TermCase{"NegatedKeyStopsAtTheFirstOther", "!Device.Usage.IsManagedDevice|10"_w,
                             true},
                    TermCase{"FurtherPiecesAreIgnored", "Level|10|x"_w, true},
                    TermCase{"ValueIsTrimmed", "Spaced| V "_w, true},
                    TermCase{"EmptyStoredValue", "Empty|x"_w, false}),
    yox_test::RowName());

TEST(KeyValueTermTest, AMissingKeyInNoPairs) {
  TestEvaluator evaluator;
  EXPECT_FALSE(evaluator.DoesKvpMatch("Key"_w, {}));
  EXPECT_TRUE(evaluator.DoesKvpMatch("!Key"_w, {}));
}

TEST(KeyValueTermTest, ABadNumberIsLoggedAndFalse) {
  const CapturedLog log;
  TestEvaluator evaluator;
  EXPECT_FALSE(evaluator.DoesKvpMatch("Key|>5"_w, {{"Key"_w, "x"_w}}));
  EXPECT_FALSE(evaluator.DoesKvpMatch("Level|>abc"_w, kPairs));
  EXPECT_FALSE(evaluator.DoesKvpMatch("Level|>99999999999"_w, kPairs));
  EXPECT_EQ(log.Text(),
            "ApplicabilityEvaluator E ApplicabilityEvaluator::DoesKvpMatch : Exception - invalid "
            "stoi argument\n"
            "ApplicabilityEvaluator E ApplicabilityEvaluator::DoesKvpMatch : Exception - invalid "
            "stoi argument\n"
            "ApplicabilityEvaluator E ApplicabilityEvaluator::DoesKvpMatch : Exception - stoi "
            "argument out of range\n");
}

TEST(KeyValueTermTest, TheTermAndThePairsAreLeftAlone) {
  const WString term = " Spaced | >5 "_w;
  const Pairs pairs = {{" Spaced "_w, " 7 "_w}};
  EXPECT_TRUE(AnyEvaluator().DoesKvpMatch(term, pairs));
  EXPECT_EQ(term, " Spaced | >5 "_w);
  EXPECT_EQ(pairs[0].getValue(), " 7 "_w);
}

TEST(KeyValueListTest, AllTermsNeedsEveryTerm) {
  TestEvaluator evaluator;
  const auto all = EvaluationModeForKVP::AllTerms;
  EXPECT_TRUE(evaluator.EvaluateKvpFilter("Level|10, App, !Missing"_w, kPairs, all));
  EXPECT_FALSE(evaluator.EvaluateKvpFilter("Level|10, Missing"_w, kPairs, all));
  EXPECT_TRUE(evaluator.EvaluateKvpFilter(""_w, kPairs, all));
}

TEST(KeyValueListTest, AnyTermNeedsOneTerm) {
  TestEvaluator evaluator;
  const auto any = EvaluationModeForKVP::AnyTerm;
  EXPECT_TRUE(evaluator.EvaluateKvpFilter("Missing, Level|10"_w, kPairs, any));
  EXPECT_FALSE(evaluator.EvaluateKvpFilter("Missing, Level|11"_w, kPairs, any));
  EXPECT_FALSE(evaluator.EvaluateKvpFilter(""_w, kPairs, any));
}

TEST(KeyValueListTest, AnUnknownModeHoldsNever) {
  EXPECT_FALSE(
      AnyEvaluator().EvaluateKvpFilter("Level"_w, kPairs, static_cast<EvaluationModeForKVP>(2)));
}

TEST(KeyValueListTest, TheFirstFailureEndsAllTerms) {
  const CapturedLog log;
  EXPECT_FALSE(AnyEvaluator().EvaluateKvpFilter("Missing,Level|>abc"_w, kPairs,
                                                EvaluationModeForKVP::AllTerms));
  EXPECT_EQ(log.Text(), "");
}

}  // namespace
