#include "yox/decision/Decide.h"

#include <algorithm>
#include <utility>
#include <variant>

#include "yox/base/FoldedText.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/PreparedDevice.h"

namespace yox::decision {
namespace {

using Control = CompiledList::Control;
using Program = CompiledList::Program;
using Step = CompiledList::Step;

// What MatchesInline cannot tell.
constexpr Truth kEvaluateInFull = Truth::kUnknown;

inline bool TextMatches(const CompiledList& list, const InlineStep& step, TextFact& fact) {
  const WStringView actual = fact.text;
  const WStringView required = step.Text();
  switch (step.kind) {
    case InlineStep::Kind::kText: {
      const unsigned may_be = static_cast<unsigned>(fact.Fingerprint() == step.text.key) &
                              static_cast<unsigned>(actual.size() == required.size());
      return may_be != 0 && (actual.size() <= kFingerprintIsExact ||
                             SameUnits(actual.data(), required.data(), required.size()));
    }
    case InlineStep::Kind::kStart:
      return StartsWithUnits(actual, required, step.text.key);
    case InlineStep::Kind::kEnd:
      return EndsWithUnits(actual, required, step.text.key);
    case InlineStep::Kind::kMiddle:
      return ContainsUnits(actual, required);
    default:
      return list.alternatives().HasText(step.texts, actual, fact.Fingerprint());
  }
}

inline Truth TagMatches(const CompiledList& list, const InlineStep& step, DeviceFacts& facts) {
  const PairsFact& tags = facts.Tags();
  if (tags.knowledge == Knowledge::kUnknown) return kEvaluateInFull;
  const KeyValueTerm& term = list.TermOf(step);
  if (step.kind == InlineStep::Kind::kTag && tags.prepared != nullptr &&
      facts.extra_tags().empty()) {
    return TruthOf(tags.prepared->FirstMayBe(step.tag.name, step.tag.value) &&
                   tags.prepared->FirstIs(term.key, *std::get_if<TextPattern>(&term.value)));
  }
  const TextPattern& value = *std::get_if<TextPattern>(&term.value);
  const bool has_no_stored = tags.prepared != nullptr && tags.prepared->empty();
  const auto pair = has_no_stored ? FirstOf(facts.extra_tags(), term.key) : facts.FindTag(term.key);
  return TruthOf(pair && value.MatchesUnfolded(String::Trimmed(pair->value)));
}

inline Truth MatchesInline(const CompiledList& list, const InlineStep& step, DeviceFacts& facts) {
  using enum InlineStep::Kind;
  switch (step.kind) {
    case kInFull:
      return kEvaluateInFull;
    case kText:
    case kTexts:
    case kStart:
    case kEnd:
    case kMiddle: {
      TextFact& fact = facts.Text(step.field);
      if (!fact.IsKnownAndFolded()) [[unlikely]]
        return kEvaluateInFull;
      return TruthOf(TextMatches(list, step, fact) != step.negated);
    }
    case kVersion: {
      const VersionFact& fact = facts.Version(step.field);
      const Version* const version = fact.text.ParsedPlain();
      if (fact.knowledge != Knowledge::kKnown || version == nullptr) return kEvaluateInFull;
      const auto order = *version <=> step.version;
      const int accepted = order < 0   ? InlineStep::kLess
                           : order > 0 ? InlineStep::kGreater
                                       : InlineStep::kEqual;
      return TruthOf((accepted & step.orders) != 0);
    }
    case kTag:
    case kTagMatch:
      return TagMatches(list, step, facts);
  }
  return kEvaluateInFull;
}

// Sets `failed` to the first step that is false, if there is one.
[[gnu::always_inline]] inline Truth Match(const Evaluation& evaluation, const Program& program,
                                          const Step*& failed) {
  Truth result = Truth::kTrue;
  const auto steps = evaluation.list.InlineSteps(program);
  const InlineStep* const end = steps.data() + steps.size();
  for (const InlineStep* step = steps.data(); step != end; ++step) {
    Truth truth = MatchesInline(evaluation.list, *step, evaluation.facts);
    if (truth == Truth::kTrue) continue;
    if (truth == kEvaluateInFull) {
      const Step& whole = evaluation.list.StepOf(*step);
      truth = whole.evaluate(evaluation, whole);
      while (step + 1 != end && (step + 1)->step == step->step) ++step;
      if (truth == Truth::kTrue) continue;
    }
    result = truth;
    if (truth == Truth::kUnknown) continue;
    failed = &evaluation.list.StepOf(*step);
    break;
  }
  return result;
}

bool IsUnnamed(const Step& failed, DeviceFacts& facts) {
  return CriterionOf(failed).when_missing == WhenMissing::kFailsUnnamed &&
         facts.Version(failed.field).knowledge == Knowledge::kMissing;
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
    const Step* failed = nullptr;
    const Truth truth = Match({list, facts, nullptr, &needs}, program, failed);
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
  FilterMatch match;
  match.truth = Match({list, facts, observer}, program, match.failed);
  match.is_unnamed = match.failed != nullptr && IsUnnamed(*match.failed, facts);
  return match;
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
    const Step* failed = nullptr;
    const Truth truth = Match(evaluation, program, failed);
    if (truth == Truth::kTrue) return decided(program, program.value);
    if (truth == Truth::kUnknown) {
      is_open = true;
      (program.value ? may_apply : may_not_apply) = true;
      if (observer != nullptr) observer->FilterUndecided(index);
    } else if (observer != nullptr) {
      observer->FilterPassed(index, {program, *failed, facts, IsUnnamed(*failed, facts)});
    }
    ++index;
  }
  return verdict(list.programs().empty(), std::nullopt);
}

}  // namespace yox::decision
