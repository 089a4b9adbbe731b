#include "yox/decision/Explanation.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "yox/base/Interruption.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/Decide.h"
#include "yox/decision/ReasonText.h"

namespace yox::decision {
namespace {

using FilterOutcome = ExplainedFilter::Outcome;
using Result = CriterionResult;

// The reason, and what became of each filter that the walk came to.
class Walk final : public ReasonText {
 public:
  Walk(const CompiledList& list, DecisionTrace& trace)
      : ReasonText(list, trace.reason), trace_(trace), outcomes_(list.programs().size()) {
    std::ranges::fill(outcomes_, FilterOutcome::kNotReached);
  }

  FilterOutcome OutcomeOf(std::size_t filter) const { return outcomes_[filter]; }

  void FilterPassed(std::size_t filter, const Failure& failure) override {
    ReasonText::FilterPassed(filter, failure);
    trace_.failed.push_back(failure.step.field);
    outcomes_[filter] = FilterOutcome::kNotMatched;
  }
  void FilterUndecided(std::size_t filter) override {
    ReasonText::FilterUndecided(filter);
    outcomes_[filter] = FilterOutcome::kUndecided;
  }
  void FilterDecided(std::size_t filter, const CompiledList::Program& program,
                     bool applies) override {
    ReasonText::FilterDecided(filter, program, applies);
    outcomes_[filter] = program.decides == CompiledList::Control::kNotSet ? FilterOutcome::kMatched
                                                                          : FilterOutcome::kDefault;
  }

 private:
  DecisionTrace& trace_;
  std::vector<FilterOutcome> outcomes_;
};

Verdict DecideTraced(const CompiledList& list, DeviceFacts& facts, DecisionTrace& trace,
                     Walk& walk) {
  Verdict verdict = Decide(list, facts, &walk);
  trace.applies = verdict.applies == Truth::kTrue;
  trace.decided_by = verdict.decided_by;
  return verdict;
}

// A criterion that is false is missing when none of its facts differs.
Result ResultOf(Truth truth, const FactList& facts) {
  if (truth != Truth::kFalse) return truth == Truth::kTrue ? Result::kHeld : Result::kUnknown;
  return facts.IsMissing() ? Result::kMissing : Result::kDiffers;
}

ExplainedCriterion Explained(const Evaluation& evaluation, const CompiledList::Step& step) {
  const Criterion& criterion = CriterionOf(step);
  const Truth truth = criterion.evaluate(evaluation, step);
  FactList facts = criterion.describe(evaluation, step, truth);
  return {criterion.field, WString(step.required), ResultOf(truth, facts), std::move(facts.facts()),
          facts.left_out()};
}

std::optional<std::size_t> NearestMiss(const Explanation& explanation) {
  std::optional<std::size_t> nearest;
  std::ptrdiff_t fewest = 0;
  for (std::size_t i = 0; i < explanation.filters.size(); ++i) {
    const ExplainedFilter& filter = explanation.filters[i];
    if (filter.outcome != FilterOutcome::kNotMatched || filter.answer == explanation.applies)
      continue;
    const std::ptrdiff_t failing = std::ranges::count_if(
        filter.criteria, [](const auto& criterion) { return criterion.result != Result::kHeld; });
    if (nearest && failing >= fewest) continue;
    nearest = i;
    fewest = failing;
  }
  return nearest;
}

}  // namespace

DecisionTrace Trace(const CompiledList& list, DeviceFacts& facts) {
  DecisionTrace trace;
  Walk walk(list, trace);
  DecideTraced(list, facts, trace, walk);
  return trace;
}

Explanation Explain(const CompiledList& list, DeviceFacts& facts) {
  DecisionTrace trace;
  Walk walk(list, trace);
  Verdict verdict = DecideTraced(list, facts, trace, walk);
  Explanation explanation{trace.applies,
                          std::move(trace.reason),
                          trace.decided_by,
                          {},
                          {},
                          verdict.applies == Truth::kUnknown,
                          std::move(verdict.needs)};
  for (const CompiledList::Program& program : list.programs()) {
    ThrowIfInterrupted();
    const std::size_t index = explanation.filters.size();
    ExplainedFilter& filter = explanation.filters.emplace_back();
    filter.outcome = walk.OutcomeOf(index);
    filter.answer = program.decides == CompiledList::Control::kNotSet
                        ? program.value
                        : program.decides == CompiledList::Control::kTrue;
    for (const CompiledList::Step& step : list.Steps(program)) {
      filter.criteria.push_back(Explained({list, facts}, step));
    }
  }
  if (!explanation.is_undetermined) explanation.nearest_miss = NearestMiss(explanation);
  return explanation;
}

std::optional<DecisionFlip> FlippedBy(const DecisionTrace& before, const DecisionTrace& after) {
  const std::size_t filter = std::min(before.failed.size(), after.failed.size());
  if (filter < after.failed.size()) return DecisionFlip{filter, after.failed[filter], false};
  if (filter < before.failed.size()) return DecisionFlip{filter, before.failed[filter], true};
  return std::nullopt;
}

}  // namespace yox::decision
