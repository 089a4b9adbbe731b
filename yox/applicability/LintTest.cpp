#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "yox/applicability/TestEvaluator.h"
#include "yox/base/String.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/FleetLint.h"
#include "yox/decision/Lint.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/decision/TestMoments.h"
#include "yox/decision/Vocabulary.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/support/Generators.h"
#include "tests/support/Rows.h"
#include "tests/support/SchemaPaths.h"
#include "tests/support/TestRecord.h"

using yox::decision::FilterField;
using yox::decision::kFilterFieldCount;
using yox::decision::kFilterFieldNames;
using yox::decision::kLintRules;
using yox::decision::Lint;
using yox::decision::LintDocument;
using yox::decision::LintFinding;
using yox::decision::LintRule;
using yox::decision::LintRuleRow;
using yox::decision::LintSeverity;
using yox::decision::MessageOf;
using yox::decision::RowOf;
using yox::decision::WriteFilterDocument;

namespace yox_test {
namespace {

using YOX::String;
using yox::WString;
using namespace yox::literals;

// "rule excerpt" of each finding, with a comma between them.
std::string Named(const std::vector<LintFinding>& findings) {
  std::string names;
  for (const LintFinding& finding : findings) {
    if (!names.empty()) names += ", ";
    names += RowOf(finding.rule).id;
    if (finding.field) names += " \"" + finding.excerpt + "\"";
  }
  return names;
}

// What is found in a filter of one text, in a list that is in order otherwise.
struct LintedTextRow {
  const char* name;
  const char* field;
  const char* text;
  const char* found;
};

class LintedText : public testing::TestWithParam<LintedTextRow> {};

std::vector<LintFinding> FindingsIn(const LintedTextRow& row) {
  const auto* const field = std::ranges::find(kFilterFieldNames, std::string_view(row.field));
  ApplicabilityFilter::List list(3);
  list[0].set_country("AQ"_w);
  list[1].set_country("BV"_w);
  list[1].set_value("false"_w);
  list[2].Set(static_cast<FilterField>(field - std::begin(kFilterFieldNames)),
              String::UTF8ToUTF16(row.text));
  return Lint(ApplicabilityFilter(list), kToday);
}

TEST_P(LintedText, HasWhatIsToldAndNothingElse) {
  EXPECT_EQ(Named(FindingsIn(GetParam())), GetParam().found);
}

// After each row that a rule finds, a similar one that is in order.
const LintedTextRow kTextRows[] = {
    {"DefaultNoWord", "default", "yes", "control-word \"yes\""},
    {"DefaultTrue", "default", "TRUE", ""},
    {"DefaultBlank", "default", "true ", "control-word \"true \""},
    {"ValueNoWord", "value", "no", "control-word \"no\""},
    {"ValueFalse", "value", "False", ""},
    {"BlankAlone", "country", " \t", "blank-text \" \t\""},
    {"BlankAround", "country", " US ", ""},
    {"BlankBehindNegation", "country", "! US", "white-space \"! US\", always-holds \"! US\""},
    {"Negation", "country", "!US", ""},
    {"BlankBeforeStar", "family", "Falcon *", "white-space \"Falcon *\""},
    {"Star", "family", "Falcon*", ""},
    {"BlankBehindStar", "family", "* 14", "white-space \"* 14\""},
    {"StarBefore", "family", "*14", ""},
    {"InnerStar", "model", "FA*10", "inner-star \"FA*10\""},
    {"NegatedInnerStar", "model", "!FA*10", "inner-star \"!FA*10\""},
    {"StarsAtBothEnds", "model", "*A1*", ""},
    {"LiteralStar", "model", "*A*10", "literal-star \"*A*10\""},
    {"ManyStarsAtOneEnd", "model", "**A10", ""},
    {"EmptyAlternative", "country", "US,,CA", "empty-alternative \"\""},
    {"EmptyLastAlternative", "country", "US,", "empty-alternative \"\""},
    {"Alternatives", "country", "US,CA", ""},
    {"EmptyHardwareId", "hardware_id", "PCI\\VEN_8086, ", "empty-alternative \" \""},
    {"HardwareIds", "hardware_id", "PCI\\VEN_8086*,USB\\*", ""},
    {"EmptyTerm", "tag", "Ring|beta,", "empty-alternative \"\""},
    {"EmptyKey", "tag", "|beta", "empty-alternative \"\""},
    {"NoKey", "tag", "!", "empty-alternative \"!\""},
    {"AnyTag", "tag", "*", ""},
    {"NegatedAlternatives", "country", "!US,!CA", "covering-alternatives \"!CA\""},
    {"OneNegated", "country", "!US,CA", "superfluous \"CA\""},
    {"NegatedAndItsPart", "model", "FA14*,!FA14-2210", "covering-alternatives \"!FA14-2210\""},
    {"NegatedAndOther", "model", "FA16*,!FA14-2210", "superfluous \"!FA14-2210\""},
    {"NegatedBeginnings", "model", "!FA14*,!FA16*", "covering-alternatives \"!FA16*\""},
    {"NegatedNested", "model", "!FA14*,!FA14-2*", "superfluous \"!FA14-2*\""},
    {"NegatedEnds", "model", "!*10,!*00", "covering-alternatives \"!*00\""},
    {"NegatedEndInOther", "model", "!*210,!*10", "superfluous \"!*10\""},
    {"NegatedVersions", "os_version", "!10.0,!10.1", "covering-alternatives \"!10.1\""},
    {"NegatedVersion", "os_version", "!10.0", ""},
    {"VersionsFromAndTo", "os_version", ">=10.0,<11.0", "covering-alternatives \"<11.0\""},
    {"VersionsBelowAndAbove", "os_version", "<10.0,>=11.0", ""},
    {"VersionsTouching", "version", "<2.0,>=2.0", "covering-alternatives \">=2.0\""},
    {"VersionsWithoutOne", "version", "<2.0,>2.0", ""},
    {"InstalledOrNot", "installed_items", "Editor,!editor", "covering-alternatives \"!editor\""},
    {"InstalledAndOther", "installed_items", "Editor,!Viewer", ""},
    {"Twice", "country", "US,CA,us", "superfluous \"us\""},
    {"PartOfAPattern", "model", "FA14,FA*", "superfluous \"FA*\""},
    {"OverlappingPatterns", "model", "FA*,*14", ""},
    {"TwoVersionsFrom", "os_version", ">=10.0.19041,>=10.0.22000", "superfluous \">=10.0.22000\""},
    {"TagTwice", "tag", "Ring|beta,Ring", "superfluous \"Ring\""},
    {"TagsOfOneBeginning", "tag", "Ring|b*,Ring|*a", ""},
    {"ItemTwice", "installed_items", "Editor|>=7.0,Editor|>=8.0", "superfluous \"Editor|>=8.0\""},
    {"OneLetter", "model", "FA1?", "wildcard \"FA1?\""},
    {"Expression", "model", "FA.*", "wildcard \"FA.*\""},
    {"DotOfAName", "mfr", "Contoso Ltd.*", ""},
    {"RolloutOverForDays", "date_function", "2026-01-29|1|linear", ""},
    {"RolloutOverForLong", "date_function", "2026-01-28|1|linear",
     "rollout-over \"2026-01-28|1|linear\""},
    {"HardwareIdWithSlash", "hardware_id", "PCI/VEN_8086&DEV_7D45", ""},
    {"EqualSign", "mfr", "=Contoso", "foreign-text \"=Contoso\""},
    {"Unequal", "mfr", "!=Contoso", "foreign-text \"=Contoso\""},
    {"UnequalOfQueries", "model", "<>A", "foreign-text \"<>A\""},
    {"TwoNegations", "os_description", "!!A", "foreign-text \"!A\""},
    {"NegatedInWords", "mfr", "NOT Contoso", "foreign-text \"NOT Contoso\""},
    {"NoWordOfNegation", "mfr", "Not,Nothing,not", "superfluous \"not\""},
    {"QuotationMarks", "family", "'A 1',B", "foreign-text \"'A 1'\""},
    {"QuotationMarksWithin", "family", "14\" A,\",''", ""},
    {"SignsWithin", "model", "A=1,B<2,C!", ""},
    {"ValueWithEqualSign", "tag", "A|==b", "foreign-text \"==b\""},
    {"ValueFromOn", "tag", "A|7.0+", "foreign-text \"7.0+\""},
    {"ValuesWithPlus", "tag", "A|C++,B|x7+,C|+", ""},
    {"Thousands", "tag", "A|>5,000", "number-cut \"000\""},
    {"NoThousands", "tag", "A|>5,B,001,A|<9,0001", ""},
    {"TagOfTheProductWithASlip", "tag", "Device.Usage.IsManagedDevise|true",
     "tag-unknown \"Device.Usage.IsManagedDevise\""},
    {"TagOfTheProductWithTwoMoreLetters", "tag", "DaysSinceOobeee",
     "tag-unknown \"DaysSinceOobeee\""},
    {"TagOfTheProductWithThreeMoreLetters", "tag", "DaysSinceOobeeee", ""},
    {"TagOfTheProductWithTwoFewerLetters", "tag", "DaysSinceOo", "tag-unknown \"DaysSinceOo\""},
    {"TagOfTheProductWithThreeFewerLetters", "tag", "DaysSinceO", ""},
    {"NegatedTagOfTheProductWithASlip", "tag", "!Device.Hardware.Gpu.Exist",
     "tag-unknown \"!Device.Hardware.Gpu.Exist\""},
    {"TagsOfOthers", "tag",
     "Team.Usage.IsManaged|1,Device.Ring|beta,Days,Device.Hardware.Dock,Device.Usage.Is", ""},
    {"TagsOfTheProduct", "tag",
     "device.usage.ismanageddevice|!TRUE,User.Usage.Detected.Gaming|Win*,DaysSinceOobe|>30,"
     "Device.Hardware.Npu.mfr|x",
     ""},
    {"ValueThatATagNeverHas", "tag", "Device.Usage.IsManagedDevice|!yes", "tag-value \"!yes\""},
    {"NumberThatATagNeverHas", "tag", "Device.Usage.IsManagedDevice|>=1", "tag-value \">=1\""},
    {"ValueOfATagWithout", "tag", "Device.Hardware.Gpu.Exists|true", "tag-value \"true\""},
    {"DashOfAWordProcessor", "model",
     "A\u2013"
     "1",
     "typography \"A\u2013"
     "1\""},
    {"DashInAName", "installed_items", "A \u2013 1", ""},
    {"NoBreakSpace", "installed_items",
     "A\u00a0"
     "1|>2",
     "typography \"A\u00a0"
     "1|>2\""},
    {"LettersOutsideThePlane", "mfr", "\U0001F600\u200b", "typography \"\U0001F600\u200b\""},
    {"Anchored", "mfr", "^Contoso", "wildcard \"^Contoso\""},
    {"AnchoredAtTheEnd", "family", "Falcon$", "wildcard \"Falcon$\""},
    {"Percent", "model", "FA%", "wildcard \"FA%\""},
    {"PercentInside", "model", "FA%14", ""},
    {"Letters", "sku", "F[12]4", "wildcard \"F[12]4\""},
    {"OpenBracket", "sku", "F[14", ""},
    {"FormOfCompany", "mfr", "Contoso, Inc.", "comma-in-name \"Inc.\""},
    {"TwoFormsOfCompany", "mfr", "Contoso,Co. Ltd.*", "comma-in-name \"Co. Ltd.*\""},
    {"OtherCompany", "mfr", "Contoso,Incubus", ""},
    {"ModelsWithABar", "model", "FA14|FA15", "separator \"FA14|FA15\""},
    {"MakersWithSemicolons", "mfr", "Contoso;Fabrikam", "separator \"Contoso;Fabrikam\""},
    {"YearOfTwoDigits", "date_range", "26-03-01|*", "date-year \"26-03-01\""},
    {"FirstYear", "date_range", "1900-01-01|2026-12-31", ""},
    {"YearOfTwoDigitsOfARollout", "date_function", "26-03-01|14|linear",
     "date-year \"26-03-01\", rollout-over \"26-03-01|14|linear\""},
    {"DataInHexadecimal", "registry", "HKLM\\A:B|0x1", "registry-number \"0x1\""},
    {"DataWithItsType", "registry", "HKLM\\A:B|REG_DWORD 1", "registry-number \"REG_DWORD 1\""},
    {"EveryText", "mfr", "*", "always-holds \"*\""},
    {"AnySubscription", "device_subscription", "*", ""},
    {"EveryVersion", "version", ">=0.0", "always-holds \">=0.0\""},
    {"EveryLaterVersion", "version", ">=0.0.0", ""},
    {"EveryDay", "date_range", "*|*", "always-holds \"*|*\""},
    {"NoText", "mfr", "!*", "never-holds \"!*\""},
    {"NotEmpty", "mfr", "!", ""},
    {"NoSku", "sku", "!*", "only-without-firmware \"!*\""},
    {"NoSkuOrOne", "sku", "!*,F14", "never-holds \"!*\""},
    {"OneSku", "sku", "F14", ""},
    {"CountryOfThreeLetters", "country", "USA", "country-unknown \"USA\""},
    {"CountryByItsName", "country", "new zealand", "country-unknown \"new zealand\""},
    {"KingdomsTwoLetters", "country", "!UK", "country-unknown \"UK\""},
    {"NoCountrysBeginning", "country", "USA*", "country-unknown \"USA\""},
    {"CountryOfTwoLetters", "country", "gb,US,XK", ""},
    {"CountriesBySemicolon", "country", "US;CA", "separator \"US;CA\""},
    {"CountriesByBar", "country", "US|CA", "separator \"US|CA\""},
    {"CountriesByBlank", "country", "US CA", "separator \"US CA\""},
    {"CountriesBeginning", "country", "G*", ""},
    {"LanguageByItsName", "language", "english", "language-unknown \"english\""},
    {"LanguageByUnderscore", "language", "en_US", "language-unknown \"en_US\""},
    {"LanguagesBeginningByUnderscore", "language", "en_*", "language-unknown \"en_\""},
    {"LanguageOfThreeLetters", "language", "eng", "language-unknown \"eng\""},
    {"LanguageOfNoCountry", "language", "en-UK", "language-unknown \"en-UK\""},
    {"LanguagesByBar", "language", "en-US|de-DE", "separator \"en-US|de-DE\""},
    {"LanguageAlone", "language", "en", "language-bare \"en\""},
    {"LanguageOfAllRegions", "language", "en*,zh-Hans-CN,es-419,fil-PH", ""},
    {"NoEnclosure", "enclosure", "Notbook", "enclosure-unknown \"Notbook\""},
    {"EnclosuresByBar", "enclosure", "Notebook|Laptop", "separator \"Notebook|Laptop\""},
    {"NoEnclosuresBeginning", "enclosure", "Net*", "enclosure-unknown \"Net\""},
    {"Enclosures", "enclosure", "laptop,All in One,*Notebook", ""},
    {"EnclosuresAndAllButOne", "enclosure", "laptop,!All in One", "superfluous \"!All in One\""},
    {"SubscriptionByName", "device_subscription", "Contoso", "subscription-form \"Contoso\""},
    {"SubscriptionOfGuid", "device_subscription",
     "1b4e28ba-2fa1-11d2-883f-0016d3cca427,{1B4E28BA-2FA1-11D2-883F-0016D3CCA427}", ""},
    {"HardwareIdWithoutBus", "hardware_id", "VEN_8086&DEV_7D45",
     "hardware-id-bus \"VEN_8086&DEV_7D45\""},
    {"HardwareIdsBeginningWithoutBus", "hardware_id", "VID_1050*", "hardware-id-bus \"VID_1050\""},
    {"HardwareIdOfGenericDisk", "hardware_id", "GenDisk,*VEN_8086*,pci/ven_8086*", ""},
    {"TagByColon", "tag", "Ring:beta", "tag-separator \"Ring:beta\""},
    {"TagByEqualSign", "tag", "Ring = beta", "tag-separator \"Ring = beta\""},
    {"ArchitectureOfPackage", "installed_items", "vim:amd64", ""},
    {"ItemByEqualSign", "installed_items", "vim=9", "comparison-in-key \"vim=9\""},
    {"RolloutOverLongAgo", "date_function", "2025-12-01|28|linear",
     "rollout-over \"2025-12-01|28|linear\""},
    {"RolloutOverForAMonth", "date_function", "2026-01-02|28|linear", ""},
    {"OtherSystem", "os", "Linux", "never-holds \"Linux\""},
    {"TheSystem", "os", "windows", ""},
    {"NotTheSystem", "os", "!Win*", "never-holds \"!Win*\""},
    {"OtherBitness", "os_bitness", "x64", "never-holds \"x64\""},
    {"Bitness", "os_bitness", "64,ARM64", ""},
    {"ShortHash", "sn_hash", "c0ffee", "never-holds \"c0ffee\""},
    {"BeginningOfHash", "sn_hash", "c0ffee*", ""},
    {"NoHash", "org_hash", "xyz*", "never-holds \"xyz*\""},
    {"VersionBelowAll", "version", "<0.0", "never-holds \"<0.0\""},
    {"VersionsBelowOne", "version", "<0.1", ""},
    {"VersionOfOneNumber", "version", ">=10", "version-unreadable \">=10\""},
    {"VersionOfTwoNumbers", "version", ">=10.0", ""},
    {"EmptyVersion", "version", "1.0,", "version-unreadable \"\""},
    {"VersionOutOfRange", "version", ">=99999999999.1", "version-unreadable \">=99999999999.1\""},
    {"VersionWithLetters", "version", ">=1.2.3-beta2", "version-letters \">=1.2.3-beta2\""},
    {"VersionWithoutLetters", "version", ">= 1.2.3", ""},
    {"EqualSignBeforeVersion", "version", "=1.2", "version-text \"=1.2\""},
    {"EqualSignsBeforeVersion", "os_version", "==4.2", "version-text \"==4.2\""},
    {"OperatorTheOtherWayRound", "os_version", "=>4.2", "version-text \"=>4.2\""},
    {"LetterBeforeVersion", "target_version", "v4.2", "version-text \"v4.2\""},
    {"StarAfterVersion", "version", "4.2*", "version-text \"4.2*\""},
    {"BlankInsidePlainVersion", "version", "4. 2", "version-text \"4. 2\""},
    {"LetterAfterOperator", "version", ">=v4.2", "version-letters \">=v4.2\""},
    {"DoubledOperator", "version", ">==4.2", "version-letters \">==4.2\""},
    {"TargetVersionOfAnyKind", "target_version", "<2.0,>=2.0", ""},
    {"EveryTargetVersion", "target_version", ">=0.0", ""},
    {"NoNumber", "tag", "Ring|<", "number-unreadable \"<\""},
    {"Number", "tag", "Ring|<5", ""},
    {"WordForNumber", "tag", "Ring|>beta", "number-unreadable \">beta\""},
    {"NumberOutOfRange", "tag", "Ring|>99999999999", "number-unreadable \">99999999999\""},
    {"VersionTerm", "tag", "Ring|>=1.x", "version-unreadable \">=1.x\""},
    {"GoodVersionTerm", "tag", "Ring|>=1.0", ""},
    {"NumberWithUnit", "tag", "Memory|>=16GB", "number-cut \"16GB\""},
    {"NegativeNumber", "tag", "Memory|>-16", ""},
    {"ComparisonInKey", "tag", "Ring>=5", "comparison-in-key \"Ring>=5\""},
    {"ComparisonBehindBar", "tag", "Ring|>=5", ""},
    {"NegatedKeyWithValue", "tag", "!Ring|beta", "negated-key \"!Ring\""},
    {"NegatedKey", "tag", "!Ring", ""},
    {"NegatedValue", "tag", "Ring|!beta", ""},
    {"FurtherPieceOfTerm", "tag", "Ring|beta|gamma", "extra-pieces \"|gamma\""},
    {"KeyAndBar", "tag", "Ring|", ""},
    {"ContradictingNumbers", "tag", "Ring|>5,ring|<=5", "contradicting-terms \"ring|<=5\""},
    {"NumbersThatMeet", "tag", "Ring|>=5,Ring|<=5", ""},
    {"ContradictingVersions", "tag", "App|>=2.0,App|<1.0", "contradicting-terms \"App|<1.0\""},
    {"VersionsThatMeet", "tag", "App|>=1.0,App|<2.0", ""},
    {"ContradictingTexts", "tag", "Ring|beta,Ring|dev", "contradicting-terms \"Ring|dev\""},
    {"TextsThatMeet", "tag", "Ring|beta*,Ring|*2", ""},
    {"ThereAndNot", "tag", "!Ring,Ring|beta", "contradicting-terms \"Ring|beta\""},
    {"OneThereOneNot", "tag", "!Rings,Ring|beta", ""},
    {"EitherInstalled", "installed_items", "App|>=2.0,App|<1.0", ""},
    {"WindowOfOnePiece", "date_range", "2026-03-01", "malformed \"2026-03-01\""},
    {"WindowOfThreePieces", "date_range", "*|*|*", "malformed \"*|*|*\""},
    {"OpenWindow", "date_range", "2026-03-01|*", ""},
    {"NoDate", "date_range", "soon|*", "date-unreadable \"soon\""},
    {"DateOfTwoNumbers", "date_range", "2026-03|*", "date-unreadable \"2026-03\""},
    {"BlankBesideOpenEnd", "date_range", "2026-03-01| *", "date-unreadable \" *\""},
    {"NoSuchMonth", "date_range", "2026-13-01|*", "date-impossible \"2026-13-01\""},
    {"NoSuchDay", "date_range", "*|2027-02-29", "date-impossible \"2027-02-29\""},
    {"LeapDay", "date_range", "*|2028-02-29", ""},
    {"DateWithTime", "date_range", "2026-03-01T12|*", "number-cut \"01T12\""},
    {"DateOfShortNumbers", "date_range", "2026-3-1|*", ""},
    {"WindowThatEndsFirst", "date_range", "2026-05-01|2026-04-30",
     "window-empty "
     "\"2026-05-01|2026-04-30\""},
    {"WindowOfOneDay", "date_range", "2026-05-01|2026-05-01", ""},
    {"WindowThatHasPassed", "date_range", "*|2026-02-28", "window-past \"2026-02-28\""},
    {"WindowThatEndsToday", "date_range", "*|2026-03-01", ""},
    {"RolloutOfTwoPieces", "date_function", "2026-03-01|28", "malformed \"2026-03-01|28\""},
    {"RolloutOfThreePieces", "date_function", "2026-03-01|28|linear", ""},
    {"RolloutWithoutDays", "date_function", "2026-03-01|0|linear", "rollout-days \"0\""},
    {"RolloutOfNegativeDays", "date_function", "2026-03-01|-1|linear", "rollout-days \"-1\""},
    {"RolloutOfOneDay", "date_function", "2026-03-01|1|linear", ""},
    {"DaysAreNoNumber", "date_function", "2026-03-01||linear", "number-unreadable \"\""},
    {"DaysWithUnit", "date_function", "2026-03-01|28d|linear", "number-cut \"28d\""},
    {"UnknownGrowth", "date_function", "2026-03-01|28|exponential",
     "rollout-growth \"exponential\""},
    {"BlankBehindGrowth", "date_function", "2026-03-01|28|linear ", "rollout-growth \"linear \""},
    {"KnownGrowth", "date_function", "2026-03-01|28|EXPONENTIALSLOW", ""},
    {"RolloutFromNoDay", "date_function", "2026-02-30|28|linear", "date-impossible \"2026-02-30\""},
    {"RolloutFromNoDate", "date_function", "now|28|linear", "date-unreadable \"now\""},
    {"UnknownSegment", "date_function", "2026-03-01|28|linear|tenants",
     "rollout-segment \"tenants\""},
    {"KnownSegment", "date_function", "2026-03-01|28|linear|Tenant", ""},
    {"FurtherPieceOfRollout", "date_function", "2026-03-01|28|linear|tenant|x",
     "extra-pieces \"|x\""},
    {"RegistryWithoutName", "registry", "HKLM\\A", "malformed \"HKLM\\A\""},
    {"RegistryWithoutData", "registry", "HKLM\\A:Name", "malformed \"HKLM\\A:Name\""},
    {"RegistryWithEmptyData", "registry", "HKLM\\A:Name|", ""},
    {"EmptyRequirement", "registry", "HKLM\\A:Name|,", "malformed \"\""},
    {"LowerCaseHive", "registry", "hklm\\A:Name|", "registry-hive \"hklm\\A\""},
    {"LongHive", "registry", "HKEY_LOCAL_MACHINE\\A:Name|",
     "registry-hive \"HKEY_LOCAL_MACHINE\\A\""},
    {"HiveAlone", "registry", "HKLM:Name|", "registry-hive \"HKLM\""},
    {"UserHive", "registry", "HKCU/A:Name|", ""},
    {"MixedSeparators", "registry", "HKLM\\A/B:Name|", "registry-separators \"HKLM\\A/B\""},
    {"OneKindOfSeparator", "registry", "HKLM/A/B:Name|", ""},
    {"DoubledSeparator", "registry", "HKLM\\A\\\\B:Name|", "registry-separators \"HKLM\\A\\\\B\""},
    {"DoubledSlash", "registry", "HKLM/A//B:Name|", "registry-separators \"HKLM/A//B\""},
    {"DoubledBehindHive", "registry", "HKLM\\\\A:Name|", ""},
    {"DoubledSlashBehindHive", "registry", "HKLM//A:Name|", ""},
    {"DoubledBehindHiveAndLater", "registry", "HKLM\\\\A\\\\B:Name|",
     "registry-separators \"HKLM\\\\A\\\\B\""},
    {"SeparatorAtTheEnd", "registry", "HKLM\\A\\:Name|", ""},
    {"BlankBehindComma", "registry", "HKLM\\A:Name|, HKLM\\A:Other|",
     "registry-blank \" HKLM\\A:Other\""},
    {"NoBlankBehindComma", "registry", "HKLM\\A:Name|,HKLM\\A:Other|", ""},
    {"BlankAroundName", "registry", "HKLM\\A:Name |x", "registry-blank \"HKLM\\A:Name \""},
    {"BlankBesideSeparator", "registry", "HKLM\\A \\B:Name|",
     "registry-blank \"HKLM\\A \\B:Name\""},
    {"BlankInsideNames", "registry", "HKLM\\A B:My Name| x ", ""},
    {"EatenLetters", "registry", "HKLM\\Machine:Name|", "registry-eaten \"HKLM\\Machine\""},
    {"EatenKey", "registry", "HKLM\\HKLM\\A:Name|", "registry-eaten \"HKLM\\HKLM\\A\""},
    {"OtherLetters", "registry", "HKCU\\Machine:Name|", ""},
    {"NumberOfRegistry", "registry", "HKLM\\A:Level|>5", "registry-number \">5\""},
    {"TextOfRegistry", "registry", "HKLM\\A:Level|5", ""},
    {"InnerStarOfRegistry", "registry", "HKLM\\A:Level|a*b", "inner-star \"a*b\""},
    {"StarOfRegistry", "registry", "HKLM\\A:Level|*", ""},
};

INSTANTIATE_TEST_SUITE_P(Rows, LintedText, testing::ValuesIn(kTextRows), RowName());

// Whole lists; texts with ' for ".
struct ListRow {
  const char* name;
  std::string document;
  const char* found;
};

class LintedList : public testing::TestWithParam<ListRow> {};

// "[filter]:line:column rule (detail)" of each.
std::string Placed(const std::vector<LintFinding>& findings) {
  std::string all;
  for (const LintFinding& finding : findings) {
    if (!all.empty()) all += "; ";
    if (finding.filter) all += "[" + std::to_string(*finding.filter) + "]";
    all += ":" + std::to_string(finding.place.line) + ":" + std::to_string(finding.place.column) +
           " " + std::string(RowOf(finding.rule).id);
    if (!finding.detail.empty()) all += " (" + finding.detail + ")";
  }
  return all;
}

std::string Document(std::string text) {
  std::ranges::replace(text, '\'', '"');
  return text;
}

TEST_P(LintedList, HasWhatIsToldAtItsPlace) {
  EXPECT_EQ(Placed(LintDocument(Document(GetParam().document), kToday)), GetParam().found);
}

const ListRow kListRows[] = {
    {"Good", "[{'country': 'US'},\n {'default': 'false'}]", ""},
    {"Empty", "{'filters':\n []}", ":2:2 constant-list (it always applies)"},
    {"BehindDefault", "[{'country': 'US'}, {'default': 'false'},\n {'country': 'CA'}]",
     "[2]:2:2 unreachable (filter [1] decides for every device)"},
    {"BehindEmptyFilter", "[{'country': 'US', 'value': 'false'}, {},\n {'country': 'CA'}]",
     "[2]:2:2 unreachable (filter [1] decides for every device)"},
    {"BehindAlways", "[{'country': 'US', 'value': 'false'}, {'mfr': '*'}, {'country': 'CA'}]",
     "[1]:1:48 always-holds; [2]:1:53 unreachable (filter [1] decides for every device)"},
    {"BehindTheSame", "[{'country': 'US,CA'}, {'country': 'ca', 'mfr': 'Contoso'}]",
     "[1]:1:24 unreachable (filter [0] takes every device that this one matches)"},
    {"BehindAnother", "[{'country': 'US,CA'}, {'country': 'DE', 'mfr': 'Contoso'}]", ""},
    {"BehindOneWithMore", "[{'country': 'US', 'mfr': 'Contoso'}, {'country': 'US'}]", ""},
    {"BehindWiderText", "[{'model': 'FA*'}, {'model': 'FA14*'}]",
     "[1]:1:20 unreachable (filter [0] takes every device that this one matches)"},
    {"BehindNarrowerText", "[{'model': 'FA14*'}, {'model': 'FA*'}]", ""},
    {"BehindWiderVersion", "[{'version': '>=1.0'}, {'version': '1.2.3,>2.0'}]",
     "[1]:1:24 unreachable (filter [0] takes every device that this one matches)"},
    {"BehindNarrowerVersion", "[{'version': '>1.0'}, {'version': '>=1.0'}]", ""},
    {"BehindWiderDays", "[{'date_range': '2026-03-01|*'}, {'date_range': '2026-03-01|2027-01-01'}]",
     "[1]:1:34 unreachable (filter [0] takes every device that this one matches)"},
    {"BehindNarrowerDays", "[{'date_range': '2026-03-02|*'}, {'date_range': '2026-03-01|*'}]", ""},
    {"BehindFewerTerms", "[{'tag': 'A'}, {'tag': 'B,A|x'}]",
     "[1]:1:16 unreachable (filter [0] takes every device that this one matches)"},
    {"BehindMoreTerms", "[{'tag': 'A,B'}, {'tag': 'A|x'}]", ""},
    {"BehindMoreItems", "[{'installed_items': 'A,B'}, {'installed_items': 'A|>5'}]",
     "[1]:1:30 unreachable (filter [0] takes every device that this one matches)"},
    {"BehindFewerItems", "[{'installed_items': 'A|>5'}, {'installed_items': 'A,B'}]", ""},
    {"BehindTheSameRollout",
     "[{'date_function': '2026-03-01|9|linear'}, {'date_function': '2026-03-01|9|linear'}]",
     "[1]:1:44 unreachable (filter [0] takes every device that this one matches)"},
    {"AlwaysApplies", "[{'country': 'US'}, {'default': 'true'}]",
     ":1:1 constant-list (it always applies)"},
    {"NeverApplies", "[{'country': 'US', 'value': 'false'}]",
     ":1:1 constant-list (it never applies)"},
    {"NeverAppliesForNothingHolds", "[{'version': 'x'}]", "[0]:1:15 version-unreadable"},
    {"TwoThatLeaveNoDevice",
     "[{'country': 'US'}, {'country': '!us', 'value': 'false'}, {'mfr': 'A'}]",
     "[2]:1:59 unreachable (filter [1] takes every device that is left)"},
    {"AlternativesThatLeaveNoDevice",
     "[{'model': 'B1,!B*'}, {'mfr': 'C'}, {'model': 'X,B*', 'value': 'false'}, {'sku': 'D'}]",
     "[3]:1:74 unreachable (filter [2] takes every device that is left)"},
    {"ATermAndItsOpposite", "[{'tag': 'A'}, {'tag': '!a', 'value': 'false'}, {'mfr': 'A'}]",
     "[2]:1:49 unreachable (filter [1] takes every device that is left)"},
    {"TwoThatLeaveNoDeviceAndDefault",
     "[{'country': 'US'}, {'country': '!US', 'value': 'false'}, {'default': 'false'}]", ""},
    {"AnotherCriterionLeavesDevices",
     "[{'country': 'US', 'mfr': 'A'}, {'country': '!US', 'value': 'false'}, {'mfr': 'A'}]", ""},
    {"WithoutSubscriptionsNoneMatches",
     "[{'device_subscription': '11111111-2222-3333-4444-555555555555'}, {'value': 'false', "
     "'device_subscription': '!11111111-2222-3333-4444-555555555555'}, {'mfr': 'A'}]",
     ""},
    {"TermsThatMustAllBeThere", "[{'tag': 'A,B'}, {'tag': '!A', 'value': 'false'}, {'mfr': 'A'}]",
     ""},
    {"AllowedWithoutReason", "[{'country': 'US', 'comment': 'lint: allow unreachable'}]",
     "[0]:1:31 suppression (there is no reason)"},
    {"AllowedAndNotThere", "[{'country': 'US', 'comment': 'lint: allow unreachable: x'}]",
     "[0]:1:31 suppression-unused (unreachable)"},
    {"DefaultAndCriteria", "[{'country': 'US'}, {'country': 'CA', 'default': 'false'}]",
     "[1]:1:21 default-and-criteria"},
    {"DefaultAndValue", "[{'country': 'US'}, {'value': 'true', 'default': 'false'}]",
     "[1]:1:21 default-and-criteria"},
    {"DefaultAndBlank", "[{'country': 'US'}, {'country': ' ', 'default': 'false'}]",
     "[1]:1:34 blank-text"},
    {"RolloutAfterTheWindow",
     "[{'date_range': '2026-03-01|2026-03-31', 'date_function': '2026-04-01|14|linear'}, "
     "{'default': 'false'}]",
     "[0]:1:60 rollout-outside"},
    {"RolloutOnTheLastDay",
     "[{'date_range': '2026-03-01|2026-03-31', 'date_function': '2026-03-31|14|linear'}, "
     "{'default': 'false'}]",
     ""},
    {"DetailsOfRelations", "[{'country': '!US, !CA', 'value': 'false'}, {'country': 'US'}]",
     "[0]:1:20 covering-alternatives (with \"!US\"); "
     "[1]:1:45 unreachable (filter [0] decides for every device)"},
    {"ColumnsBehindEscapes", "[{'model':\n  'Ä\\u00e4\\\\,a*b,c*d'}, {'default': 'false'}]",
     "[0]:2:14 inner-star; [0]:2:18 inner-star; "
     "[1]:2:25 unreachable (filter [0] decides for every device)"},
};

INSTANTIATE_TEST_SUITE_P(Rows, LintedList, testing::ValuesIn(kListRows), RowName());

// What a criterion's text is after the first finding's fix.
struct FixRow {
  const char* name;
  const char* field;
  const char* text;
  const char* fixed;
};

class LintFixes : public testing::TestWithParam<FixRow> {};

TEST_P(LintFixes, GiveATextInWhichNothingIsFound) {
  const FixRow& row = GetParam();
  const auto findings = FindingsIn({row.name, row.field, row.text, ""});
  ASSERT_FALSE(findings.empty());
  ASSERT_TRUE(findings[0].fix);
  const auto& fix = *findings[0].fix;
  WString text = String::UTF8ToUTF16(row.text);
  text.replace(fix.offset, fix.length, String::UTF8ToUTF16(fix.replacement));
  EXPECT_EQ(String::UTF16ToUTF8(text), row.fixed);
  EXPECT_EQ(Named(FindingsIn({row.name, row.field, row.fixed, ""})), "");
}

const FixRow kFixRows[] = {
    {"Operator", "os_version", "1.0, =>4.2", "1.0, >=4.2"},
    {"EqualSigns", "os_version", "==4.2", "4.2"},
    {"Letter", "version", "v4.2", "4.2"},
    {"LessOrEqual", "version", "=<4.2", "<=4.2"},
    {"Country", "country", "!USA", "!US"},
    {"KingdomsTwoLetters", "country", "DE,UK", "DE,GB"},
    {"CountryByItsName", "country", "Germny", "DE"},
    {"Countries", "country", "US; CA", "US,CA"},
    {"Language", "language", "en_US", "en-US"},
    {"LanguageByItsName", "language", "english", "en*"},
    {"LanguageAlone", "language", "en", "en*"},
    {"LanguageOfKingdom", "language", "en-UK", "en-GB"},
    {"Bitness", "os_bitness", "x64", "64"},
    {"Enclosure", "enclosure", "Notbook", "Notebook"},
    {"HardwareId", "hardware_id", "ven_8086&dev_7d45", "PCI\\ven_8086&dev_7d45"},
    {"ModelsWithABar", "model", "FA14|FA15", "FA14,FA15"},
    {"Tag", "tag", "A,Ring: beta", "A,Ring|beta"},
    {"Comparison", "tag", "Ring>=5", "Ring|>=5"},
    {"QuotationMarks", "mfr", "\"A\",B", "A,B"},
    {"EqualSign", "mfr", "!== A", "!A"},
    {"ValueFromOn", "tag", "A|7.0+", "A|>=7.0"},
    {"TagOfTheProduct", "tag", "!Device.Hardware.Gpu.Exist", "!Device.Hardware.Gpu.Exists"},
    {"Typography", "sku", "a\u2013\u201cb\u201d\u00a0\U0001F600\u200b", "a-\"b\" \U0001F600"},
    {"Window", "date_range", "2026-05-01|2026-04-30", "2026-04-30|2026-05-01"},
    {"FirstAlternative", "country", ",US", "US"},
    {"InnerAlternative", "country", "US, ,CA", "US,CA"},
    {"LastAlternative", "country", "US,", "US"},
};

INSTANTIATE_TEST_SUITE_P(Rows, LintFixes, testing::ValuesIn(kFixRows), RowName());

// Each character in a tag and in a model, of which firmware has plain letters alone.
TEST(LintTypography, FindsTheseCharactersAndNoOther) {
  const auto found = [](const char* field) {
    std::string text;
    for (std::uint32_t unit = 0x80; unit <= 0xFFFF; ++unit) {
      if (unit == 0x100) unit = 0x1FF0;
      if (unit == 0x2080) unit = 0xFEF0;
      const WString name = "A"_w + WString(1, static_cast<yox::WChar>(unit)) + "B"_w;
      const std::string utf8 = String::UTF16ToUTF8(name);
      const auto findings = FindingsIn({"", field, utf8.c_str(), ""});
      if (std::ranges::none_of(findings, [](const LintFinding& one) {
            return RowOf(one.rule).id == "typography";
          })) {
        continue;
      }
      constexpr const char* kDigits = "0123456789ABCDEF";
      for (const int shift : {12, 8, 4, 0}) text += kDigits[unit >> shift & 0xF];
      text += ' ';
    }
    return text;
  };
  EXPECT_EQ(
      found("tag"),
      "00A0 00AD 200B 200E 200F 202A 202B 202C 202D 202E 202F 2060 2061 2062 2063 2064 FEFF ");
  EXPECT_EQ(found("model"),
            "00A0 00AD 200B 200E 200F 2010 2011 2012 2013 2014 2015 2018 2019 201A 201B 201C 201D "
            "201E 201F 202A 202B "
            "202C 202D 202E 202F 2060 2061 2062 2063 2064 FEFF ");
}

TEST(LintRules, EachIsFoundByARow) {
  std::set<LintRule> found;
  for (const LintedTextRow& row : kTextRows) {
    for (const LintFinding& finding : FindingsIn(row)) found.insert(finding.rule);
  }
  for (const ListRow& row : kListRows) {
    for (const auto& finding : LintDocument(Document(row.document), kToday)) {
      found.insert(finding.rule);
    }
  }
  for (const LintRuleRow& rule : kLintRules) {
    if (rule.rule == LintRule::kNoDevice) continue;  // FleetLintTest.cpp
    EXPECT_TRUE(found.contains(rule.rule)) << rule.id;
  }
}

std::string InTable(std::string_view text) {
  std::string cell;
  for (const char letter : text)
    cell += letter == '|' ? std::string("\\|") : std::string(1, letter);
  return cell;
}

TEST(LintRules, ThePageHasTheRowsOfTheTable) {
  const std::string page = CheckoutFile("docs/lint.md");
  std::size_t last = 0;
  for (const LintRuleRow& rule : kLintRules) {
    const char* const severity = rule.severity == LintSeverity::kError ? "error" : "warning";
    const std::string row = "\n| [`" + std::string(rule.id) + "`](#" + std::string(rule.id) +
                            ") | " + severity + " | " + InTable(rule.finding) + " | " +
                            InTable(rule.remedy) + " |";
    const std::size_t at = page.find(row);
    ASSERT_NE(at, std::string::npos) << row;
    EXPECT_GT(at, last) << rule.id;
    last = at;
  }
}

// The examples of a rule's section that begin with "- wrong: " or "- right: ".
std::vector<std::string> Examples(std::string_view section, std::string_view kind) {
  const std::string mark = "\n- " + std::string(kind) + ": `";
  std::vector<std::string> examples;
  for (std::size_t at = 0; (at = section.find(mark, at)) != std::string_view::npos;) {
    at += mark.size();
    examples.emplace_back(section.substr(at, section.find("`\n", at) - at));
  }
  return examples;
}

// What no device of the fleet that the page describes has.
std::vector<LintFinding> FleetFindings(const std::string& document) {
  const ApplicabilityFilter list = yox::decision::ReadFilterDocument(document);
  yox::decision::FleetLint lint(list);
  const yox::decision::PreparedDevice device(
      yox::decision::ReadFacts(R"({"mfr": "Contoso Ltd.", "tags": {"Ring": "beta"}})"));
  const yox::decision::Question question;
  yox::decision::PreparedFacts facts(device, question);
  yox::decision::FleetLint::Tally tally(lint);
  tally.Add(facts);
  lint.Add(tally);
  return lint.Findings();
}

// What is found in an example: a list, or one member of a filter.
std::vector<LintFinding> FindingsInExample(const std::string& example, LintRule rule) {
  const std::string document = example.starts_with('[')
                                   ? example
                                   : "[{\"model\": \"A1\", \"value\": \"false\"}, "
                                     "{\"model\": \"A2\"}, {" +
                                         example + "}]";
  return LintDocument(document, kToday, yox::decision::kLintEffort, [&](const auto&) {
    return rule == LintRule::kNoDevice ? FleetFindings(document) : std::vector<LintFinding>();
  });
}

TEST(LintRules, ThePagesExamplesAreFoundAndTheRightOnesAreNot) {
  const std::string page = CheckoutFile("docs/lint.md");
  for (const LintRuleRow& rule : kLintRules) {
    const std::size_t begin = page.find("\n### `" + std::string(rule.id) + "`\n");
    ASSERT_NE(begin, std::string::npos) << rule.id;
    const auto section = std::string_view(page).substr(begin, page.find("\n##", begin + 4) - begin);
    const auto wrong = Examples(section, "wrong");
    const auto right = Examples(section, "right");
    EXPECT_FALSE(wrong.empty()) << rule.id;
    EXPECT_GT(section.find("\n- wrong"), rule.id.size() + 50) << rule.id << " has no reason";
    EXPECT_FALSE(right.empty()) << rule.id;
    for (const std::string& example : wrong) {
      EXPECT_TRUE(
          std::ranges::any_of(FindingsInExample(example, rule.rule),
                              [&](const auto& finding) { return finding.rule == rule.rule; }))
          << rule.id << example;
    }
    for (const std::string& example : right) {
      std::vector<LintFinding> findings = FindingsInExample(example, rule.rule);
      std::erase_if(findings, [](const LintFinding& finding) { return finding.allowed; });
      EXPECT_EQ(Named(findings), "") << rule.id << example;
    }
  }
}

TEST(LintDocumentTest, IsRefusedAsTheListIs) {
  EXPECT_THROW(LintDocument("[{'country': 1}]", kToday), yox::DocumentError);
}

TEST(LintDocumentTest, FindsNothingInTheExamples) {
  for (const char* name : {"editor-8", "firmware-1.36", "pilot-ring"}) {
    const std::string list = CheckoutFile("examples/lists/" + std::string(name) + ".json");
    EXPECT_EQ(Placed(LintDocument(list, kToday)), "") << name;
  }
}

TEST(LintDocumentTest, ACommentAllowsARuleInItsFilterForAReason) {
  const auto findings = LintDocument(
      R"([{"model": "a*b"}, {"model": "a*b", "comment": ["x", "lint: allow inner-star, unreachable: a test"]}])",
      kToday);
  ASSERT_EQ(Placed(findings),
            "[0]:1:13 inner-star; [1]:1:31 inner-star; "
            "[1]:1:20 unreachable (filter [0] decides for every device)");
  EXPECT_FALSE(findings[0].allowed);
  EXPECT_EQ(findings[1].allowed, "a test");
  EXPECT_EQ(findings[2].allowed, "a test");
}

TEST(LintDocumentTest, ACommentOfTheDocumentAllowsARuleEverywhere) {
  const auto findings = LintDocument(
      R"({"comment": "lint: allow constant-list: a test", "filters": [{"model": "A"}, {"default": "true"}]})",
      kToday);
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings[0].allowed, "a test");
}

TEST(LintDocumentTest, AWrongCommentHasItsPlace) {
  EXPECT_EQ(
      Placed(LintDocument(R"([{"model": "A",
  "comment": "lint: allow inner-stars: x"}, {"comment": "lint: ignore", "model": "B"}])",
                          kToday)),
      "[0]:2:14 suppression (there is no rule \"inner-stars\" (did you mean \"inner-star\"?)); "
      "[1]:2:57 suppression (expected `allow`)");
}

TEST(LintDocumentTest, AMessageIsOneLine) {
  const auto findings = LintDocument(R"([{"country": "a\n*b"}])", kToday);
  EXPECT_EQ(MessageOf(findings.at(0)),
            "country: \"a\\u000a*b\": a `*` that is at no end matches every value");
}

// What is said of a list is true of generated devices, each a platform of its own.
class LintProperties : public testing::Test {
 protected:
  static constexpr int kLists = 400;
  static constexpr int kDevices = 60;

  LintProperties() {
    for (int i = 0; i < kDevices; ++i) {
      Device& device = devices_.emplace_back();
      device.made = MakeDevice(random_, Mix::kEverything);
      device.made.hardware_ids.clear();  // one tracker for all devices would outlive them
      device.simulated = std::make_unique<yox::platform::SimulatedDevice>(
          yox::platform::ReadDeviceProfile(device.made.ToProfile()));
      device.record = std::make_shared<TestRecord>();
      device.made.Fill(*device.record);
      device.arguments = MakeArguments(random_);
      device.tags = ToPairs(device.made.tags);
    }
  }

  struct Device {
    GeneratedDevice made;
    std::unique_ptr<yox::platform::SimulatedDevice> simulated;
    std::shared_ptr<TestRecord> record;
    GeneratedArguments arguments;
    ApplicabilityEvaluator::Pairs tags;
  };

  // A list in which filters follow narrower, wider and equal ones.
  ApplicabilityFilter DrawList() {
    ApplicabilityFilter::List drawn = MakeList(random_, Mix::kEverything, 4).ToFilters().filters();
    for (Filter& filter : drawn) filter.set_hardware_id({});
    ApplicabilityFilter::List list;
    for (const Filter& filter : drawn) {
      if (filter.criteria() == 0) continue;
      list.push_back(filter);
      if (random_.Percent(60)) list.push_back(Altered(filter));
      if (random_.Percent(20)) list.push_back(Altered(list.back()));
    }
    if (random_.Percent(40)) {
      for (Filter& filter : list) filter.set_value(random_.Percent(90) ? "false"_w : "true"_w);
    }
    if (random_.Percent(15)) AddOpposites(list);
    if (random_.Percent(30))
      list.emplace_back().set_default(random_.Percent(50) ? "true"_w : "x"_w);
    return ApplicabilityFilter(list);
  }

  // Two filters of which each device matches one, and one that is never reached.
  void AddOpposites(ApplicabilityFilter::List& list) {
    static const WString kTexts[] = {"US"_w, "C*"_w, "*1"_w, "*on*"_w};
    const FilterField fields[] = {FilterField::country, FilterField::mfr, FilterField::model};
    const FilterField field = fields[random_.Below(std::size(fields))];
    const WString text = kTexts[random_.Below(std::size(kTexts))];
    list.emplace_back().Set(field, text);
    list.emplace_back().Set(field, "!"_w + text);
    list.back().set_value("false"_w);
    list.emplace_back().Set(FilterField::mfr, "Contoso"_w);
  }

  // With a criterion or an alternative more or less, or another letter case.
  Filter Altered(const Filter& filter) {
    Filter altered = filter;
    for (std::size_t i = 2; i < kFilterFieldCount; ++i) {
      const auto field = static_cast<FilterField>(i);
      const WString text = altered.View(field);
      if (!altered.IsSet(field) || random_.Percent(50)) continue;
      switch (random_.Below(5)) {
        case 0:
          altered.Set(field, {});
          break;
        case 1:
          altered.Set(field, text.substr(0, text.rfind(yox::WChar{','})));
          break;
        case 2:
          altered.Set(field, String::ToUpper(text));
          break;
        case 3:
          altered.Set(field, text + "*"_w);
          break;
        default:
          altered.set_language("en*,!de-DE"_w);
      }
    }
    return altered;
  }

  struct Answer {
    bool applies;
    std::size_t decided;  // the number of filters when none did
  };

  Answer Decide(const ApplicabilityFilter& list, Device& device) {
    const yox::platform::ScopedPlatform installed(*device.simulated);
    WString target = String::UTF8ToUTF16(device.arguments.target_version);
    WString reason;
    const bool applies = evaluator_.EvaluateApplicability(
        device.record, String::UTF8ToUTF16(device.made.client_version), list, nullptr,
        target.empty() ? nullptr : &target, device.tags, reason);
    // Each filter is named, but for a default that applies.
    std::size_t named = 0;
    for (std::size_t at = 0; (at = reason.find("Filter ["_wv, at)) != WString::npos; ++at) ++named;
    const bool last_decided = reason.ends_with("]: true; "_wv) ||
                              reason.ends_with("value = false; "_wv) ||
                              reason.ends_with("default = false; "_wv);
    return {applies, named - (last_decided ? 1 : 0)};
  }

  Random random_{10};
  std::vector<Device> devices_;
  TestEvaluator evaluator_;
};

TEST_F(LintProperties, AnUnreachableFilterNeverDecidesAndAConstantListIsConstant) {
  int unreachable = 0;
  int constant = 0;
  for (int i = 0; i < kLists; ++i) {
    const ApplicabilityFilter list = DrawList();
    const auto findings = Lint(list, kToday);
    std::set<std::size_t> never;
    std::optional<bool> always;
    for (const LintFinding& finding : findings) {
      if (finding.rule == LintRule::kUnreachable) never.insert(*finding.filter);
      if (finding.rule == LintRule::kConstantList) always = finding.detail == "it always applies";
    }
    unreachable += static_cast<int>(never.size());
    constant += always ? 1 : 0;
    if (never.empty() && !always) continue;
    for (Device& device : devices_) {
      const auto [applies, decided] = Decide(list, device);
      ASSERT_FALSE(never.contains(decided)) << decided << WriteFilterDocument(list);
      ASSERT_EQ(applies, always.value_or(applies)) << WriteFilterDocument(list);
    }
  }
  // The lists are such that there is something to hold.
  EXPECT_GT(unreachable, kLists / 4);
  EXPECT_GT(constant, kLists / 25);
}

// A criterion that is said to hold always or never does so on each device.
TEST_F(LintProperties, WhatNeverOrAlwaysHoldsDoesSoOnEachDevice) {
  int held = 0;
  for (int i = 0; i < kLists; ++i) {
    for (const Filter& filter : DrawList().filters()) {
      if (filter.IsSet(FilterField::default_)) continue;
      for (std::size_t field = 2; field < kFilterFieldCount; ++field) {
        Filter one;
        one.Set(static_cast<FilterField>(field), filter.View(static_cast<FilterField>(field)));
        if (one.criteria() == 0) continue;
        const ApplicabilityFilter list({one});
        const auto findings = Lint(list, kToday);
        const auto& last = findings.empty() ? LintFinding{} : findings.back();
        if (last.rule != LintRule::kConstantList) continue;
        ++held;
        for (int k = 0; k < 10; ++k) {
          ASSERT_EQ(Decide(list, devices_[random_.Below(kDevices)]).applies,
                    last.detail == "it always applies")
              << WriteFilterDocument(list);
        }
      }
    }
  }
  EXPECT_GT(held, kLists / 4);
}

}  // namespace
}  // namespace yox_test
