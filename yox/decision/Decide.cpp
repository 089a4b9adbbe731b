#include "yox/decision/Decide.h"

#include <algorithm>
#include <utility>

#include "yox/decision/Criteria.h"

namespace yox::decision {
namespace {

using Control = CompiledList::Control;
using Program = CompiledList::Program;
using Step = CompiledList::Step;

FilterMatch Match(const Evaluation& evaluation, const Program& program) {
  FilterMatch match;
  for (const Step& step : evaluation.list.Steps(program)) {
    const Truth truth = step.evaluate(evaluation, step);
    if (truth == Truth::kTrue) continue;
    match.truth = truth;
    if (truth == Truth::kUnknown) continue;
    match.failed = &step;
    match.is_unnamed = CriterionOf(step).when_missing == WhenMissing::kFailsUnnamed &&
                       evaluation.facts.Version(step.field).knowledge == Knowledge::kMissing;
    break;
  }
  return match;
}

// The names of the facts without which the list stays undetermined. An undecided filter does not
// count where the rest of the list ends as it would itself.
std::vector<std::string> NeedsOf(const CompiledList& list, DeviceFacts& facts) {
  struct Undecided {
    bool value;
    std::vector<std::string> needs;
  };
  std::vector<Undecided> undecided;
  std::optional<bool> end = false;
  for (const Program& program : list.programs()) {
    if (program.decides != Control::kNotSet) {
      end = program.decides == Control::kTrue;
      break;
    }
    std::vector<std::string> needs;
    const Truth truth = Match({list, facts, nullptr, &needs}, program).truth;
    if (truth == Truth::kUnknown) undecided.push_back({program.value, std::move(needs)});
    if (truth == Truth::kTrue) {
      end = program.value;
      break;
    }
  }
  std::vector<std::string> all;
  for (auto filter = undecided.rbegin(); filter != undecided.rend(); ++filter) {
    if (end == filter->value) continue;
    end.reset();
    std::ranges::move(filter->needs, std::back_inserter(all));
  }
  std::ranges::sort(all);
  all.erase(std::unique(all.begin(), all.end()), all.end());  // clang reads no subrange of GCC's
  return all;
}

}  // namespace

FilterMatch MatchFilter(const CompiledList& list, const Program& program, DeviceFacts& facts,
                        Observer* observer) {
  return Match({list, facts, observer}, program);
}

Verdict Decide(const CompiledList& list, DeviceFacts& facts, Observer* observer) {
  const Evaluation evaluation{list, facts, observer};
  bool may_apply = false;
  bool may_not_apply = false;
  bool is_open = false;
  std::size_t index = 0;
  const auto verdict = [&](bool applies, std::optional<std::size_t> decided_by) {
    (applies ? may_apply : may_not_apply) = true;
    if (!is_open) return Verdict{TruthOf(applies), decided_by};
    if (may_apply != may_not_apply) return Verdict{TruthOf(applies)};
    return Verdict{Truth::kUnknown, {}, NeedsOf(list, facts)};
  };
  const auto decided = [&](const Program& program, bool applies) {
    if (observer != nullptr) observer->FilterDecided(index, program, applies);
    return verdict(applies, index);
  };
  for (const Program& program : list.programs()) {
    if (program.decides != Control::kNotSet) {
      return decided(program, program.decides == Control::kTrue);
    }
    const FilterMatch match = Match(evaluation, program);
    if (match.truth == Truth::kTrue) return decided(program, program.value);
    if (match.truth == Truth::kUnknown) {
      is_open = true;
      (program.value ? may_apply : may_not_apply) = true;
      if (observer != nullptr) observer->FilterUndecided(index);
    } else if (observer != nullptr) {
      observer->FilterPassed(index, {program, *match.failed, facts, match.is_unnamed});
    }
    ++index;
  }
  return verdict(list.programs().empty(), std::nullopt);
}

}  // namespace yox::decision
