#include <gtest/gtest.h>

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

// "[0]:OFFSET+LENGTH (DETAIL)", and the criterion's text after the fix.
std::string Found(const std::string& document) {
  const ApplicabilityFilter list = ReadFilterDocument(document);
  FleetLint lint(list);
  for (const char* const facts : kFleet) {
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

const FleetRow kRows[] = {
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
};

INSTANTIATE_TEST_SUITE_P(Rows, FleetLintRows, testing::ValuesIn(kRows), RowName());

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
