#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "yox/decision/Filter.h"
#include "yox/decision/Lint.h"
#include "yox/decision/TestMoments.h"

#include "tests/support/Rows.h"

namespace yox::decision {
namespace {

using yox_test::kToday;

std::string Shown(const DocumentPlace& place) {
  return std::to_string(place.line) + ":" + std::to_string(place.column);
}

// "[FILTER]BEGIN-END rule (detail) fix BEGIN-END allowed REASON" of each finding.
std::string Described(const std::vector<LintFinding>& findings) {
  std::string all;
  for (const LintFinding& finding : findings) {
    if (!all.empty()) all += "; ";
    if (finding.filter) all += "[" + std::to_string(*finding.filter) + "]";
    all +=
        Shown(finding.place) + "-" + Shown(finding.end) + " " + std::string(RowOf(finding.rule).id);
    if (!finding.detail.empty()) all += " (" + finding.detail + ")";
    if (finding.fix) all += " fix " + Shown(finding.fix->place) + "-" + Shown(finding.fix->end);
    if (finding.allowed) all += " allowed " + *finding.allowed;
  }
  return all;
}

struct DocumentRow {
  const char* name;
  std::string document;  // with ' for "
  const char* found;
};

class LintedDocument : public testing::TestWithParam<DocumentRow> {};

TEST_P(LintedDocument, HasItsFindingsAtTheirPlaces) {
  std::string document = GetParam().document;
  std::ranges::replace(document, '\'', '"');
  EXPECT_EQ(Described(LintDocument(document, kToday)), GetParam().found);
}

INSTANTIATE_TEST_SUITE_P(
    Places, LintedDocument,
    testing::Values(
        DocumentRow{"OfAText", "[{'country': 'USA'}, {'default': 'false'}]",
                    "[0]1:15-1:18 country-unknown (did you mean \"US\"?) fix 1:15-1:18"},
        DocumentRow{"OfTheSecondAlternative",
                    "[\n {'country': 'US,\\u0051Q,GBR'},\n {'default': 'false'}]",
                    "[0]2:18-2:25 country-unknown; [0]2:26-2:29 country-unknown (did you mean "
                    "\"GB\"?) fix 2:26-2:29"},
        DocumentRow{"OfTwoTexts",
                    "[{'mfr': '=A', 'model': 'B?', 'country': 'UK'}, {'default': 'false'}]",
                    "[0]1:43-1:45 country-unknown (did you mean \"GB\"?) fix 1:43-1:45; "
                    "[0]1:11-1:13 foreign-text fix 1:11-1:13; [0]1:26-1:28 wildcard"},
        DocumentRow{
            "OfThingsOutOfOrder",
            "[{'mfr': 'a*b,*,*'},\n {'country': 'US,,!US,XX'}, {'default': 'false'}]",
            "[0]1:11-1:14 inner-star; [1]2:18-2:18 empty-alternative fix 2:17-2:18; [1]2:23-2:25 "
            "country-unknown; [1]2:2-2:27 unreachable (filter [0] decides for every device); "
            "[2]2:29-2:49 unreachable (filter [0] decides for every device)"},
        DocumentRow{"OfAFilter", "[{'country': 'US'}, {'default': 'false'},\n {'mfr': 'A'\n}]",
                    "[2]2:2-3:2 unreachable (filter [1] decides for every device)"},
        DocumentRow{"OfTheList", "{'filters':\n [{'country': 'US'},\n {'default': 'true'}]}",
                    "2:2-3:22 constant-list (it always applies)"},
        DocumentRow{
            "OfAComment",
            "[{'country': 'US',\n 'comment': ['x', 'lint: nothing']},\n {'default': 'false'}]",
            "[0]2:19-2:34 suppression (expected `allow`)"}),
    yox_test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Controls, LintedDocument,
    testing::Values(
        DocumentRow{"ValueThatCountsAsTrue", "[{'country': 'US', 'value': 'x'}]",
                    "[0]1:30-1:31 control-word (counts as true)"},
        DocumentRow{"DefaultThatCountsAsFalse", "[{'country': 'US'}, {'default': 'x'}]",
                    "[1]1:34-1:35 control-word (counts as false)"},
        DocumentRow{"DefaultWithBlank", "[{'country': 'US'}, {'default': ' false'}]",
                    "[1]1:34-1:40 control-word (counts as false)"},
        DocumentRow{"DefaultAndValueAreWrong",
                    "[{'country': 'US'}, {'default': 'x', 'value': 'y'}]",
                    "[1]1:34-1:35 control-word (counts as false); [1]1:48-1:49 control-word "
                    "(counts as true); [1]1:21-1:51 default-and-criteria"},
        DocumentRow{"DefaultAndCriterion", "[{'mfr': 'A'}, {'default': 'false', 'mfr': 'B'}]",
                    "[1]1:16-1:48 default-and-criteria"},
        DocumentRow{"ValueAlone", "[{'mfr': 'A'}, {'value': 'false'}]", ""},
        DocumentRow{"BlankValue", "[{'mfr': 'A', 'value': ' '}, {'default': 'false'}]",
                    "[0]1:25-1:26 blank-text"},
        DocumentRow{"BlankTexts",
                    "[{'mfr': 'A', 'tag': ' ', 'country': '\\t'}, {'default': 'false'}]",
                    "[0]1:23-1:24 blank-text; [0]1:39-1:41 blank-text"},
        DocumentRow{"EmptyTexts", "[{'mfr': 'A', 'tag': ''}, {'default': 'false'}]", ""}),
    yox_test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Rollouts, LintedDocument,
    testing::Values(
        DocumentRow{"AfterTheWindow",
                    "[{'date_range': '*|2026-03-31', 'date_function': '2026-04-01|9|linear'}, "
                    "{'default': 'false'}]",
                    "[0]1:51-1:70 rollout-outside"},
        DocumentRow{"OnItsLastDay",
                    "[{'date_range': '*|2026-03-31', 'date_function': '2026-03-31|9|linear'}, "
                    "{'default': 'false'}]",
                    ""},
        DocumentRow{"InALaterYear",
                    "[{'date_range': '*|2026-03-31', 'date_function': '2027-01-01|9|linear'}, "
                    "{'default': 'false'}]",
                    "[0]1:51-1:70 rollout-outside"},
        DocumentRow{"WithoutAnEnd",
                    "[{'date_range': '2026-03-31|*', 'date_function': '2026-04-01|9|linear'}, "
                    "{'default': 'false'}]",
                    ""},
        DocumentRow{"WithAnUnreadableEnd",
                    "[{'date_range': '*|2026-03-x', 'date_function': '2026-04-01|9|linear'}, "
                    "{'default': 'false'}]",
                    "[0]1:20-1:29 date-unreadable"},
        DocumentRow{"WithAnEndOfTwoNumbers",
                    "[{'date_range': '*|2026-03', 'date_function': '2026-04-01|9|linear'}, "
                    "{'default': 'false'}]",
                    "[0]1:20-1:27 date-unreadable"},
        DocumentRow{"WithoutTwoPieces",
                    "[{'date_range': '2026-03-01', 'date_function': '2026-04-01|9|linear'}, "
                    "{'default': 'false'}]",
                    "[0]1:18-1:28 malformed"},
        DocumentRow{"WithoutADate",
                    "[{'date_range': '*|2026-03-31', 'date_function': 'x|9|linear'}, "
                    "{'default': 'false'}]",
                    "[0]1:51-1:52 date-unreadable"},
        DocumentRow{"OfAnotherFilter",
                    "[{'date_range': '*|2026-03-31'}, {'date_function': '2026-04-01|9|linear'}, "
                    "{'default': 'false'}]",
                    ""}),
    yox_test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Reach, LintedDocument,
    testing::Values(
        DocumentRow{
            "EqualFilters", "[{'mfr': 'A'}, {'model': 'B'}, {'mfr': 'a'}, {'model': 'B'}]",
            "[2]1:32-1:44 unreachable (filter [0] takes every device that this one matches); "
            "[3]1:46-1:60 unreachable (filter [1] takes every device that this one matches)"},
        DocumentRow{"FilterThatNeverMatches", "[{'version': 'x'}, {'version': 'x'}, {'mfr': 'A'}]",
                    "[0]1:15-1:16 version-unreadable; [1]1:33-1:34 version-unreadable"},
        DocumentRow{"AfterTwoThatTakeAll",
                    "[{'mfr': 'A'}, {'mfr': '!A', 'value': 'false'}, {'mfr': 'B'}, {'model': 'C'}]",
                    "[2]1:49-1:61 unreachable (filter [1] takes every device that is left); "
                    "[3]1:63-1:77 unreachable (filter [1] takes every device that is left)"},
        DocumentRow{
            "DefaultAfterTwoThatTakeAll",
            "[{'mfr': 'A'}, {'mfr': '!A', 'value': 'false'}, {'default': 'true'}, {'mfr': 'C'}]",
            "[3]1:70-1:82 unreachable (filter [1] takes every device that is left)"},
        DocumentRow{"DefaultAfterAlways",
                    "[{'mfr': 'A', 'value': 'false'}, {'mfr': '*'}, {'default': 'true'}]",
                    "[1]1:43-1:44 always-holds; [2]1:48-1:67 unreachable (filter [1] decides for "
                    "every device)"},
        DocumentRow{"TwoDefaults", "[{'mfr': 'A'}, {'default': 'false'}, {'default': 'false'}]",
                    "[2]1:38-1:58 unreachable (filter [1] decides for every device)"},
        DocumentRow{"TakesTheRestOfTheSecond",
                    "[{'mfr': 'A'}, {'mfr': 'B'}, {'mfr': '!B', 'value': 'false'}, {'sku': 'C'}]",
                    "[3]1:63-1:75 unreachable (filter [2] takes every device that is left)"},
        DocumentRow{
            "RestOfAFilterThatIsNotReached", "[{'mfr': 'A'}, {'mfr': 'a'}, {'mfr': '!A'}]",
            "[1]1:16-1:28 unreachable (filter [0] takes every device that this one matches)"},
        DocumentRow{"RestOfATwofoldFilter",
                    "[{'mfr': 'A', 'sku': 'B'}, {'mfr': '!A', 'value': 'false'}, {'sku': 'C'}]",
                    ""},
        DocumentRow{"RestOfItems",
                    "[{'installed_items': 'A,B'}, {'installed_items': '!B,C', 'value': 'false'}, "
                    "{'sku': 'C'}]",
                    "[2]1:77-1:89 unreachable (filter [1] takes every device that is left)"},
        DocumentRow{"RestOfVersionsIsNone",
                    "[{'version': '<2.0'}, {'version': '>=2.0', 'value': 'false'}, {'sku': 'C'}]",
                    ""},
        DocumentRow{"NoFilterApplies", "[{'mfr': 'A', 'value': 'false'}, {'default': 'false'}]",
                    "1:1-1:55 constant-list (it never applies)"},
        DocumentRow{"OnlyThoseThatNeverMatchApply",
                    "[{'tag': 'A|1,A|2'}, {'mfr': 'B', 'value': 'false'}]",
                    "[0]1:15-1:18 contradicting-terms (with \"A|1\")"},
        DocumentRow{"EveryTerm", "[{'tag': '! !*'}, {'mfr': 'B', 'value': 'false'}]",
                    "[0]1:11-1:15 always-holds; [1]1:19-1:49 unreachable (filter [0] decides for "
                    "every device)"},
        DocumentRow{"Empty", "[]", "1:1-1:3 constant-list (it always applies)"}),
    yox_test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Implied, LintedDocument,
    testing::Values(
        DocumentRow{
            "OneMoreCriterion", "[{'mfr': 'A'}, {'mfr': 'A', 'sku': 'B', 'value': 'false'}]",
            "[1]1:16-1:58 unreachable (filter [0] takes every device that this one matches)"},
        DocumentRow{"OneCriterionFewer",
                    "[{'mfr': 'A', 'sku': 'B'}, {'mfr': 'A', 'value': 'false'}]", ""},
        DocumentRow{"OtherRollouts",
                    "[{'date_function': '2026-03-01|9|linear'}, {'date_function': "
                    "'2026-03-02|9|linear', 'value': 'false'}]",
                    ""},
        DocumentRow{"OtherHardware",
                    "[{'hardware_id': 'PCI\\\\*'}, {'hardware_id': 'PCI\\\\A', 'value': 'false'}]",
                    ""},
        DocumentRow{
            "OtherRegistry",
            "[{'registry': 'HKLM\\\\A:B|*'}, {'registry': 'HKLM\\\\A:B|x', 'value': 'false'}]", ""},
        DocumentRow{
            "TermsInAnotherOrder", "[{'tag': 'A,B|x'}, {'tag': 'B|x,A,C', 'value': 'false'}]",
            "[1]1:20-1:56 unreachable (filter [0] takes every device that this one matches)"},
        DocumentRow{"ItemsOfWhichOneIsNot",
                    "[{'installed_items': 'A'}, {'installed_items': 'A,B', 'value': 'false'}]", ""},
        DocumentRow{"TextsOfWhichOneIsNot", "[{'mfr': 'A*'}, {'mfr': 'AB,B', 'value': 'false'}]",
                    ""},
        DocumentRow{
            "SkuThatIsNever", "[{'sku': '!*', 'value': 'false'}]",
            "[0]1:11-1:13 only-without-firmware; 1:1-1:34 constant-list (it never applies)"},
        DocumentRow{"HashesThatCannotBe", "[{'sn_hash': 'x,y*'}, {'mfr': 'A', 'value': 'false'}]",
                    "[0]1:15-1:16 never-holds; [0]1:17-1:19 never-holds"},
        DocumentRow{"HashesOfWhichOneCanBe",
                    "[{'sn_hash': 'x,a*'}, {'mfr': 'A', 'value': 'false'}]",
                    "[0]1:15-1:16 never-holds"},
        DocumentRow{"BitnessOfAllKinds",
                    "[{'os_bitness': '32,64,ARM64,not supported'}, {'mfr': 'A', 'value': 'false'}]",
                    "[1]1:47-1:77 unreachable (filter [0] decides for every device)"},
        DocumentRow{"BitnessOfThreeKinds",
                    "[{'os_bitness': '32,64,ARM64'}, {'mfr': 'A', 'value': 'false'}]", ""},
        DocumentRow{
            "RegistryOfWhichOneIsNever",
            "[{'registry': 'HKLM\\\\A:B|x,HKLM\\\\A:B|!*'}, {'mfr': 'A', 'value': 'false'}]",
            "[0]1:38-1:40 never-holds"},
        DocumentRow{"SubscriptionOfEveryKind",
                    "[{'device_subscription': '*'}, {'mfr': 'A', 'value': 'false'}]", ""}),
    yox_test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Comments, LintedDocument,
    testing::Values(
        DocumentRow{"BlanksAroundEverything",
                    "[{'model': 'a*b', 'comment': ' \\tlint: \\n allow  inner-star :  why  not "
                    "\\r\\n'}, {'model': 'A'}]",
                    "[0]1:13-1:16 inner-star allowed why  not; [1]1:81-1:95 unreachable (filter "
                    "[0] decides for every device)"},
        DocumentRow{"SeveralRulesWithBlanks",
                    "[{'model': 'a*b'}, {'model': 'A*b', 'comment': 'lint: allow inner-star , "
                    "unreachable: both'}]",
                    "[0]1:13-1:16 inner-star; [1]1:31-1:34 inner-star allowed both; [1]1:20-1:93 "
                    "unreachable (filter [0] decides for every device) allowed both"},
        DocumentRow{
            "ReasonWithColon",
            "[{'model': 'a*b', 'comment': 'lint: allow inner-star: a: b'}, {'default': 'false'}]",
            "[0]1:13-1:16 inner-star allowed a: b; [1]1:63-1:83 unreachable (filter [0] decides "
            "for every device)"},
        DocumentRow{"WithoutRule",
                    "[{'model': 'A', 'comment': 'lint: allow : why'}, {'default': 'false'}]",
                    "[0]1:28-1:47 suppression (there is no rule \"\")"},
        DocumentRow{"WithACommaTooMany",
                    "[{'model': 'a*b', 'comment': 'lint: allow inner-star,: why'}]",
                    "[0]1:13-1:16 inner-star allowed why; [0]1:30-1:60 suppression (there is no "
                    "rule \"\")"},
        DocumentRow{"WithoutRulesAtAll",
                    "[{'model': 'A', 'comment': 'lint: allow'}, {'default': 'false'}]",
                    "[0]1:28-1:41 suppression (expected `allow`)"},
        DocumentRow{
            "WithoutBlankAfterAllow",
            "[{'model': 'A', 'comment': 'lint: allowed inner-star: why'}, {'default': 'false'}]",
            "[0]1:28-1:59 suppression (expected `allow`)"},
        DocumentRow{
            "WithBlankReason",
            "[{'model': 'A', 'comment': 'lint: allow inner-star: \\t'}, {'default': 'false'}]",
            "[0]1:28-1:56 suppression (there is no reason)"},
        DocumentRow{"MarkInTheMiddle",
                    "[{'model': 'A', 'comment': 'a lint: remark'}, {'default': 'false'}]", ""},
        DocumentRow{"Blank", "[{'model': 'A', 'comment': ' '}, {'default': 'false'}]", ""},
        DocumentRow{
            "InOneFilterOnly",
            "[{'model': 'a*b', 'comment': 'lint: allow inner-star: why'}, {'model': 'c*d'}]",
            "[0]1:13-1:16 inner-star allowed why; [1]1:73-1:76 inner-star; [1]1:62-1:78 "
            "unreachable (filter [0] decides for every device)"},
        DocumentRow{
            "OfTheDocumentAndAFilter",
            "{'comment': 'lint: allow inner-star: all', 'filters': [{'model': 'a*b', 'comment': "
            "'lint: allow inner-star: one'}, {'default': 'false'}]}",
            "[0]1:67-1:70 inner-star allowed one; [1]1:116-1:136 unreachable (filter [0] decides "
            "for every device)"},
        DocumentRow{
            "UnusedAndWrong",
            "[{'model': 'A', 'comment': ['lint: allow inner-star: why', 'lint: x']}, {'default': "
            "'false', 'comment': 'lint: allow no-device, wildcard: why'}]",
            "[0]1:60-1:69 suppression (expected `allow`); [0]1:29-1:58 suppression-unused "
            "(inner-star); [1]1:105-1:143 suppression-unused (wildcard)"},
        DocumentRow{
            "SlipOfTheRule",
            "[{'model': 'a*b', 'comment': 'lint: allow inner-stars: why'}, {'default': 'false'}]",
            "[0]1:13-1:16 inner-star; [1]1:63-1:83 unreachable (filter [0] decides for every "
            "device); [0]1:30-1:60 suppression (there is no rule \"inner-stars\" (did you mean "
            "\"inner-star\"?))"},
        DocumentRow{"NoSuchRule",
                    "[{'model': 'A', 'comment': 'lint: allow everything-else-too: why'}, "
                    "{'default': 'false'}]",
                    "[0]1:28-1:66 suppression (there is no rule \"everything-else-too\")"}),
    yox_test::RowName());

// Of a filter with one before it, and then of an alternative with one of the other's; of each two
// terms three times, for what contradicts, what is superfluous, and what never matches.
TEST(LintEffort, IsOneStepForEachComparison) {
  const auto found = [](const char* document, std::uint32_t effort) {
    return std::ranges::any_of(LintDocument(document, kToday, effort),
                               [](const auto& one) { return one.rule == LintRule::kUnreachable; });
  };
  const auto least = [&](const char* document) {
    std::uint32_t effort = 0;
    while (effort < 100 && !found(document, effort)) ++effort;
    return effort;
  };
  EXPECT_EQ(least(R"([{"mfr": "A"}, {"mfr": "A"}])"), 1U);
  EXPECT_EQ(least(R"([{"mfr": "A"}, {"mfr": "a"}])"), 2U);
  EXPECT_EQ(least(R"([{"model": "B"}, {"mfr": "A"}, {"mfr": "a"}])"), 4U);
  EXPECT_EQ(least(R"([{"mfr": "A"}, {"mfr": "!a"}, {"sku": "B"}])"), 3U);
  EXPECT_EQ(least(R"([{"tag": "A,B"}, {"tag": "b,a"}])"), 10U);
}

LintFinding Finding(std::size_t filter, std::optional<FilterField> field, std::size_t offset,
                    std::size_t length) {
  return {LintRule::kNoDevice, filter, field, offset, length};
}

// A finding at 4 to 7 of the first filter's maker, and one more.
TEST(MoreFindings, AreLeftOutWhereAnotherFindingTouchesThem) {
  const char* const document = R"([{"mfr": "ABC,=DE,FGH", "model": "ABCDEFGH"},
      {"mfr": "ABC,=DE,FGH", "model": "ABCDEFGH"}])";
  const auto kept = [&](const LintFinding& more) {
    const auto findings = LintDocument(document, kToday, kLintEffort, [&](const auto& list) {
      EXPECT_EQ(list.filters().size(), 2U);
      return std::vector{more};
    });
    return findings.back().rule == LintRule::kNoDevice;
  };
  using enum FilterField;
  EXPECT_TRUE(kept(Finding(0, mfr, 0, 3)));
  EXPECT_FALSE(kept(Finding(0, mfr, 0, 4)));
  EXPECT_FALSE(kept(Finding(0, mfr, 5, 1)));
  EXPECT_FALSE(kept(Finding(0, mfr, 7, 1)));
  EXPECT_TRUE(kept(Finding(0, mfr, 8, 3)));
  EXPECT_FALSE(kept(Finding(1, mfr, 4, 3)));
  EXPECT_TRUE(kept(Finding(0, model, 4, 3)));
  EXPECT_FALSE(kept(Finding(1, std::nullopt, 0, 0)));  // the second is unreachable
  EXPECT_TRUE(kept(Finding(0, std::nullopt, 0, 0)));
  LintFinding of_list = Finding(0, std::nullopt, 0, 0);
  of_list.filter.reset();
  EXPECT_TRUE(kept(of_list));
}

TEST(LintMessage, NamesTheCriterionTheTextAndTheDetailThatThereAre) {
  LintFinding finding{LintRule::kNeverHolds, 0, FilterField::mfr, 0, 1, "A\t\"", "why\n"};
  EXPECT_EQ(MessageOf(finding), R"(mfr: "A\u0009"": matches no value (why\u000a))");
  finding.detail.clear();
  EXPECT_EQ(MessageOf(finding), R"(mfr: "A\u0009"": matches no value)");
  finding.field.reset();
  EXPECT_EQ(MessageOf(finding), "matches no value");
}

}  // namespace
}  // namespace yox::decision
