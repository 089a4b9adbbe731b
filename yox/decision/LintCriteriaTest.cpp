#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/String.h"
#include "yox/decision/Filter.h"
#include "yox/decision/Lint.h"
#include "yox/decision/TestMoments.h"

#include "tests/support/Rows.h"

namespace yox::decision {
namespace {

using YOX::String;
using yox_test::kToday;

struct CriterionRow {
  const char* name;
  const char* field;
  const char* text;
  const char* found;
};

// The findings in a criterion of the last filter. One before it has findings of its own, which must
// not matter.
std::vector<LintFinding> FindingsIn(FilterField field, const WString& text) {
  ApplicabilityFilter::List list(2);
  list[0].set_tag("Ri*ng|x,,"_w);
  list[0].set_value("false"_w);
  list[1].Set(field, text);
  std::vector<LintFinding> findings = Lint(ApplicabilityFilter(list), kToday);
  std::erase_if(findings, [&](const LintFinding& one) { return one.filter != 1U || !one.field; });
  return findings;
}

FilterField FieldOf(std::string_view name) {
  const auto* const found = std::ranges::find(kFilterFieldNames, name);
  return static_cast<FilterField>(found - std::begin(kFilterFieldNames));
}

// "rule@OFFSET \"excerpt\" (detail) -> \"the criterion's text after the fix\"" of each finding.
std::string Described(const std::vector<LintFinding>& findings, const WString& text) {
  std::string all;
  for (const LintFinding& finding : findings) {
    EXPECT_EQ(finding.excerpt,
              String::UTF16ToUTF8(WStringView(text).substr(finding.offset, finding.length)));
    if (!all.empty()) all += "; ";
    all += std::string(RowOf(finding.rule).id) + "@" + std::to_string(finding.offset) + " \"" +
           finding.excerpt + "\"";
    if (!finding.detail.empty()) all += " (" + finding.detail + ")";
    if (!finding.fix) continue;
    WString fixed = text;
    fixed.replace(finding.fix->offset, finding.fix->length,
                  String::UTF8ToUTF16(finding.fix->replacement));
    all += " -> \"" + String::UTF16ToUTF8(fixed) + "\"";
  }
  return all;
}

class LintedCriterion : public testing::TestWithParam<CriterionRow> {};

TEST_P(LintedCriterion, HasTheseFindingsDetailsAndFixes) {
  const FilterField field = FieldOf(GetParam().field);
  const WString text = String::UTF8ToUTF16(GetParam().text);
  EXPECT_EQ(Described(FindingsIn(field, text), text), GetParam().found);
}

const CriterionRow kCriterionRows[] = {
    // Whole numbers, and what comes after them.
    {"PlusSign", "tag", "A|>+5", ""},
    {"BlanksBesideANumber", "tag", "A|> 5 ", ""},
    {"SignAfterANumber", "tag", "A|>5-", "number-cut@3 \"5-\""},
    {"ThousandsOfNines", "tag", "A|>9,999", "number-cut@5 \"999\" (the comma ends it)"},
    {"ThousandsOfZeros", "tag", "A|>0,000", "number-cut@5 \"000\" (the comma ends it)"},
    {"Millions", "tag", "A|>5,000,000",
     "number-cut@5 \"000\" (the comma ends it); number-cut@9 \"000\" (the comma ends it)"},
    {"ThousandsAfterAVersion", "tag", "A|>5.0,000", ""},
    {"ThousandsAfterAnotherKey", "tag", "A|>5,B,000", ""},
    {"TwoDigitsAfterANumber", "tag", "A|>5,12", ""},
    {"ThreeDigitsFirst", "tag", "123,A", ""},
    // Operators before a version.
    {"LetterAfterNot", "version", "!v4.2", "version-letters@0 \"!v4.2\""},
    {"LetterAfterGreater", "version", ">v4.2", "version-letters@0 \">v4.2\""},
    {"LetterAfterLess", "version", "<v4.2", "version-letters@0 \"<v4.2\""},
    {"LetterAfterAtMost", "version", "<=v4.2", "version-letters@0 \"<=v4.2\""},
    {"LetterAfterAtLeast", "version", ">=v4.2", "version-letters@0 \">=v4.2\""},
    {"NotAVersion", "version", "!4.2", ""},
    {"GreaterThanAVersion", "version", ">4.2", ""},
    {"LessThanAVersion", "version", "<4.2", ""},
    {"AtMostAVersion", "version", "<=4.2", ""},
    {"LettersBeforeAndAfterAVersion", "version", "v4.2b", "version-text@0 \"v4.2b\""},
    {"GreaterOrEqualTheOtherWayRound", "version", "=>4.2", "version-text@0 \"=>4.2\" -> \">=4.2\""},
    {"LessOrEqualTheOtherWayRound", "version", "=<4.2", "version-text@0 \"=<4.2\" -> \"<=4.2\""},
    {"EqualSign", "version", "==4.2", "version-text@0 \"==4.2\" -> \"4.2\""},
    {"BlankInAVersion", "version", "4. 2", "version-text@0 \"4. 2\""},
    {"UnreadableThenGood", "version", "x,1.0", "version-unreadable@0 \"x\""},
    // Days that a calendar has.
    {"LastDayOfJanuary", "date_range", "2026-01-31|*", ""},
    {"DayAfterJanuary", "date_range", "2026-01-32|*", "date-impossible@0 \"2026-01-32\""},
    {"MonthZero", "date_range", "2026-00-10|*", "date-impossible@0 \"2026-00-10\""},
    {"DayZero", "date_range", "2026-03-00|*", "date-impossible@0 \"2026-03-00\""},
    {"LastDayOfTheYear", "date_range", "*|2026-12-31", ""},
    {"MonthThirteen", "date_range", "2026-13-01|*", "date-impossible@0 \"2026-13-01\""},
    {"MonthThatWrapsAround", "date_range", "2026-257-01|*", "date-impossible@0 \"2026-257-01\""},
    {"DayThatWrapsAround", "date_range", "2026-01-257|*", "date-impossible@0 \"2026-01-257\""},
    {"NoLeapDayIn2100", "date_range", "2100-02-29|*", "date-impossible@0 \"2100-02-29\""},
    {"LeapDayIn2400", "date_range", "2400-02-29|*", ""},
    {"LeapDayIn2000", "date_range", "2000-02-29|*", ""},
    {"NoLeapDayIn2001", "date_range", "2001-02-29|*", "date-impossible@0 \"2001-02-29\""},
    {"YearBefore1900", "date_range", "1899-12-31|*", "date-year@0 \"1899-12-31\""},
    {"YearOfFiveDigits", "date_range", "12026-03-01|*", ""},
    // Windows.
    {"UnreadableStartAndEnd", "date_range", "soon|later",
     "date-unreadable@0 \"soon\"; date-unreadable@5 \"later\""},
    {"UnreadableStart", "date_range", "soon|2026-05-01", "date-unreadable@0 \"soon\""},
    {"UnreadableEnd", "date_range", "2026-05-01|later", "date-unreadable@11 \"later\""},
    {"UnreadableStartAndPastEnd", "date_range", "soon|2025-05-01",
     "date-unreadable@0 \"soon\"; window-past@5 \"2025-05-01\""},
    {"EmptyWindowInThePast", "date_range", "2025-05-02|2025-05-01",
     "window-empty@0 \"2025-05-02|2025-05-01\" -> \"2025-05-01|2025-05-02\""},
    {"ImpossibleAndPast", "date_range", "*|2025-02-30",
     "date-impossible@2 \"2025-02-30\"; window-past@2 \"2025-02-30\""},
    {"NumbersCutInBoth", "date_range", "2026-05-01x|2026-06-01T0",
     "number-cut@8 \"01x\"; number-cut@20 \"01T0\""},
    // Roll-outs.
    {"RolloutFromAnImpossibleDayLongAgo", "date_function", "2025-02-30|28|linear",
     "date-impossible@0 \"2025-02-30\""},
    {"RolloutFromNoDayWithUnknownGrowth", "date_function", "now|x|fast",
     "date-unreadable@0 \"now\"; number-unreadable@4 \"x\"; rollout-growth@6 \"fast\""},
    {"RolloutThatIsOverAndUnknown", "date_function", "2025-02-01|28|fast",
     "rollout-over@0 \"2025-02-01|28|fast\"; rollout-growth@14 \"fast\""},
    {"RolloutOfAHundredThousandDays", "date_function", "1700-01-01|100000|linear",
     "date-year@0 \"1700-01-01\"; rollout-over@0 \"1700-01-01|100000|linear\""},
    {"RolloutOfMoreDays", "date_function", "1700-01-01|100001|linear",
     "date-year@0 \"1700-01-01\"; rollout-over@0 \"1700-01-01|100001|linear\""},
    {"RolloutOfTheMostDays", "date_function", "2025-01-01|2147483647|linear", ""},
    {"RolloutOfTooManyDays", "date_function", "2025-01-01|2147483648|linear",
     "number-unreadable@11 \"2147483648\""},
    {"RolloutThatBeginsToday", "date_function", "2026-03-01|1|linear", ""},
    {"RolloutThatBeginsTomorrow", "date_function", "2026-03-02|1|linear", ""},
    {"RolloutOfDevices", "date_function", "2026-03-01|28|linear|Device", ""},
    {"RolloutWithAnEmptySegment", "date_function", "2026-03-01|28|linear|", ""},
    {"RolloutWithAnEmptySegmentAndMore", "date_function", "2026-03-01|28|linear||x",
     "extra-pieces@21 \"|x\""},
    {"RolloutOfTenantsAndMore", "date_function", "2026-03-01|28|linear|tenant|",
     "extra-pieces@27 \"|\""},
    {"RolloutOfTenantsWithABlank", "date_function", "2026-03-01|28|linear|tenant ",
     "rollout-segment@21 \"tenant \""},
    {"RolloutOfUnknownGrowthAndSegment", "date_function", "2026-03-01|28|fast|all|x",
     "rollout-growth@14 \"fast\"; rollout-segment@19 \"all\"; extra-pieces@22 \"|x\""},
    {"RolloutDaysCut", "date_function", "2026-03-01|28d|linear", "number-cut@11 \"28d\""},
    {"RolloutDaysCutAndZero", "date_function", "2026-03-01|0d|linear",
     "number-cut@11 \"0d\"; rollout-days@11 \"0d\""},
    // Empty alternatives and stars.
    {"EmptyFirst", "country", ",US", "empty-alternative@0 \"\" -> \"US\""},
    {"EmptyInner", "country", "US, ,CA", "empty-alternative@3 \" \" -> \"US,CA\""},
    {"EmptyLast", "country", "US,", "empty-alternative@3 \"\" -> \"US\""},
    {"EmptyTwice", "country", "US,,",
     "empty-alternative@3 \"\" -> \"US,\"; empty-alternative@4 \"\" -> \"US,\""},
    {"EmptyTerm", "tag", "A,,B", "empty-alternative@2 \"\" -> \"A,B\""},
    {"EmptyKeyOfAValue", "tag", "A, |b", "empty-alternative@2 \" \""},
    {"NegationAlone", "tag", "A,!", "empty-alternative@2 \"!\""},
    {"TwoNegationsAlone", "tag", "!!", "empty-alternative@0 \"!!\""},
    {"KeyStar", "tag", "*", ""},
    {"KeyOfNothing", "tag", "!*|x", "never-holds@0 \"!*\"; negated-key@0 \"!*\""},
    {"KeyWithInnerStar", "tag", "Ri*ng|x", "inner-star@0 \"Ri*ng\""},
    {"KeyWithLiteralStar", "tag", "*i*g|x", "literal-star@0 \"*i*g\""},
    {"KeyWithBlankBeforeStar", "tag", "Ring *|x", "white-space@0 \"Ring *\""},
    {"KeyWithBlankAfterStar", "tag", "* Ring|x", "white-space@0 \"* Ring\""},
    {"ValueWithInnerStar", "tag", "Ring|a*b", "inner-star@5 \"a*b\""},
    {"ValueWithLiteralStar", "tag", "Ring|*a*b", "literal-star@5 \"*a*b\""},
    {"ValueOfNothing", "tag", "Ring|!*", "never-holds@5 \"!*\""},
    {"InnerStarAndEverything", "mfr", "a*b,*", "inner-star@0 \"a*b\""},
    {"InnerStarAndCovering", "mfr", "a*b,!c,!d", "inner-star@0 \"a*b\""},
    {"EmptyAndCovering", "country", "!US,,!CA", "empty-alternative@4 \"\" -> \"!US,!CA\""},
    {"EverythingTwice", "mfr", "*,*", "always-holds@0 \"*\""},
    {"EverythingAndCovering", "mfr", "!A,!B,*", "always-holds@6 \"*\""},
    {"EverythingOfAVersion", "version", ">=0.0,>=0.0", "always-holds@0 \">=0.0\""},
    {"SubscriptionOfEverything", "device_subscription", "*,1b4e28ba-2fa1-11d2-883f-0016d3cca427",
     "covering-alternatives@2 \"1b4e28ba-2fa1-11d2-883f-0016d3cca427\" (with \"*\")"},
    {"NotEmpty", "country", "!", ""},
    {"NotEmptyLanguage", "language", "!", ""},
    // Relations.
    {"ThreeTheSame", "mfr", "A,A,A", "superfluous@2 \"A\" (with \"A\")"},
    {"FirstWithThird", "mfr", "AB*,C,ABC", "superfluous@6 \"ABC\" (with \"AB*\")"},
    {"SecondWithThird", "mfr", "C,AB*,ABC", "superfluous@6 \"ABC\" (with \"AB*\")"},
    {"CoveringWithSecond", "mfr", "C,!A*,A*", "covering-alternatives@6 \"A*\" (with \"!A*\")"},
    {"SuperfluousBesideAnother", "country", "US,us,XX", "country-unknown@6 \"XX\""},
    {"BitnessOfEveryKind", "os_bitness", "!32,!64", ""},
    {"BitnessTwice", "os_bitness", "64,64", ""},
    {"ContradictingAndSuperfluous", "tag", "A|1,A|2,A",
     "contradicting-terms@4 \"A|2\" (with \"A|1\")"},
    {"ContradictingWithSecond", "tag", "B,A|>5,A|<3",
     "contradicting-terms@7 \"A|<3\" (with \"A|>5\")"},
    {"ItemsThatCoverAndMore", "installed_items", "A,!A,B",
     "covering-alternatives@2 \"!A\" (with \"A\")"},
    // Sets of words.
    {"CountryOfThreeLetters", "country", "DE,USA",
     "country-unknown@3 \"USA\" (did you mean \"US\"?) -> \"DE,US\""},
    {"CountryUnknown", "country", "QQQ", "country-unknown@0 \"QQQ\""},
    {"CountriesBySlash", "country", "US/CA", "separator@0 \"US/CA\" -> \"US,CA\""},
    {"CountriesByPlus", "country", "US+CA", "separator@0 \"US+CA\" -> \"US,CA\""},
    {"CountriesByBlankAndSemicolon", "country", "US; CA", "separator@0 \"US; CA\" -> \"US,CA\""},
    {"CountriesOfThreeLetters", "country", "USA CAN", "separator@0 \"USA CAN\" -> \"USA,CAN\""},
    {"CountryOfFourLettersAfterABlank", "country", "US CHAD",
     "country-unknown@0 \"US CHAD\" (did you mean \"TD\"?) -> \"TD\""},
    {"CountryByTwoWords", "country", "New Zealand",
     "country-unknown@0 \"New Zealand\" (did you mean \"NZ\"?) -> \"NZ\""},
    {"SemicolonAtTheEnd", "country", "US;", "country-unknown@0 \"US;\""},
    {"SemicolonAtTheBegin", "country", ";US", "country-unknown@0 \";US\""},
    {"BarInANegation", "country", "!US|CA", "separator@1 \"US|CA\" -> \"!US,CA\""},
    {"CountryBeginningOfNone", "country", "QQ*", "country-unknown@0 \"QQ\""},
    {"CountryBeginningOfNoneNegated", "country", "!QQ*", ""},
    {"CountryEndOfOne", "country", "*Z", ""},
    {"LanguageBare", "language", "de-DE,en", "language-bare@6 \"en\" -> \"de-DE,en*\""},
    {"LanguagesByBlank", "language", "en-US de-DE",
     "separator@0 \"en-US de-DE\" -> \"en-US,de-DE\""},
    {"LanguagesWithUnderscoresBySemicolon", "language", "en_US;de_DE",
     "language-unknown@0 \"en_US;de_DE\""},
    {"LanguageUnknown", "language", "qq-DE", "language-unknown@0 \"qq-DE\""},
    {"LanguageByItsName", "language", "german-AT",
     "language-unknown@0 \"german-AT\" (did you mean \"de-AT\"?) -> \"de-AT\""},
    {"LanguageBeginningByUnderscore", "language", "en_*", "language-unknown@0 \"en_\" -> \"en-*\""},
    {"LanguageBeginningByUnderscoreNegated", "language", "!en_*", ""},
    {"LanguageBeginning", "language", "en-*", ""},
    {"LanguageOfNoRegion", "language", "en-QQ", "language-unknown@0 \"en-QQ\""},
    {"EnclosureSlip", "enclosure", "Notbook",
     "enclosure-unknown@0 \"Notbook\" (did you mean \"Notebook\"?) -> \"Notebook\""},
    {"EnclosureUnknown", "enclosure", "Spaceship", "enclosure-unknown@0 \"Spaceship\""},
    {"EnclosureBeginningOfNone", "enclosure", "Net*", "enclosure-unknown@0 \"Net\""},
    {"EnclosureBeginningOfNoneNegated", "enclosure", "!Net*", ""},
    {"EnclosureWithSlash", "enclosure", "Lunch/Box",
     "enclosure-unknown@0 \"Lunch/Box\" (did you mean \"Lunch Box\"?) -> \"Lunch Box\""},
    {"BitnessSlip", "os_bitness", "amd64",
     "never-holds@0 \"amd64\" (did you mean \"64\"?) -> \"64\""},
    {"BitnessUnknown", "os_bitness", "zzzzzzzzzz", "never-holds@0 \"zzzzzzzzzz\""},
    {"BitnessOfNone", "os_bitness", "9*", "never-holds@0 \"9*\""},
    {"BitnessNegatedSlip", "os_bitness", "!x64",
     "never-holds@1 \"x64\" (did you mean \"64\"?) -> \"!64\""},
    {"SubscriptionInBraces", "device_subscription", "{1b4e28ba-2fa1-11d2-883f-0016d3cca427}", ""},
    {"SubscriptionTooShort", "device_subscription", "1b4e28ba-2fa1-11d2-883f-0016d3cca42",
     "subscription-form@0 \"1b4e28ba-2fa1-11d2-883f-0016d3cca42\""},
    {"SubscriptionsBySemicolon", "device_subscription",
     "1b4e28ba-2fa1-11d2-883f-0016d3cca427;1b4e28ba-2fa1-11d2-883f-0016d3cca428",
     "separator@0 \"1b4e28ba-2fa1-11d2-883f-0016d3cca427;1b4e28ba-2fa1-11d2-883f-0016d3cca428\" -> "
     "\"1b4e28ba-2fa1-11d2-883f-0016d3cca427,1b4e28ba-2fa1-11d2-883f-0016d3cca428\""},
    {"SubscriptionBeginning", "device_subscription", "1b4e*", ""},
    {"OsOther", "os", "Linux", "never-holds@0 \"Linux\""},
    {"OsOtherNegated", "os", "!Linux", ""},
    {"OsNothing", "os", "!*", "never-holds@0 \"!*\""},
    {"OsBeginning", "os", "Win*", ""},
    {"HashOfOtherLetters", "sn_hash", "*xyz", "never-holds@0 \"*xyz\""},
    {"HashOfNothing", "sn_hash", "!*", "never-holds@0 \"!*\""},
    {"HashOfOtherLettersNegated", "sn_hash", "!xyz", ""},
    // Free text.
    {"ModelsBySlash", "model", "FA/14", ""},
    {"ModelsByPlus", "model", "A+B", ""},
    {"ModelsByBlank", "model", "A B", ""},
    {"ModelsBySemicolons", "family", "A; B;;C", "separator@0 \"A; B;;C\" -> \"A, B,C\""},
    {"SkuByBar", "sku", "A|B", "separator@0 \"A|B\" -> \"A,B\""},
    {"MakersByBar", "mfr", "A|B", "separator@0 \"A|B\" -> \"A,B\""},
    {"DescriptionWithBar", "os_description", "A|B", ""},
    {"DescriptionQuoted", "os_description", "'Pro'", "foreign-text@0 \"'Pro'\" -> \"Pro\""},
    {"OsQuoted", "os", "\"Windows\"", "foreign-text@0 \"\"Windows\"\" -> \"Windows\""},
    {"EmptyQuotes", "mfr", "''", ""},
    {"OneQuotedLetter", "mfr", "'A'", "foreign-text@0 \"'A'\" -> \"A\""},
    {"QuoteAtTheBegin", "mfr", "'A", ""},
    {"QuoteAtTheEnd", "mfr", "A\"", ""},
    {"MixedQuotes", "mfr", "'A\"", ""},
    {"NegatedInWords", "mfr", "not A", "foreign-text@0 \"not A\""},
    {"NegatedInWordsBeforeStar", "mfr", "not *", "white-space@0 \"not *\""},
    {"NegatedNoWord", "mfr", "nota", ""},
    {"EqualSignAlone", "mfr", "=", "foreign-text@0 \"=\""},
    {"EqualSignAndBlank", "mfr", "= A", "foreign-text@0 \"= A\" -> \"A\""},
    {"EqualSigns", "mfr", "== = A", "foreign-text@0 \"== = A\" -> \"A\""},
    {"EqualSignAndLess", "mfr", "=<A", "foreign-text@0 \"=<A\""},
    {"Less", "mfr", "<A", "foreign-text@0 \"<A\""},
    {"Greater", "family", ">A", "foreign-text@0 \">A\""},
    {"Exclamation", "sku", "!!A", "foreign-text@1 \"!A\""},
    {"DotStarInFamily", "family", "FA.*", "wildcard@0 \"FA.*\""},
    {"DotStarInSku", "sku", "*.*A", "literal-star@0 \"*.*A\"; wildcard@0 \"*.*A\""},
    {"DotStarInMaker", "mfr", "A.*", ""},
    {"AnchoredModel", "model", "^A", "wildcard@0 \"^A\""},
    {"AnchoredSku", "sku", "A$", "wildcard@0 \"A$\""},
    {"DollarInside", "model", "A$B", ""},
    {"PercentFirst", "mfr", "%A", "wildcard@0 \"%A\""},
    {"PercentLast", "family", "A%", "wildcard@0 \"A%\""},
    {"QuestionMarkInMaker", "mfr", "Fabrik?m", "wildcard@0 \"Fabrik?m\""},
    {"Brackets", "sku", "F[12]4", "wildcard@0 \"F[12]4\""},
    {"BracketsTheOtherWayRound", "sku", "F]12[4", ""},
    {"BracketsOfAMaker", "mfr", "F[ab]", "wildcard@0 \"F[ab]\""},
    {"DescriptionWithQuestionMark", "os_description", "A?", ""},
    {"CompanyFirst", "mfr", "Inc.,Contoso", ""},
    {"CompanySecond", "mfr", "Contoso,Inc.", "comma-in-name@8 \"Inc.\""},
    {"CompanyModel", "model", "Contoso,Inc.", ""},
    {"CompanyWithBlanks", "mfr", "Contoso, G m b H ", "comma-in-name@9 \"G m b H\""},
    {"CompanyWithStar", "mfr", "Contoso,LLC*", "comma-in-name@8 \"LLC*\""},
    {"CompanyNegated", "mfr", "Contoso,!AG", "superfluous@8 \"!AG\" (with \"Contoso\")"},
    // Hardware.
    {"UsbVid", "hardware_id", "VID_1050", "hardware-id-bus@0 \"VID_1050\" -> \"USB\\VID_1050\""},
    {"UsbPid", "hardware_id", "A,pid_0407*",
     "hardware-id-bus@2 \"pid_0407\" -> \"A,USB\\pid_0407*\""},
    {"PciVen", "hardware_id", "Ven_8086", "hardware-id-bus@0 \"Ven_8086\" -> \"PCI\\Ven_8086\""},
    {"PciDev", "hardware_id", "dev_7d45*", "hardware-id-bus@0 \"dev_7d45\" -> \"PCI\\dev_7d45*\""},
    {"PartsWithoutBus", "hardware_id", "A&B", "hardware-id-bus@0 \"A&B\""},
    {"EndWithoutBus", "hardware_id", "*VEN_8086", ""},
    {"MiddleWithoutBus", "hardware_id", "*VEN_8086*", ""},
    {"WithBackslash", "hardware_id", "VEN_8086\\A", ""},
    {"WithSlash", "hardware_id", "VEN_8086/A", ""},
    {"OtherWithoutBus", "hardware_id", "GenDisk", ""},
    // Tags of the product.
    {"TagWithThreeLettersOfTheLastWord", "tag", "Device.Usage.IsM",
     "tag-unknown@0 \"Device.Usage.IsM\" (did you mean \"Device.Usage.IsManagedDevice\"?) -> "
     "\"Device.Usage.IsManagedDevice\""},
    {"TagWithTwoLettersOfTheLastWord", "tag", "Device.Usage.Is", ""},
    {"TagWithoutTheLastLetters", "tag", "User.Usage.Detected.School|Windows",
     "tag-unknown@0 \"User.Usage.Detected.School\" (did you mean "
     "\"User.Usage.Detected.SchoolWork\"?) -> \"User.Usage.Detected.SchoolWork|Windows\""},
    {"TagPartOfAWordAlone", "tag", "DaysSin", ""},
    {"TagSlipOfAnEarlierWord", "tag", "Devices.Usages.IsManagedDevice",
     "tag-unknown@0 \"Devices.Usages.IsManagedDevice\" (did you mean "
     "\"Device.Usage.IsManagedDevice\"?) -> \"Device.Usage.IsManagedDevice\""},
    {"TagSlipNegatedWithValue", "tag", "!Device.Usage.IsManagedDevise|true",
     "negated-key@0 \"!Device.Usage.IsManagedDevise\"; tag-unknown@0 "
     "\"!Device.Usage.IsManagedDevise\" (did you mean \"Device.Usage.IsManagedDevice\"?) -> "
     "\"!Device.Usage.IsManagedDevice|true\""},
    {"TagSlipNegatedAlone", "tag", "!OobeDat",
     "tag-unknown@0 \"!OobeDat\" (did you mean \"OobeDate\"?) -> \"!OobeDate\""},
    {"TagSlipAsBeginning", "tag", "Device.Usage.IsManagedDevise*", ""},
    {"TagValueFalse", "tag", "Device.Usage.IsManagedDevice|FALSE", ""},
    {"TagValueEverything", "tag", "Device.Usage.IsManagedDevice|*", ""},
    {"TagValueEmpty", "tag", "Device.Usage.IsManagedDevice|", ""},
    {"TagValueNegated", "tag", "User.Usage.Detected.Gaming|!Windows", ""},
    {"TagValueNegatedWrong", "tag", "User.Usage.Detected.Gaming|!Linux",
     "tag-value@27 \"!Linux\" (it has Windows)"},
    {"TagValueBeginning", "tag", "Device.Usage.IsManagedDevice|t*", ""},
    {"TagValueWrong", "tag", "Device.Usage.IsManagedDevice|yes",
     "tag-value@29 \"yes\" (it has true,false)"},
    {"TagValueWhereNone", "tag", "Device.Hardware.Gpu.Exists|x",
     "tag-value@27 \"x\" (it has none)"},
    {"TagValueVersion", "tag", "Device.Usage.IsManagedDevice|>=1.0",
     "tag-value@29 \">=1.0\" (it has true,false)"},
    {"TagValueOpen", "tag", "OobeDate|x", ""},
    {"ItemWithTheNameOfATag", "installed_items", "Device.Usage.IsManagedDevise", ""},
    // Separators of terms.
    {"LessInKey", "tag", "Ring <5", "comparison-in-key@0 \"Ring <5\" -> \"Ring|<5\""},
    {"GreaterInKeyOfItem", "installed_items", "Editor>=7",
     "comparison-in-key@0 \"Editor>=7\" -> \"Editor|>=7\""},
    {"EqualInKey", "tag", "Ring=beta", "tag-separator@0 \"Ring=beta\" -> \"Ring|beta\""},
    {"ColonsInKey", "tag", "Ring := beta", "tag-separator@0 \"Ring := beta\" -> \"Ring|beta\""},
    {"ColonAtTheEnd", "tag", "Ring:", "tag-separator@0 \"Ring:\""},
    {"ColonOfItem", "installed_items", "vim:9=1", ""},
    {"EqualOfItem", "installed_items", "vim=9:1", "comparison-in-key@0 \"vim=9:1\""},
    {"NegatedKeyAndValue", "tag", "!Ring|beta", "negated-key@0 \"!Ring\""},
    {"NegatedItemAndValue", "installed_items", "!Editor|>=7.0", "negated-key@0 \"!Editor\""},
    {"ThirdPiece", "tag", "Ring|beta|x", "extra-pieces@9 \"|x\""},
    {"ThirdPieceOfVersion", "tag", "Ring|>1.0|x", "extra-pieces@9 \"|x\""},
    {"ThirdPieceEmpty", "tag", "Ring|beta|", "extra-pieces@9 \"|\""},
    {"ValueFromOn", "tag", "A|7.0+", "foreign-text@2 \"7.0+\" -> \"A|>=7.0\""},
    {"ValueFromOnOfItem", "installed_items", "A|7+", "foreign-text@2 \"7+\" -> \"A|>=7\""},
    {"ValueOfPlusAlone", "tag", "A|+", ""},
    {"ValueOfLettersAndPlus", "tag", "A|7x+", ""},
    {"ValueNegatedFromOn", "tag", "A|!7+", "foreign-text@3 \"7+\""},
    {"ValueEndingWithFromOn", "tag", "A|*7+", "foreign-text@3 \"7+\""},
    {"ValueBeginningWithFromOn", "tag", "A|7+*", "foreign-text@2 \"7+\""},
    {"ValueQuoted", "tag", "A|\"b\"", "foreign-text@2 \"\"b\"\" -> \"A|b\""},
    {"ValueUnreadable", "tag", "A|>b", "number-unreadable@2 \">b\""},
    {"VersionValueUnreadable", "tag", "A|>=.", "version-unreadable@2 \">=.\""},
    {"VersionValueWithLetters", "tag", "A|>=v1.0", "version-letters@2 \">=v1.0\""},
    {"NumberWithUnit", "tag", "A|<=16GB", "number-cut@4 \"16GB\""},
    // Registry.
    {"RegistryBlankBefore", "registry", " HKLM\\A:B|", "registry-blank@0 \" HKLM\\A:B\""},
    {"RegistryBlankAfterPath", "registry", "HKLM\\A :B|", "registry-blank@0 \"HKLM\\A :B\""},
    {"RegistryBlankAfterSeparator", "registry", "HKLM\\ A:B|", "registry-blank@0 \"HKLM\\ A:B\""},
    {"RegistryBlankBeforeSeparator", "registry", "HKLM \\A:B|",
     "registry-blank@0 \"HKLM \\A:B\"; registry-hive@0 \"HKLM \\A\""},
    {"RegistryBlankBesideSlash", "registry", "HKLM/A/ B:C|", "registry-blank@0 \"HKLM/A/ B:C\""},
    {"RegistryBlankBeforeName", "registry", "HKLM\\A: B|x", "registry-blank@0 \"HKLM\\A: B\""},
    {"RegistryBlankAfterName", "registry", "HKLM\\A:B |x", "registry-blank@0 \"HKLM\\A:B \""},
    {"RegistryBlankInside", "registry", "HKLM\\A B\\C D:E F|x y", ""},
    {"RegistryMixed", "registry", "HKLM\\A/B:C|", "registry-separators@0 \"HKLM\\A/B\""},
    {"RegistryOtherHive", "registry", "HKCR\\A:B|", "registry-hive@0 \"HKCR\\A\""},
    {"RegistryDoubled", "registry", "HKLM\\A\\\\B:C|", "registry-separators@0 \"HKLM\\A\\\\B\""},
    {"RegistryEaten", "registry", "HKLM\\MKey:C|",
     "registry-eaten@0 \"HKLM\\MKey\" (looked up as \"ey\")"},
    {"RegistryEatenWithMore", "registry", "HKCU\\\\U\\A:C|",
     "registry-eaten@0 \"HKCU\\\\U\\A\" (looked up as \"A\")"},
    {"RegistryLess", "registry", "HKLM\\A:B|<5", "registry-number@9 \"<5\""},
    {"RegistryGreater", "registry", "HKLM\\A:B| >5 ", "registry-number@9 \" >5 \""},
    {"RegistryHex", "registry", "HKLM\\A:B|0X1F", "registry-number@9 \"0X1F\""},
    {"RegistryDword", "registry", "HKLM\\A:B|DWORD:1", "registry-number@9 \"DWORD:1\""},
    {"RegistryType", "registry", "HKLM\\A:B|REG_SZ x", "registry-number@9 \"REG_SZ x\""},
    {"RegistryHexInside", "registry", "HKLM\\A:B|10x1", ""},
    {"RegistryDataOfBlanks", "registry", "HKLM\\A:B|  ", ""},
    {"RegistryDataInnerStar", "registry", "HKLM\\A:B|a*b", "inner-star@9 \"a*b\""},
    {"RegistryDataOfNothing", "registry", "HKLM\\A:B|!*", "never-holds@9 \"!*\""},
    {"RegistryTwo", "registry", "HKLM\\A:B|x,HKLM\\A", "malformed@11 \"HKLM\\A\""},
    {"RegistryNumberNegated", "registry", "HKLM\\A:B|!0x1", ""},
    // Typography.
    {"SurrogatesFirst", "mfr", "\U00010000\u200b",
     "typography@0 \"\U00010000\u200b\" -> \"\U00010000\""},
    {"SurrogatesLast", "mfr", "\U0010ffff\u200b",
     "typography@0 \"\U0010ffff\u200b\" -> \"\U0010ffff\""},
    {"DashOfAModel", "model", "A\u20131", "typography@0 \"A\u20131\" -> \"A-1\""},
    {"DashOfADescription", "os_description", "A\u20131", ""},
    {"QuotesOfASku", "sku", "\u2018A\u2019 \u201cB\u201d",
     "typography@0 \"\u2018A\u2019 \u201cB\u201d\" -> \"'A' \"B\"\""},
    {"SpaceOfAFamily", "family", "A\u00a01", "typography@0 \"A\u00a01\" -> \"A 1\""},
    {"SpaceOfAMaker", "mfr", "A\u20141,B\u20151",
     "typography@0 \"A\u20141\" -> \"A-1,B\u20151\"; typography@4 \"B\u20151\" -> "
     "\"A\u20141,B-1\""},
    {"SpaceOfAnItem", "installed_items", "A\u00a01", "typography@0 \"A\u00a01\" -> \"A 1\""},
    {"HyphenOfAnItem", "installed_items", "A\u20101", ""},
    {"TypographyInSecond", "tag", "A,B\u200b|x", "typography@2 \"B\u200b|x\" -> \"A,B|x\""},
    {"TypographyOfAVersion", "version", ">=\u200b1.0",
     "version-letters@0 \">=\u200b1.0\"; typography@0 \">=\u200b1.0\" -> \">=1.0\""},
    {"OrdinaryLetters", "mfr", "Gr\u00f6\u00dfe,\u2603", ""},
};

INSTANTIATE_TEST_SUITE_P(Rows, LintedCriterion, testing::ValuesIn(kCriterionRows),
                         yox_test::RowName());

// `count` blank alternatives after a good one.
std::vector<LintFinding> FindingsInBlanks(std::size_t count) {
  WString text = "A"_w;
  for (std::size_t i = 0; i < count; ++i) text += ","_w;
  return FindingsIn(FilterField::mfr, text);
}

TEST(LintCriterion, OfOneCriterionAHundredFindingsAreKept) {
  const auto all = FindingsInBlanks(100);
  ASSERT_EQ(all.size(), 100U);
  EXPECT_EQ(all.back().detail, "");
  const auto most = FindingsInBlanks(101);
  ASSERT_EQ(most.size(), 100U);
  EXPECT_EQ(most[98].detail, "");
  EXPECT_EQ(most.back().detail, "the text is not checked after this");
}

TEST(LintCriterion, TheLastFindingKeepsItsDetailWhenMoreAreLeftOut) {
  WString text;
  for (int i = 0; i < 100; ++i) text += "USA,"_w;
  const auto findings = FindingsIn(FilterField::country, text + "US"_w);
  ASSERT_EQ(findings.size(), 100U);
  EXPECT_EQ(findings.back().detail, "did you mean \"US\"?; the text is not checked after this");
}

// Each character that looks like another, or like none, in a model, and what it is replaced by.
TEST(LintCriterion, TypographyIsReplacedByWhatItLooksLike) {
  const auto plain_of = [](int unit) {
    WString text = "A"_w;
    text += static_cast<WChar>(unit);
    text += "B"_w;
    const auto findings = FindingsIn(FilterField::model, text);
    if (findings.empty() || findings[0].rule != LintRule::kTypography) return std::string("none");
    const std::string& fixed = findings[0].fix->replacement;
    return fixed.substr(1, fixed.size() - 2);
  };
  const auto all = [&](int first, int last, const char* plain) {
    for (int unit = first; unit <= last; ++unit) EXPECT_EQ(plain_of(unit), plain) << unit;
  };
  all(0xA0, 0xA0, " ");
  all(0xAD, 0xAD, "");
  all(0x200B, 0x200B, "");
  all(0x200E, 0x200F, "");
  all(0x2010, 0x2015, "-");
  all(0x2016, 0x2017, "none");
  all(0x2018, 0x201B, "'");
  all(0x201C, 0x201F, "\"");
  all(0x2020, 0x2026, "none");
  all(0x202A, 0x202E, "");
  all(0x202F, 0x202F, " ");
  all(0x2030, 0x203F, "none");
  all(0x2060, 0x2064, "");
  all(0xFEFF, 0xFEFF, "");
}

// A document's escapes can name half a pair.
TEST(LintCriterion, ALoneLowSurrogateDoesNotHideTheNextCharacter) {
  WString text = "A"_w;
  text += static_cast<WChar>(0xDC00);
  text += static_cast<WChar>(0x200B);
  const auto findings = FindingsIn(FilterField::mfr, text);
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings[0].rule, LintRule::kTypography);
}

}  // namespace
}  // namespace yox::decision
