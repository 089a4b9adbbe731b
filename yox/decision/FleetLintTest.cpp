#include <gtest/gtest.h>

#include <span>
#include <string>
#include <vector>

#include "yox/base/String.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/FleetLint.h"
#include "yox/decision/PreparedDevice.h"

#include "tests/support/Rows.h"

namespace yox_test {
namespace {

using namespace yox::decision;
using YOX::String;

// Three devices; the third does not say its maker or its tags.
const char* const kFleet[] = {
    R"({"country": "DE", "mfr": "Contoso Ltd.", "model": "FA14", "os_version": "10.0.19045",
        "tags": {"Ring": "beta", "Managed": "true"}, "installed_items": [["Contoso Editor", "7.2"]],
        "hardware_ids": ["PCI\\VEN_8086&DEV_7D45"]})",
    R"({"country": "SE", "mfr": "Contoso Ltd.", "model": "FA15", "os_version": "10.0.22631",
        "tags": {"Ring": "stable"}, "installed_items": [], "hardware_ids": []})",
    R"({"country": "DE", "model": "KE9"})"};

// Three more, with values that a list cannot have, or of which no nearest one helps.
const char* const kOddFleet[] = {
    R"({"mfr": "Contoso, Ltd", "family": "A|Falcon", "model": "Mark*2", "sku": "!Pro",
        "sn_hash": "00112233445566778899aabbccddeeff00112233445566778899aabbccddeeff",
        "device_subscription": ["gold-plan", "basic-plan"], "enclosure": "Notebook",
        "tags": {"Ring": "beta"}, "installed_items": [["Editor", "7.2"]]})",
    R"({"device_subscription": ["basic-plan"], "enclosure": "Tablet", "model": "Mark 2",
        "tags": {"ring": "beta", "Rung": "x"}, "installed_items": [["Viewer", "beta"]]})",
    R"({"device_subscription": [], "tags": {}})"};

// "[0]:OFFSET+LENGTH (DETAIL)", and the criterion's text after the fix.
std::string Found(const std::string& document, std::span<const char* const> fleet = kFleet) {
  const ApplicabilityFilter list = ReadFilterDocument(document);
  FleetLint lint(list);
  for (const char* const facts : fleet) {
    const PreparedDevice device(ReadFacts(facts));
    const Question question;
    PreparedFacts prepared(device, question);
    FleetLint::Tally tally(lint);
    tally.Add(prepared);
    lint.Add(tally);
  }
  std::string text;
  for (const LintFinding& finding : LintDocument(document, {2026, 3, 1}, kLintEffort,
                                                 [&](const auto&) { return lint.Findings(); })) {
    if (finding.rule != LintRule::kNoDevice) continue;
    text += (text.empty() ? "[" : "; [") + std::to_string(*finding.filter) + "] " + finding.excerpt;
    if (!finding.detail.empty()) text += " (" + finding.detail + ")";
    if (!finding.fix) continue;
    yox::WString fixed = list.filters()[*finding.filter].View(*finding.field);
    fixed.replace(finding.fix->offset, finding.fix->length,
                  String::UTF8ToUTF16(finding.fix->replacement));
    text += " -> " + String::UTF16ToUTF8(fixed);
  }
  return text;
}

struct FleetRow {
  const char* name;
  const char* filter;
  const char* found;
};

class FleetLintRows : public testing::TestWithParam<FleetRow> {};

TEST_P(FleetLintRows, FindWhatNoDeviceHas) {
  EXPECT_EQ(Found("[" + std::string(GetParam().filter) + R"(, {"default": "false"}])"),
            GetParam().found);
}

const FleetRow kFleetRows[] = {
    {"WhatDevicesHaveIsRight", R"({"country": "de, SE", "mfr": "Contoso*", "tag": "ring|Beta"})",
     ""},
    {"ASlip", R"({"mfr": "Contosso Ltd."})",
     "[0] Contosso Ltd. (did you mean \"Contoso Ltd.\": 2 devices) -> Contoso Ltd."},
    {"APartOfAName", R"({"mfr": "Fabrikam, Contoso"})",
     "[0] Fabrikam; [0] Contoso (did you mean \"Contoso Ltd.\": 2 devices) -> Fabrikam, Contoso "
     "Ltd."},
    {"ACodeOfTwoLettersHasNoneNear", R"({"country": "NL,DK"})", "[0] NL; [0] DK"},
    {"TheMostFrequentOfSeveral", R"({"tag": "Ringed"})",
     "[0] Ringed (did you mean \"Ring\": 2 devices) -> Ring"},
    {"APatternIsNotReplaced", R"({"model": "FAA*"})", "[0] FAA*"},
    {"WithoutAnyNear", R"({"model": "Falcon"})", "[0] Falcon"},
    {"ExcludedAndNotThere", R"({"model": "!Falcon"})", ""},
    {"ExcludedWithASlip", R"({"mfr": "!Contosso Ltd."})",
     "[0] !Contosso Ltd. (did you mean \"Contoso Ltd.\": 2 devices) -> !Contoso Ltd."},
    {"AKey", R"({"tag": "Rng|beta"})",
     "[0] Rng|beta (did you mean \"Ring\": 2 devices) -> Ring|beta"},
    {"AKeyAlone", R"({"tag": "Managd"})",
     "[0] Managd (did you mean \"Managed\": 1 device) -> Managed"},
    {"AValueOfAKey", R"({"tag": "Managed|true, Ring|betta"})",
     "[0] Ring|betta (did you mean \"beta\": 1 device) -> Managed|true, Ring|beta"},
    {"AnExcludedValueOfAKey", R"({"tag": "Ring|!betta"})",
     "[0] Ring|!betta (did you mean \"beta\": 1 device) -> Ring|!beta"},
    {"AnItem", R"({"installed_items": "Contoso Edtor|>=7.0"})",
     "[0] Contoso Edtor|>=7.0 (did you mean \"Contoso Editor\": 1 device) -> Contoso Editor|>=7.0"},
    {"AVersionThatNoItemHas", R"({"installed_items": "Contoso Editor|>=8.0"})",
     "[0] Contoso Editor|>=8.0"},
    {"AVersionThatNoSystemHas", R"({"os_version": ">=11.0"})", "[0] >=11.0"},
    {"AVersionWithASlip", R"({"os_version": "10.0.19054"})",
     "[0] 10.0.19054 (did you mean \"10.0.19045\": 1 device)"},
    {"AVersionThatIsExcludedWithASlip", R"({"os_version": "!10.0.19054"})", ""},
    {"AComparedVersionHasNoneNear", R"({"os_version": ">10.0.22631"})", "[0] >10.0.22631"},
    {"AVersionOfASystem", R"({"os_version": "<10.0.22000"})", ""},
    {"ANewerVersionThanExcluded", R"({"os_version": "!9.0"})", ""},
    {"ADeviceThatIsNotThere", R"({"hardware_id": "PCI\\VEN_1234&DEV_5678"})",
     "[0] PCI\\VEN_1234&DEV_5678"},
    {"UnknownToAllDevices", R"({"family": "Falcon", "registry": "HKLM\\A:B|c"})", ""},
    {"NotOfTheDevice", R"({"date_range": "2027-01-01|*", "target_version": ">=9.0"})", ""},
    {"WhatAnotherRuleExplains", R"({"country": "USA"})", ""},
    {"InEachFilter", R"({"model": "X1"}, {"country": "DE", "model": "X1"})", "[0] X1; [1] X1"},
    {"InTheOrderOfTheFilters", R"({"mfr": "Q1", "model": "X1"}, {"mfr": "Q1", "model": "X1"})",
     "[0] Q1; [0] X1; [1] Q1; [1] X1"},
    {"InTheOrderOfTheAlternatives", R"({"model": "X1,Y1"}, {"model": "Y1,X1"})",
     "[0] X1; [0] Y1; [1] Y1; [1] X1"},
    {"AShortPartOfALongName", R"({"model": "KE9-22222"})",
     "[0] KE9-22222 (did you mean \"KE9\": 1 device) -> KE9"},
    {"OneOfThreeLetters", R"({"model": "KE8"})", "[0] KE8 (did you mean \"KE9\": 1 device) -> KE9"},
    {"OneOfTwoLetters", R"({"model": "KE"})", "[0] KE"},
    {"AnExcludedDeviceId", R"({"hardware_id": "!PCI\\VEN_8086&DEV_7D45"})",
     "[0] !PCI\\VEN_8086&DEV_7D45"},
    {"BlankAlternatives", R"({"model": "FA14, ,"})", ""},
    {"AKeyOfAnyName", R"({"tag": "*|betta"})", "[0] *|betta"},
    {"AnExcludedKey", R"({"tag": "!Rings"})",
     "[0] !Rings (did you mean \"Ring\": 2 devices) -> !Ring"},
    {"AnExcludedKeyThatIsThere", R"({"tag": "!Ring"})", ""},
    {"AnUnknownKeyWithAValue", R"({"tag": "Team|beta"})", "[0] Team|beta"},
};

INSTANTIATE_TEST_SUITE_P(Rows, FleetLintRows, testing::ValuesIn(kFleetRows), RowName());

class OddFleetRows : public testing::TestWithParam<FleetRow> {};

TEST_P(OddFleetRows, FindWhatNoDeviceHas) {
  EXPECT_EQ(Found("[" + std::string(GetParam().filter) + R"(, {"default": "false"}])", kOddFleet),
            GetParam().found);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, OddFleetRows,
    testing::Values(
        FleetRow{"ACommaInAName", R"({"mfr": "Contoso Ltd"})",
                 "[0] Contoso Ltd (did you mean \"Contoso, Ltd\": 1 device)"},
        FleetRow{"ABarInAName", R"({"family": "A:Falcon"})",
                 "[0] A:Falcon (did you mean \"A|Falcon\": 1 device)"},
        FleetRow{"AStarInAName", R"({"model": "Mark#2"})",
                 "[0] Mark#2 (did you mean \"Mark 2\": 1 device) -> Mark 2"},
        FleetRow{
            "AHash",
            R"({"sn_hash": "00112233445566778899aabbccddeeff00112233445566778899aabbccddeefe"})",
            "[0] 00112233445566778899aabbccddeeff00112233445566778899aabbccddeefe"},
        FleetRow{"ASubscription", R"({"device_subscription": "basic-plam*"})",
                 "[0] basic-plam* (did you mean \"basic-plan\": 2 devices)"},
        FleetRow{"AnEnclosure", R"({"enclosure": "Blade"})", "[0] Blade"},
        FleetRow{"AKeyInAnotherCase", R"({"tag": "RING|betta"})",
                 "[0] RING|betta (did you mean \"beta\": 2 devices) -> RING|beta"},
        FleetRow{
            "TwoKeys", R"({"tag": "Ring|betta,Rung|y"})",
            "[0] Ring|betta (did you mean \"beta\": 2 devices) -> Ring|beta,Rung|y; [0] Rung|y"},
        FleetRow{"AVersionOfAnItem", R"({"installed_items": "Viewer|betta"})",
                 "[0] Viewer|betta (did you mean \"beta\": 1 device) -> Viewer|beta"}),
    RowName());

TEST(FleetLint, WithoutDevicesNothingIsSaid) {
  const ApplicabilityFilter list = ReadFilterDocument(R"([{"mfr": "Contoso"}])");
  EXPECT_TRUE(FleetLint(list).Findings().empty());
}

// Numbers, and after them "Contoso".
class ManyNames : public PairSource {
 public:
  explicit ManyNames(std::size_t others) : others_(others) {}
  std::optional<PairView> First(const TextPattern& name, const Pairs& except) const override {
    if (except.size() > others_) return std::nullopt;
    name_ =
        String::UTF8ToUTF16(except.size() == others_ ? "Contoso" : std::to_string(except.size()));
    if (!name.Matches(name_)) return std::nullopt;
    return PairView{name_, {}};
  }

 private:
  std::size_t others_;
  mutable yox::WString name_;
};

class TaggedFacts : public DeviceFacts {
 public:
  explicit TaggedFacts(const PairSource& tags) : DeviceFacts(NoPairs()), tags_(tags) {}

 private:
  PairsFact FetchTags() override { return {.knowledge = Knowledge::kKnown, .pairs = &tags_}; }
  std::int64_t FetchNow() override { return 0; }

  const PairSource& tags_;
};

TEST(FleetLint, OfADeviceAThousandNamesAreLookedAt) {
  const auto detail = [](std::size_t others) {
    const ApplicabilityFilter list = ReadFilterDocument(R"([{"tag": "Contosso"}])");
    FleetLint lint(list);
    const ManyNames tags(others);
    TaggedFacts facts(tags);
    FleetLint::Tally tally(lint);
    tally.Add(facts);
    lint.Add(tally);
    return lint.Findings().at(0).detail;
  };
  EXPECT_EQ(detail(999), "did you mean \"Contoso\": 1 device");
  EXPECT_EQ(detail(1000), "");
}

TEST(FleetLint, AFindingIsAllowedByAComment) {
  const std::string document =
      R"([{"comment": "lint: allow no-device: shipped in May", "model": "X1"}, {"default": "false"}])";
  const ApplicabilityFilter list = ReadFilterDocument(document);
  FleetLint lint(list);
  const PreparedDevice device(ReadFacts(kFleet[0]));
  const Question question;
  PreparedFacts prepared(device, question);
  FleetLint::Tally tally(lint);
  tally.Add(prepared);
  lint.Add(tally);
  const auto findings = LintDocument(document, {2026, 3, 1}, kLintEffort,
                                     [&](const auto&) { return lint.Findings(); });
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings[0].allowed, "shipped in May");
  // Without a fleet it is not known whether the comment is used.
  EXPECT_TRUE(LintDocument(document, {2026, 3, 1}).empty());
}

}  // namespace
}  // namespace yox_test
