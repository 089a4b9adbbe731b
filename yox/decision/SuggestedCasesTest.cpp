#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/SuggestedCases.h"

#include "tests/support/Rows.h"

namespace yox::decision {
namespace {

using YOX::String;

std::string OneLine(const Json::Value& value) {
  std::string text = JsonText(value, JsonStyle::kReadableLine);
  text.pop_back();
  return text;
}

// "DECIDED_BY APPLIES CHANGES now=... target=... KEY=VALUE" of each case, then the open goals.
std::string Described(const SuggestedCases& suggested) {
  std::string all;
  for (const ListTestCase& one : suggested.cases) {
    all += (one.decided_by ? std::to_string(*one.decided_by) : "-") +
           (one.applies == Truth::kTrue ? " +" : " -");
    if (one.changes) all += " " + OneLine(*one.changes);
    if (one.now) all += " now=" + String::UTF16ToUTF8(*one.now);
    if (one.target_version) all += " target=" + String::UTF16ToUTF8(*one.target_version);
    for (const auto& [key, value] : one.tags) {
      all += " " + String::UTF16ToUTF8(key) + "=" + String::UTF16ToUTF8(value);
    }
    all += "\n";
  }
  for (const CoverageGoal& goal : suggested.open) {
    all += "open " + std::to_string(goal.filter);
    if (goal.failing) {
      all += " " + std::string(kFilterFieldNames[static_cast<std::size_t>(*goal.failing)]);
    }
    all += "\n";
  }
  return all;
}

struct SuggestionRow {
  const char* name;
  std::string list;  // with ' for "
  const char* cases;
};

class SuggestedFor : public testing::TestWithParam<SuggestionRow> {};

// A list has the same cases each time and everywhere, so that a file of them can be compared.
TEST_P(SuggestedFor, AreTheseCases) {
  std::string text = GetParam().list;
  std::ranges::replace(text, '\'', '"');
  EXPECT_EQ(Described(SuggestCases(ReadFilterDocument(text))), GetParam().cases);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, SuggestedFor,
    testing::Values(
        SuggestionRow{"Empty", "[]", ""}, SuggestionRow{"Default", "[{'default': 'false'}]", R"(0 -
)"},
        SuggestionRow{"Country", "[{'country': 'US'}]", R"(0 + {"region":{"country_code":"US"}}
- - {"region":{"country_code":"CH"}}
)"},
        SuggestionRow{"NotTheNeutralCountry", "[{'country': '!CH,!CH'}, {'default': 'false'}]",
                      R"(0 + {"region":{"country_code":"JP"}}
1 - {"region":{"country_code":"CH"}}
)"},
        SuggestionRow{"Both", "[{'country': '!CH', 'language': '!fr-CH'}]",
                      R"(0 + {"region":{"country_code":"JP","language_code":"ja-JP"}}
- - {"region":{"country_code":"CH","language_code":"fr-CH"}}
- - {"region":{"country_code":"JP","language_code":"fr-CH"}}
)"},
        SuggestionRow{"Enclosure", "[{'enclosure': '!Desktop,Tablet*'}, {'enclosure': '*'}]",
                      R"(0 + {"firmware":{"enclosure_type":"Tablet"}}
1 + {"firmware":{"enclosure_type":"Desktop"}}
open 1 enclosure
)"},
        SuggestionRow{
            "Firmware", "[{'family': ' A*', 'model': '*B ', 'mfr': '*C*', 'sku': '!D'}]",
            R"(0 + {"firmware":{"family":"A","manufacturer":"C","model_number":"B","sku":"Other"}}
- - {"firmware":{"family":"Other","manufacturer":"Other","model_number":"Other","sku":"Other"}}
- - {"firmware":{"family":"Another","manufacturer":"C","model_number":"B","sku":"D"}}
- - {"firmware":{"family":"A","manufacturer":"C","model_number":"Other","sku":"Other"}}
- - {"firmware":{"family":"A","manufacturer":"Other","model_number":"Other","sku":"Other"}}
)"},
        SuggestionRow{
            "System",
            "[{'os': 'Windows', 'os_bitness': '32', 'os_description': 'Pro'}, "
            "{'os_bitness': 'ARM64'}, {'os_bitness': 'not supported'}, {'os': '!Windows'}]",
            R"(0 + {"os":{"architecture":0,"caption":"Pro"}}
1 + {"os":{"architecture":12,"caption":"Other"}}
2 + {"os":{"architecture":5,"caption":"Other"}}
- - {"os":{"architecture":0,"caption":"Other"}}
open 0 os
open 3
)"},
        SuggestionRow{"Hashes", "[{'sn_hash': 'a1*'}, {'org_hash': '!b*'}]",
                      R"(0 + {"firmware":{"serial_number":"C111"},"organisation":{"realm":"Other"}}
1 + {"firmware":{"serial_number":"Other"},"organisation":{"realm":"Other"}}
- - {"firmware":{"serial_number":"Other"},"organisation":{"realm":"C11"}}
)"},
        SuggestionRow{"Hardware", "[{'hardware_id': 'pci/a*'}, {'hardware_id': '!USB*'}]",
                      R"(0 + {"devices":[{"hardware_ids":["PCI\\A"],"instance_id":"PCI\\A\\1"}]}
- -
open 1
)"},
        SuggestionRow{"Subscriptions",
                      "[{'device_subscription': 'a*'}, {'device_subscription': '!b'}]",
                      R"(0 + {"organisation":{"subscriptions":["a"]}}
1 + {"organisation":{"subscriptions":["00000000-0000-4000-8000-000000000000"]}}
- -
)"}),
    yox_test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Versions, SuggestedFor,
    testing::Values(
        SuggestionRow{"Equal", "[{'version': '1.2.10'}]", R"(0 + {"client":{"version":"1.2.10"}}
- - {"client":{"version":"1.0.0.0"}}
)"},
        SuggestionRow{
            "Neighbours",
            "[{'version': '>1.2.10,<1.2.9'}, {'version': '<1.2.10'}, {'version': '1.2.10'}]",
            R"(0 + {"client":{"version":"1.0.0.0"}}
1 + {"client":{"version":"1.2.9"}}
2 + {"client":{"version":"1.2.10"}}
open 2 version
)"},
        SuggestionRow{"BetweenTwo",
                      "[{'os_version': '>=1.2.12,<=1.2.10'}, {'os_version': '1.2.11'}]",
                      R"(0 + {"os":{"version":"1.0.0.0"}}
1 + {"os":{"version":"1.2.11"}}
open 1 os_version
)"},
        SuggestionRow{"AtZero", "[{'version': '>0.0'}, {'version': '<=0.0'}]",
                      R"(0 + {"client":{"version":"1.0.0.0"}}
1 + {"client":{"version":"0.0"}}
open 1 version
)"},
        SuggestionRow{"TooLarge", "[{'version': '>=1.99999999999'}, {'version': '>1.2000000000'}]",
                      R"(1 + {"client":{"version":"1.2000000001"}}
- - {"client":{"version":"1.0.0.0"}}
open 0
)"},
        SuggestionRow{"Target", "[{'target_version': '!1.2'}, {'target_version': '>=0.0'}]",
                      R"(0 + target=1.1
1 + target=1.2
- -
)"}),
    yox_test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Pairs, SuggestedFor,
    testing::Values(
        SuggestionRow{"Tags", "[{'tag': 'A'}, {'tag': '!A,B|x'}, {'tag': 'B'}]", R"(0 + A=x
1 + B=x
- -
open 2
)"},
        SuggestionRow{"TagNumbers", "[{'tag': 'A|>5'}, {'tag': 'A|<5'}, {'tag': 'A|>=5'}]",
                      R"(0 + A=6
1 + A=4
2 + A=5
- -
)"},
        SuggestionRow{"TagVersions", "[{'tag': 'A|>5.0'}, {'tag': 'A|<5.0'}, {'tag': 'A|>=5.0'}]",
                      R"(0 + A=5.1
2 + A=5.0
- -
open 1
)"},
        SuggestionRow{"TagTexts", "[{'tag': ' a | B* '}, {'tag': 'A|!x'}, {'tag': 'A|'}]",
                      R"(0 + a=B
2 + a=x
- -
open 1
)"},
        SuggestionRow{"Items",
                      "[{'installed_items': 'Editor|>=7.0'}, {'installed_items': 'Editor,Viewer'}]",
                      R"(0 + {"installed_apps":[{"key":"Editor","name":"Editor","version":"7.0"}]}
1 + {"installed_apps":[{"key":"Viewer","name":"Viewer","version":"1.0"}]}
- -
)"},
        SuggestionRow{"Registry",
                      "[{'registry': 'HKLM\\\\A:B|x*'}, {'registry': 'HKCU/A:B|!y,HKLM\\\\A:C|'}, "
                      "{'registry': 'HKLM\\\\A:B|*'}]",
                      R"(0 + {"registry":{"HKLM\\A":{"B":{"data":"x","type":"REG_SZ"}}}}
1 + {"registry":{"HKCU\\A":{"B":{"data":"Other","type":"REG_SZ"}},"HKLM\\A":{"C":{"data":"Other","type":"REG_SZ"}}}}
2 + {"registry":{"HKLM\\A":{"B":{"data":"Other","type":"REG_SZ"}}}}
- -
)"},
        SuggestionRow{"RegistryThatCannotBe",
                      "[{'registry': 'HKCR\\\\A:B|'}, {'registry': 'HKLM\\\\:B|'}]", R"(- -
open 0
open 1
)"}),
    yox_test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Days, SuggestedFor,
    testing::Values(
        SuggestionRow{"Window", "[{'date_range': '2026-02-28|2026-03-01'}]",
                      R"(0 + now=2026-03-01T12:00:00
- - now=2026-02-27T12:00:00
)"},
        SuggestionRow{"WindowOfOneDay",
                      "[{'date_range': '*|2024-02-28'}, {'date_range': '2024-03-01|*'}, "
                      "{'date_range': '2024-02-29|2024-02-29'}]",
                      R"(0 + now=2024-02-27T12:00:00
1 + now=2024-03-01T12:00:00
2 + now=2024-02-29T12:00:00
open 2 date_range
)"},
        SuggestionRow{"NoSuchDays",
                      "[{'date_range': '2026-02-30|*'}, {'date_range': '2026-00-01|2026-01-00'}, "
                      "{'date_range': '9999-12-31|*'}, {'date_range': '10000-01-01|*'}]",
                      R"(0 + now=9999-12-30T12:00:00
open 0 date_range
open 1
open 1 date_range
open 2
open 2 date_range
open 3
open 3 date_range
)"},
        SuggestionRow{"Rollout", "[{'date_function': '2026-02-16|28|linear'}]",
                      R"(0 + now=2026-03-16T12:00:00
- - now=2026-02-15T12:00:00
)"},
        SuggestionRow{"RolloutOfTenants",
                      "[{'date_function': '2026-02-16|28|linear|tenant', 'org_hash': 'f*'}]",
                      R"(0 + {"organisation":{"realm":"C15"}} now=2026-03-16T12:00:00
- - {"organisation":{"realm":"Other"}} now=2026-02-15T12:00:00
- - {"organisation":{"realm":"Other"}} now=2026-03-16T12:00:00
)"}),
    yox_test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Lists, SuggestedFor,
    testing::Values(
        SuggestionRow{
            "Chain",
            "[{'country': 'US', 'mfr': 'A', 'value': 'false'}, {'country': 'US,DE', "
            "'model': 'B', 'sku': 'C'}, {'mfr': 'A', 'value': 'false'}, {'model': 'B'}]",
            R"(0 - {"firmware":{"manufacturer":"A","model_number":"Other","sku":"Other"},"region":{"country_code":"US"}}
1 + {"firmware":{"manufacturer":"Other","model_number":"B","sku":"C"},"region":{"country_code":"DE"}}
2 - {"firmware":{"manufacturer":"A","model_number":"Other","sku":"Other"},"region":{"country_code":"CH"}}
3 + {"firmware":{"manufacturer":"Other","model_number":"B","sku":"Other"},"region":{"country_code":"US"}}
- - {"firmware":{"manufacturer":"Other","model_number":"Other","sku":"Other"},"region":{"country_code":"US"}}
)"},
        SuggestionRow{"Unreachable",
                      "[{'mfr': 'A'}, {'mfr': 'A', 'sku': 'B'}, {'default': 'true'}, "
                      "{'sku': 'C'}]",
                      R"(0 + {"firmware":{"manufacturer":"A","sku":"Other"}}
2 + {"firmware":{"manufacturer":"Other","sku":"Other"}}
open 1
open 1 sku
open 3
open 3 sku
)"},
        SuggestionRow{"Contradicting",
                      "[{'tag': 'A|>5,A|<5', 'mfr': 'A'}, {'tag': 'A|>5,B|<5', 'mfr': 'B'}]",
                      R"(1 + {"firmware":{"manufacturer":"B"}} A=6 B=4
- - {"firmware":{"manufacturer":"B"}}
- - {"firmware":{"manufacturer":"A"}}
open 0
)"},
        SuggestionRow{
            "ThreeOfEach",
            "[{'mfr': 'A', 'sku': 'A', 'model': 'A'}, {'mfr': 'B', 'sku': 'B', 'model': 'B', "
            "'value': 'false'}, {'mfr': 'A,B', 'sku': 'A,B', 'model': 'A,B'}, {'default': "
            "'false'}]",
            R"(0 + {"firmware":{"manufacturer":"A","model_number":"A","sku":"A"}}
1 - {"firmware":{"manufacturer":"B","model_number":"B","sku":"B"}}
2 + {"firmware":{"manufacturer":"B","model_number":"B","sku":"A"}}
3 - {"firmware":{"manufacturer":"Other","model_number":"Other","sku":"Other"}}
3 - {"firmware":{"manufacturer":"A","model_number":"B","sku":"Other"}}
3 - {"firmware":{"manufacturer":"B","model_number":"Other","sku":"Other"}}
3 - {"firmware":{"manufacturer":"A","model_number":"A","sku":"Other"}}
)"}),
    yox_test::RowName());

// Of a text with hundreds of alternatives the first are tried.
TEST(SuggestCasesOf, ManyAlternativesTryTheFirst) {
  std::string text = "M0";
  for (int i = 1; i < 100; ++i) text += ",M" + std::to_string(i);
  const auto open = [&](const char* last) {
    Filter excluded;
    excluded.set_model(String::UTF8ToUTF16(text));
    Filter wanted;
    wanted.set_model(String::UTF8ToUTF16(last));
    return Described(SuggestCases(ApplicabilityFilter({wanted, excluded})));
  };
  EXPECT_EQ(open("M5*").find("open"), std::string::npos);
}

TEST(SuggestCasesOf, AListAreNamedByWhatDecides) {
  std::string names;
  for (const char* const list : {R"([{"country": "US"}])",
                                 R"([{"country": "US", "value": "false"}, {"default": "true"}])"}) {
    const SuggestedCases suggested = SuggestCases(ReadFilterDocument(list));
    for (const ListTestCase& one : suggested.cases) names += String::UTF16ToUTF8(one.name) + "\n";
  }
  EXPECT_EQ(names,
            "filter [0] decides: applies\nno filter decides: does not apply\n"
            "filter [0] decides: does not apply\nfilter [1] decides: applies\n");
}

TEST(CoverageGoalsOf, AFilterAreItselfAndItsCriteriaInTheirOrder) {
  std::string shown;
  for (const CoverageGoal& goal : CoverageGoals(ReadFilterDocument(
           R"([{"tag": "A", "country": "US"}, {"default": "false", "mfr": "A"}, {}])"))) {
    shown += std::to_string(goal.filter);
    if (goal.failing) shown += kFilterFieldNames[static_cast<std::size_t>(*goal.failing)];
    shown += " ";
  }
  EXPECT_EQ(shown, "0 0country 0tag 1 2 ");
}

TEST(WrittenCases, HaveEachKeyThatIsSet) {
  ListTestCase bare;
  bare.name = "a \"b\""_w;
  bare.applies = Truth::kFalse;
  ListTestCase whole;
  whole.name = "c"_w;
  whole.changes = Json::Value(Json::objectValue);
  (*whole.changes)["client"]["version"] = "1.0";
  whole.now = "2026-03-01T12:00:00"_w;
  whole.target_version = "2.0"_w;
  whole.tags = {{"A"_w, "x"_w}, {"B"_w, ""_w}};
  whole.applies = Truth::kTrue;
  whole.decided_by = 0;
  EXPECT_EQ(WriteCases({}), "{\n  \"cases\": []\n}\n");
  EXPECT_EQ(WriteCases({bare, whole}), R"({
  "cases": [
    { "name": "a \"b\"", "applies": false },
    {
      "name": "c",
      "changes": { "client": { "version": "1.0" } },
      "now": "2026-03-01T12:00:00",
      "target_version": "2.0",
      "tags": { "A": "x", "B": "" },
      "applies": true,
      "decided_by": 0
    }
  ]
}
)");
}

}  // namespace
}  // namespace yox::decision
