#include <gtest/gtest.h>
#include <json/value.h>

#include <string>
#include <utility>
#include <vector>

#include "yox/base/Json.h"
#include "yox/base/WString.h"
#include "yox/decision/ExplanationDocument.h"

namespace yox::decision {
namespace {

using namespace yox::literals;
using Outcome = ExplainedFilter::Outcome;

// As text, in which numbers are equal whatever their type.
std::string Written(const Explanation& explanation) {
  return ExplanationJson(explanation).toStyledString();
}
std::string Parsed(const std::string& text) { return ParseLenientJson(text)->toStyledString(); }

ExplainedCriterion CriterionOf(FilterField field, CriterionResult result,
                               std::vector<ExplainedFact> facts) {
  return {.field = field,
          .required = facts.front().required,
          .result = result,
          .facts = std::move(facts)};
}

TEST(ExplanationDocumentTest, HasTheReasonAndEveryCriterionOfADecision) {
  Explanation explanation;
  explanation.applies = true;
  explanation.reason = "größe"_w;
  explanation.decided_by = 1;
  explanation.filters.push_back(
      {Outcome::kNotMatched,
       true,
       {CriterionOf(FilterField::country, CriterionResult::kDiffers,
                    {{"US"_w, "DE"_w, "region", "a note", CriterionResult::kDiffers}}),
        CriterionOf(FilterField::mfr, CriterionResult::kHeld,
                    {{"Contoso"_w, "Contoso"_w, "firmware", {}, CriterionResult::kHeld}}),
        CriterionOf(FilterField::model, CriterionResult::kMissing,
                    {{"FA14"_w, {}, "firmware", {}, CriterionResult::kMissing}})}});
  explanation.filters.push_back({Outcome::kMatched, true, {}});
  explanation.nearest_miss = 0;
  EXPECT_EQ(Written(explanation), Parsed(R"({
    "applies": true, "reason": "größe", "decided_by": 1,
    "nearest_miss": {"filter": 0, "criteria": ["country", "model"]},
    "explain": [
      {"filter": 0, "outcome": "not matched", "criteria": [
        {"criterion": "country", "required": "US", "actual": "DE", "matched": false, "result": "differs",
         "source": "region", "note": "a note"},
        {"criterion": "mfr", "required": "Contoso", "actual": "Contoso", "matched": true, "result": "held",
         "source": "firmware"},
        {"criterion": "model", "required": "FA14", "actual": "", "matched": false, "result": "missing",
         "source": "firmware"}]},
      {"filter": 1, "outcome": "matched", "criteria": []}]})"));
}

TEST(ExplanationDocumentTest, OfSeveralFactsEachIsAPart) {
  Explanation explanation;
  ExplainedCriterion tags =
      CriterionOf(FilterField::tag, CriterionResult::kUnknown,
                  {{"Ring|beta"_w, "beta"_w, "tag Ring", "first", CriterionResult::kHeld},
                   {"Dock"_w, {}, "tags", "second", CriterionResult::kUnknown},
                   {"Level|>1"_w, "2"_w, "tag Level", {}, CriterionResult::kHeld}});
  tags.required = "Ring|beta,Dock,Level|>1"_w;
  explanation.filters.push_back({Outcome::kUndecided, true, {tags}});
  const std::string parts = R"([
    {"required": "Ring|beta", "actual": "beta", "matched": true, "result": "held", "source": "tag Ring",
     "note": "first"},
    {"required": "Dock", "actual": "", "matched": false, "result": "unknown", "source": "tags", "note": "second"},
    {"required": "Level|>1", "actual": "2", "matched": true, "result": "held", "source": "tag Level"}])";
  const std::string whole = Parsed(R"({"criterion": "tag", "required": "Ring|beta,Dock,Level|>1",
    "actual": "beta, 2", "matched": false, "result": "unknown", "source": "tag Ring", "parts": )" +
                                   parts + "}");
  const auto written = [&] { return ExplanationJson(explanation)["explain"][0]["criteria"][0]; };
  EXPECT_EQ(written().toStyledString(), whole);
  explanation.filters[0].criteria[0].facts_left_out = 7;
  EXPECT_EQ(written()["parts_left_out"].asInt(), 7);
}

TEST(ExplanationDocumentTest, AnUndeterminedDecisionSaysWhatItNeeds) {
  Explanation explanation;
  explanation.reason = "not shown"_w;
  explanation.is_undetermined = true;
  explanation.needs = {"mfr", "tags"};
  explanation.filters.push_back({Outcome::kUndecided, true, {}});
  explanation.filters.push_back({Outcome::kNotReached, true, {}});
  explanation.filters.push_back({Outcome::kDefault, true, {}});
  EXPECT_EQ(Written(explanation), Parsed(R"({
    "applies": null, "needs": ["mfr", "tags"], "decided_by": null, "nearest_miss": null,
    "explain": [{"filter": 0, "outcome": "undetermined", "criteria": []},
                {"filter": 1, "outcome": "not reached", "criteria": []},
                {"filter": 2, "outcome": "default", "criteria": []}]})"));
}

}  // namespace
}  // namespace yox::decision
