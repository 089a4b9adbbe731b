// SPDX-License-Identifier: Apache-2.0
#include "yox/base/String.h"

#include "bindings/c/Handles.h"

using namespace yox::c;  // NOLINT: only C functions follow
using yox::decision::CriterionResult;
using yox::decision::ExplainedFilter;

// An explanation with its UTF-16 texts as UTF-8.
struct yox_explanation {
  struct Fact {
    std::string required, actual, source, note;
    int32_t result;
  };
  struct Criterion {
    FilterField field;
    std::string required;
    int32_t result;
    std::vector<Fact> facts;
    std::size_t facts_left_out;
  };
  struct Filter {
    int32_t outcome;
    bool decides;
    std::vector<Criterion> criteria;
  };

  int32_t applies;
  size_t decided_by, nearest_miss;
  std::string reason;
  std::vector<std::string> needs;
  std::vector<Filter> filters;
};

static_assert(static_cast<int>(ExplainedFilter::Outcome::kUndecided) == YOX_UNDECIDED &&
              static_cast<int>(ExplainedFilter::Outcome::kDefault) == YOX_DEFAULT);
static_assert(static_cast<int>(CriterionResult::kUnknown) == YOX_NOT_KNOWN &&
              static_cast<int>(CriterionResult::kDiffers) == YOX_DIFFERS);

namespace yox::c {

yox_explanation* NewExplanation(const decision::Explanation& explanation) {
  auto result = std::make_unique<yox_explanation>();
  result->applies = explanation.is_undetermined ? int32_t{YOX_UNKNOWN} : explanation.applies;
  result->decided_by = explanation.decided_by.value_or(YOX_NONE);
  result->nearest_miss = explanation.nearest_miss.value_or(YOX_NONE);
  result->reason = String::UTF16ToUTF8(explanation.reason);
  result->needs = explanation.needs;
  for (const auto& filter : explanation.filters) {
    auto& to = result->filters.emplace_back();
    to.outcome = static_cast<int32_t>(filter.outcome);
    to.decides = filter.answer;
    for (const auto& criterion : filter.criteria) {
      auto& kept = to.criteria.emplace_back();
      kept.field = criterion.field;
      kept.required = String::UTF16ToUTF8(criterion.required);
      kept.result = static_cast<int32_t>(criterion.result);
      kept.facts_left_out = criterion.facts_left_out;
      for (const auto& fact : criterion.facts) {
        kept.facts.push_back({String::UTF16ToUTF8(fact.required), String::UTF16ToUTF8(fact.actual),
                              fact.source, fact.note, static_cast<int32_t>(fact.result)});
      }
    }
  }
  return result.release();
}

namespace {

const yox_explanation::Filter& FilterOf(const yox_explanation* explanation, size_t filter) {
  return At(Required(explanation, "explanation").filters, filter, "filter");
}

const yox_explanation::Criterion& CriterionOf(const yox_explanation* explanation, size_t filter,
                                              size_t criterion) {
  return At(FilterOf(explanation, filter).criteria, criterion, "criterion");
}

}  // namespace
}  // namespace yox::c

yox_status yox_explanation_get(const yox_explanation* explanation, yox_explained* explained) {
  return Guarded([&] {
    const yox_explanation& given = Required(explanation, "explanation");
    Write(explained,
          {.size = 0,
           .applies = given.applies,
           .decided_by = given.decided_by,
           .nearest_miss = given.nearest_miss,
           .filter_count = given.filters.size(),
           .need_count = given.needs.size(),
           .reason = Text(given.reason)},
          "explained");
  });
}

yox_status yox_explanation_need(const yox_explanation* explanation, size_t index, yox_text* fact) {
  return Guarded([&] {
    Required(fact, "fact") = Text(At(Required(explanation, "explanation").needs, index, "index"));
  });
}

yox_status yox_explanation_filter(const yox_explanation* explanation, size_t filter,
                                  yox_explained_filter* explained) {
  return Guarded([&] {
    const auto& given = FilterOf(explanation, filter);
    Write(explained,
          {.size = 0,
           .outcome = given.outcome,
           .decides = given.decides ? 1 : 0,
           .criterion_count = given.criteria.size()},
          "explained");
  });
}

yox_status yox_explanation_criterion(const yox_explanation* explanation, size_t filter,
                                     size_t criterion, yox_explained_criterion* explained) {
  return Guarded([&] {
    const auto& given = CriterionOf(explanation, filter, criterion);
    Write(explained,
          {.size = 0,
           .field = FieldName(given.field),
           .required = Text(given.required),
           .result = given.result,
           .fact_count = given.facts.size(),
           .facts_left_out = given.facts_left_out},
          "explained");
  });
}

yox_status yox_explanation_fact(const yox_explanation* explanation, size_t filter, size_t criterion,
                                size_t fact, yox_explained_fact* explained) {
  return Guarded([&] {
    const auto& given = At(CriterionOf(explanation, filter, criterion).facts, fact, "fact");
    Write(explained,
          {.size = 0,
           .required = Text(given.required),
           .actual = Text(given.actual),
           .source = Text(given.source),
           .note = Text(given.note),
           .result = given.result},
          "explained");
  });
}

void yox_explanation_free(yox_explanation* explanation) { delete explanation; }
