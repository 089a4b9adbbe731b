#include <gtest/gtest.h>
#include <json/value.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/FleetLint.h"
#include "yox/decision/Lint.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/decision/TestMoments.h"

#include "tests/support/SchemaPaths.h"

using yox::decision::kFilterFieldNames;
using yox::decision::LintDocument;
using yox::decision::LintFinding;
using yox::decision::MessageOf;

namespace yox_test {
namespace {

// A finding at the filter, and the criterion if one is named, in which the mistake was planted.
bool IsAt(const LintFinding& finding, const Json::Value& planted) {
  if (finding.filter != std::size_t{planted["filter"].asUInt()}) return false;
  return !planted["criterion"].isString() ||
         (finding.field && kFilterFieldNames[static_cast<std::size_t>(*finding.field)] ==
                               planted["criterion"].asString());
}

// What is found in a list, with the devices beside it if there are any.
std::vector<LintFinding> FindingsIn(const Json::Value& row) {
  const std::string document = yox::JsonText(row["list"]);
  const ApplicabilityFilter list = yox::decision::ReadFilterDocument(document);
  yox::decision::FleetLint fleet(list);
  for (const Json::Value& facts : row["facts"]) {
    const yox::decision::PreparedDevice device(yox::decision::ReadFacts(yox::JsonText(facts)));
    const yox::decision::Question question;
    yox::decision::PreparedFacts prepared(device, question);
    yox::decision::FleetLint::Tally tally(fleet);
    tally.Add(prepared);
    fleet.Add(tally);
  }
  return LintDocument(document, kToday, yox::decision::kLintEffort,
                      [&](const auto&) { return fleet.Findings(); });
}

TEST(LintCorpus, PlantedMistakesAreFoundAtTheirPlace) {
  const Json::Value lists = yox::ParseDocument(CheckoutFile("tests/corpora/lint-planted.json"));
  ASSERT_GE(lists.size(), 60U);
  Json::ArrayIndex found = 0;
  for (const Json::Value& planted : lists) {
    const auto findings = FindingsIn(planted);
    if (std::ranges::any_of(findings, [&](const auto& one) { return IsAt(one, planted); })) {
      ++found;
    } else {
      std::cout << "not found: " << planted["mistake"].asString() << "\n";
    }
  }
  std::cout << found << " of " << lists.size() << " planted mistakes found\n";
  EXPECT_EQ(found, lists.size());
}

TEST(LintCorpus, OfRightListsNothingIsSaid) {
  const Json::Value lists = yox::ParseDocument(CheckoutFile("tests/corpora/lint-right.json"));
  ASSERT_GE(lists.size(), 40U);
  for (const Json::Value& right : lists) {
    for (const LintFinding& finding : FindingsIn(right)) {
      if (!finding.allowed) ADD_FAILURE() << right["what"].asString() << ": " << MessageOf(finding);
    }
  }
}

}  // namespace
}  // namespace yox_test
