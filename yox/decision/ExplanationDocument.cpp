#include "yox/decision/ExplanationDocument.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>

#include "yox/base/Interruption.h"
#include "yox/base/String.h"
#include "yox/decision/FilterFields.h"

namespace yox::decision {
namespace {

constexpr std::array<std::string_view, 4> kResults = {"held", "differs", "missing", "unknown"};
constexpr std::array<std::string_view, 5> kOutcomes = {"matched", "not matched", "default",
                                                       "not reached", "undetermined"};

template <class Value>
Json::Value Word(Value value) {
  return std::string(WordOf(value));
}

std::string NameOf(FilterField field) {
  return std::string(kFilterFieldNames[static_cast<std::size_t>(field)]);
}

Json::Value Utf8(const yox::WString& text) { return String::UTF16ToUTF8(text); }

Json::Value FactJson(const ExplainedFact& fact) {
  Json::Value json;
  json["required"] = Utf8(fact.required);
  json["actual"] = Utf8(fact.actual);
  json["matched"] = fact.result == CriterionResult::kHeld;
  json["result"] = Word(fact.result);
  json["source"] = fact.source;
  if (!fact.note.empty()) json["note"] = fact.note;
  return json;
}

// As its one fact; of several, `parts` has each.
Json::Value CriterionJson(const ExplainedCriterion& criterion) {
  Json::Value json = FactJson(criterion.facts.front());
  json["criterion"] = NameOf(criterion.field);
  json["required"] = Utf8(criterion.required);
  json["matched"] = criterion.result == CriterionResult::kHeld;
  json["result"] = Word(criterion.result);
  if (criterion.facts.size() == 1) return json;
  std::string actual;
  json.removeMember("note");
  for (const ExplainedFact& fact : criterion.facts) {
    if (!fact.actual.empty()) {
      actual += (actual.empty() ? "" : ", ") + String::UTF16ToUTF8(fact.actual);
    }
    json["parts"].append(FactJson(fact));
  }
  json["actual"] = actual;
  if (criterion.facts_left_out > 0) {
    json["parts_left_out"] = Json::UInt64{criterion.facts_left_out};
  }
  return json;
}

Json::Value IndexJson(const std::optional<std::size_t>& index) {
  return index ? Json::Value(Json::UInt64{*index}) : Json::Value();
}

}  // namespace

std::string_view WordOf(CriterionResult result) {
  return kResults[static_cast<std::size_t>(result)];
}
std::string_view WordOf(ExplainedFilter::Outcome outcome) {
  return kOutcomes[static_cast<std::size_t>(outcome)];
}

Json::Value ExplanationJson(const Explanation& explanation) {
  Json::Value json;
  if (explanation.is_undetermined) {
    json["applies"] = Json::Value();
    json["needs"] = Json::Value(Json::arrayValue);
    for (const std::string& fact : explanation.needs) json["needs"].append(fact);
  } else {
    json["applies"] = explanation.applies;
    json["reason"] = Utf8(explanation.reason);
  }
  json["decided_by"] = IndexJson(explanation.decided_by);
  json["explain"] = Json::Value(Json::arrayValue);
  for (std::size_t i = 0; i < explanation.filters.size(); ++i) {
    ThrowIfInterrupted();
    Json::Value& filter = json["explain"].append(Json::objectValue);
    filter["filter"] = Json::UInt64{i};
    filter["outcome"] = Word(explanation.filters[i].outcome);
    filter["criteria"] = Json::Value(Json::arrayValue);
    for (const ExplainedCriterion& criterion : explanation.filters[i].criteria) {
      filter["criteria"].append(CriterionJson(criterion));
    }
  }
  Json::Value& nearest = json["nearest_miss"];
  if (!explanation.nearest_miss) return json;
  nearest["filter"] = Json::UInt64{*explanation.nearest_miss};
  for (const ExplainedCriterion& criterion :
       explanation.filters[*explanation.nearest_miss].criteria) {
    if (criterion.result != CriterionResult::kHeld) {
      nearest["criteria"].append(NameOf(criterion.field));
    }
  }
  return json;
}

}  // namespace yox::decision
