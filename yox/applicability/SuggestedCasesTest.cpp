#include <gtest/gtest.h>

#include <set>
#include <string>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/DeviceOfCase.h"
#include "yox/applicability/SimulatedProcess.h"
#include "yox/base/String.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/SuggestedCases.h"

#include "tests/support/Generators.h"
#include "tests/support/Rows.h"
#include "tests/support/SchemaPaths.h"

using yox::applicability::DeviceOfCase;
using yox::applicability::SimulatedProcess;
using yox::decision::CoverageGoal;
using yox::decision::CoverageGoals;
using yox::decision::Explanation;
using yox::decision::GoalsReached;
using yox::decision::ListTestCase;
using yox::decision::ReadFilterDocument;
using yox::decision::ReadListTest;
using yox::decision::SuggestCases;
using yox::decision::WriteCases;

namespace yox_test {
namespace {

// Decides a case as `yoxctl test` does.
Explanation DecideCase(const ApplicabilityFilter& list, const ListTestCase& test) {
  const SimulatedProcess process(DeviceOfCase(test, "{}"));
  ApplicabilityEvaluator::Pairs tags;
  for (const auto& [key, value] : test.tags) tags.emplace_back(key, value);
  return ApplicabilityEvaluator::CreateWithoutTasks()->Explain(
      list, test.target_version ? &*test.target_version : nullptr, tags);
}

std::string Shown(const CoverageGoal& goal) {
  return "[" + std::to_string(goal.filter) + "]" +
         (goal.failing
              ? std::string(" ") +
                    std::string(
                        yox::decision::kFilterFieldNames[static_cast<std::size_t>(*goal.failing)])
              : "");
}

struct SuggestionRow {
  const char* name;
  std::string list;  // with ' for "
  std::size_t most_cases;
};

class Suggestion : public testing::TestWithParam<SuggestionRow> {};

// The cases are written, read, and decided on the devices that they describe.
TEST_P(Suggestion, ReachesEachFilterAndBothSidesOfEachCriterion) {
  std::string text = GetParam().list;
  std::ranges::replace(text, '\'', '"');
  const ApplicabilityFilter list = ReadFilterDocument(text);
  const auto suggested = SuggestCases(list);
  for (const CoverageGoal& goal : suggested.open) ADD_FAILURE() << "open: " << Shown(goal);
  EXPECT_LE(suggested.cases.size(), GetParam().most_cases);
  std::set<CoverageGoal> reached;
  const std::string document = WriteCases(suggested.cases);
  for (const ListTestCase& test : ReadListTest(document).cases) {
    const Explanation found = DecideCase(list, test);
    EXPECT_EQ(found.applies, *test.applies == yox::decision::Truth::kTrue) << document;
    if (test.decided_by) {
      EXPECT_EQ(found.decided_by, std::size_t{*test.decided_by}) << document;
    }
    for (const CoverageGoal& goal : GoalsReached(found)) reached.insert(goal);
  }
  for (const CoverageGoal& goal : CoverageGoals(list)) {
    EXPECT_TRUE(reached.contains(goal)) << Shown(goal) << document;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Suggestion,
    testing::Values(
        SuggestionRow{"Country", "[{'country': 'US,CA'}, {'default': 'false'}]", 2},
        SuggestionRow{
            "NegatedAndWildcards",
            "[{'mfr': '!Contoso', 'value': 'false'}, {'model': 'FA14*'}, {'family': '*Mini*'}]", 4},
        SuggestionRow{"Versions",
                      "[{'os_version': '<10.0.19041', 'value': 'false'}, {'version': '4.2.10', "
                      "'target_version': '>=1.2,<=0.5'}]",
                      4},
        SuggestionRow{"OneVersionBelow", "[{'version': '<0.0.0.1'}, {'default': 'false'}]", 2},
        SuggestionRow{"OneVersionAbove", "[{'version': '>99999.0.0.0'}, {'default': 'false'}]", 2},
        SuggestionRow{"Windows",
                      "[{'date_range': '2026-02-01|2026-02-01'}, {'date_range': '2026-02-02|*', "
                      "'country': 'DE'}]",
                      4},
        SuggestionRow{"Rollout", "[{'date_function': '2026-02-16|28|linear', 'language': 'en*'}]",
                      3},
        SuggestionRow{"Tags", "[{'tag': 'Ring|beta,!Managed,Memory|>=16'}, {'tag': 'Ring|beta'}]",
                      3},
        SuggestionRow{"Applications",
                      "[{'installed_items': 'Contoso Editor|>=7.0', 'os_bitness': 'ARM64'}]", 3},
        SuggestionRow{
            "Registry",
            "[{'registry': "
            "'HKLM\\\\SOFTWARE\\\\Contoso:Channel|beta*,HKCU\\\\SOFTWARE\\\\Contoso:Level|!5'}]",
            2},
        SuggestionRow{"HardwareAndSubscription",
                      "[{'hardware_id': 'pci/ven_8086*'}, {'device_subscription': "
                      "'1b4e28ba-2fa1-11d2-883f-0016d3cca427'}]",
                      3},
        SuggestionRow{"Hash", "[{'sn_hash': 'a1*', 'org_hash': '!b*'}]", 3},
        SuggestionRow{
            "SkuAndEnclosure",
            "[{'sku': 'F14-*', 'enclosure': 'Notebook,Tablet', 'os_description': '*Pro*'}]", 4}),
    RowName());

TEST(SuggestCasesTest, OfTheExamplesPasses) {
  for (const char* name : {"editor-8", "firmware-1.36", "pilot-ring"}) {
    const auto list =
        ReadFilterDocument(CheckoutFile("examples/lists/" + std::string(name) + ".json"));
    const auto suggested = SuggestCases(list);
    EXPECT_TRUE(suggested.open.empty()) << name;
    for (const ListTestCase& test : suggested.cases) {
      EXPECT_EQ(DecideCase(list, test).decided_by.value_or(99), test.decided_by.value_or(99))
          << name;
    }
  }
}

// Three criteria of filter 1 have to fail first, each in a case of its own that gets past it, and
// filters 0 and 1 decide in two more.
TEST(SuggestCasesTest, TakesNoMoreCasesThanNeeded) {
  const auto list = ReadFilterDocument(CheckoutFile("examples/lists/editor-8.json"));
  EXPECT_EQ(SuggestCases(list).cases.size(), 5U);
}

TEST(SuggestCasesTest, ADeviceWithoutTheRegistryValueComesFirst) {
  const auto list = ReadFilterDocument(
      R"([{"registry": "HKLM\\SOFTWARE\\Contoso:Channel|beta"}, {"default": "false"}])");
  const auto suggested = SuggestCases(list);
  EXPECT_EQ(suggested.cases.size(), 2U);
  const std::string document = WriteCases(suggested.cases);
  EXPECT_NE(document.find("beta"), std::string::npos) << document;
  EXPECT_EQ(document.find("Other"), std::string::npos) << document;
}

TEST(SuggestCasesTest, WhatCannotBeReachedStaysOpen) {
  const auto suggested =
      SuggestCases(ReadFilterDocument(R"([{"country": "US"}, {"country": "US", "mfr": "A"}])"));
  ASSERT_EQ(suggested.open.size(), 1U + 1U);
  EXPECT_EQ(Shown(suggested.open[0]), "[1]");
  EXPECT_EQ(Shown(suggested.open[1]), "[1] mfr");
}

}  // namespace
}  // namespace yox_test
