#include <gtest/gtest.h>
#include <json/value.h>

#include <algorithm>
#include <iostream>
#include <string>

#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"
#include "yox/decision/Lint.h"

#include "tests/support/SchemaPaths.h"

using yox::decision::kFilterFieldNames;
using yox::decision::LintDocument;
using yox::decision::LintFinding;
using yox::decision::MessageOf;

namespace yox_test {
namespace {

constexpr yox::LocalDate kToday{2026, 3, 1};

// A finding at the filter, and the criterion if one is named, in which the mistake was planted.
bool IsAt(const LintFinding& finding, const Json::Value& planted) {
  if (finding.filter != std::size_t{planted["filter"].asUInt()}) return false;
  return !planted["criterion"].isString() ||
         (finding.field && kFilterFieldNames[static_cast<std::size_t>(*finding.field)] ==
                               planted["criterion"].asString());
}

TEST(LintCorpus, NearlyAllPlantedMistakesAreFoundAtTheirPlace) {
  const Json::Value lists = yox::ParseDocument(CheckoutFile("tests/corpora/lint-planted.json"));
  ASSERT_EQ(lists.size(), 60U);
  int found = 0;
  for (const Json::Value& planted : lists) {
    const auto findings = LintDocument(yox::JsonText(planted["list"]), kToday);
    if (std::ranges::any_of(findings, [&](const auto& one) { return IsAt(one, planted); })) {
      ++found;
    } else {
      std::cout << "not found: " << planted["mistake"].asString() << "\n";
    }
  }
  std::cout << found << " of 60 planted mistakes found\n";
  // A slip in a maker's name, and a version that no system has yet, need facts of devices.
  EXPECT_EQ(found, 58);
}

TEST(LintCorpus, OfRightListsNothingIsSaid) {
  const Json::Value lists = yox::ParseDocument(CheckoutFile("tests/corpora/lint-right.json"));
  ASSERT_EQ(lists.size(), 40U);
  for (const Json::Value& right : lists) {
    for (const LintFinding& finding : LintDocument(yox::JsonText(right["list"]), kToday)) {
      if (!finding.allowed) ADD_FAILURE() << right["what"].asString() << ": " << MessageOf(finding);
    }
  }
}

}  // namespace
}  // namespace yox_test
