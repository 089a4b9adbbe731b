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

// A known text of the device in the form in which it is compared.
struct Actual {
  WStringView text;
  std::uint64_t fingerprint;
};

// Returns false if the text is unknown or has not been folded.
inline bool GetActual(DeviceFacts& facts, FilterField field, Actual& actual) {
  if (const FoldedText* const ready = facts.Ready(field)) {
    actual = {ready->text, ready->fingerprint};
    return true;
  }
  TextFact& fact = facts.Text(field);
  if (!fact.IsKnownAndFolded()) return false;
  actual = {fact.text, fact.Fingerprint()};
  return true;
}

inline bool TextMatches(const CompiledList& list, const InlineStep& step, const Actual& actual) {
  const WStringView required = step.Text();
  switch (step.kind) {
    case InlineStep::Kind::kText: {
      const unsigned may_be = static_cast<unsigned>(actual.fingerprint == step.text.key) &
                              static_cast<unsigned>(actual.text.size() == required.size());
      return may_be != 0 && (required.size() <= kFingerprintIsExact ||
                             SameUnits(actual.text.data(), required.data(), required.size()));
    }
    case InlineStep::Kind::kStart:
      return StartsWithUnits(actual.text, required, step.text.key);
    case InlineStep::Kind::kEnd:
      return EndsWithUnits(actual.text, required, step.text.key);
    case InlineStep::Kind::kMiddle:
      return ContainsUnits(actual.text, required);
    case InlineStep::Kind::kPatterns: {
      const TextAlternatives::Set& set = list.StepOf(step).alternatives;
      return (set.texts.slot_mask != 0 &&
              list.alternatives().HasText(set.texts, actual.text, actual.fingerprint)) ||
             list.alternatives().AnyPatternMatches(set, actual.text, true);
    }
    default:
      return list.alternatives().HasText(step.texts, actual.text, actual.fingerprint);
  }
}

inline Truth TagMatches(const CompiledList& list, const InlineStep& step, DeviceFacts& facts) {
  const PairsFact& tags = facts.Tags();
  if (tags.knowledge == Knowledge::kUnknown) return kEvaluateInFull;
  if (step.kind == InlineStep::Kind::kTag && tags.prepared != nullptr &&
      facts.extra_tags().empty()) {
    if (!tags.prepared->FirstMayBe(step.tag.name, step.tag.value)) return Truth::kFalse;
    const KeyValueTerm& term = list.TermOf(step);
    return TruthOf(tags.prepared->FirstIs(term.key, *std::get_if<TextPattern>(&term.value)));
  }
  const KeyValueTerm& term = list.TermOf(step);
  const TextPattern& value = *std::get_if<TextPattern>(&term.value);
  const bool has_no_stored = tags.prepared != nullptr && tags.prepared->empty();
  if (!has_no_stored) {
    const auto pair = facts.FindTag(term.key);
    return TruthOf(pair && value.MatchesUnfolded(String::Trimmed(pair->value)));
  }
  const auto* const pair = FindFirst(facts.extra_tags(), term.key);
  if (pair == nullptr) return Truth::kFalse;
  if (step.kind == InlineStep::Kind::kTag) {
    return TruthOf(pair->value_fingerprint() == step.tag.value && value.Is(pair->value()));
  }
  return TruthOf(value.MatchesUnfolded(String::Trimmed(pair->value())));
}

[[gnu::always_inline]] inline Truth MatchesInline(const CompiledList& list, const InlineStep& step,
                                                  DeviceFacts& facts) {
  using enum InlineStep::Kind;
  switch (step.kind) {
    case kText:
    case kTexts:
    case kPatterns:
    case kStart:
    case kEnd:
    case kMiddle: {
      Actual actual;
      if (!GetActual(facts, step.field, actual)) [[unlikely]]
        return kEvaluateInFull;
      return TruthOf(TextMatches(list, step, actual) != step.negated);
    }
    case kVersion: {
      VersionFact& fact = facts.Version(step.field);
      if (fact.knowledge != Knowledge::kKnown) return kEvaluateInFull;
      const OrderedVersion* const version = fact.text.Plain();
      if (version == nullptr) return kEvaluateInFull;
      const auto order = *version <=> step.version;
      const int accepted = order < 0   ? InlineStep::kLess
                           : order > 0 ? InlineStep::kGreater
                                       : InlineStep::kEqual;
      return TruthOf((accepted & step.orders) != 0);
    }
    case kTag:
    case kTagMatch:
      return TagMatches(list, step, facts);
    default:
      return kEvaluateInFull;
  }
}

[[gnu::noinline]] Truth InFull(const Evaluation& evaluation, const InlineStep& step) {
  const Step& whole = evaluation.list.StepOf(step);
  return whole.evaluate(evaluation, whole);
}

// Evaluates the steps of a filter up to the first that is false or is no criterion, where `at` is
// left.
[[gnu::always_inline]] inline Truth EvaluateFilter(const CompiledList& list, const InlineStep*& at,
                                                   DeviceFacts& facts,
                                                   const Evaluation& evaluation) {
  Truth result = Truth::kTrue;
  for (const InlineStep* step = at;; ++step) {
    Truth truth = MatchesInline(list, *step, facts);
    if (truth == Truth::kTrue) continue;
    if (truth == kEvaluateInFull) {
      if (step->step == InlineStep::kNoStep) {
        at = step;
        return result;
      }
      truth = InFull(evaluation, *step);
      while ((step + 1)->step == step->step) ++step;  // the others of the same criterion
      if (truth == Truth::kTrue) continue;
    }
    if (truth == Truth::kFalse) {
      at = step;
      return truth;
    }
    result = truth;
  }
}

// Sets `failed` to the first step that is false, if there is one.
Truth Match(const Evaluation& evaluation, const Program& program, const Step*& failed) {
  const InlineStep* at = evaluation.list.inline_steps() + program.first_inline;
  const Truth truth = EvaluateFilter(evaluation.list, at, evaluation.facts, evaluation);
  failed = truth == Truth::kFalse ? &evaluation.list.StepOf(*at) : nullptr;
  return truth;
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
  const InlineStep* const first = list.inline_steps();
  const InlineStep* at = first;
  bool may_apply = false;
  bool may_not_apply = false;
  bool is_open = false;
  const auto verdict = [&](bool applies, std::optional<std::size_t> decided_by) {
    if (!is_open) return Verdict{TruthOf(applies), decided_by};
    (applies ? may_apply : may_not_apply) = true;
    if (may_apply != may_not_apply) return Verdict{TruthOf(applies)};
    return Verdict{Truth::kUnknown, {}, NeedsOf(list, facts)};
  };
  const auto decided = [&](std::size_t index, bool applies) {
    if (observer != nullptr) observer->FilterDecided(index, list.programs()[index], applies);
    return verdict(applies, index);
  };
  for (std::size_t index = 0;; ++index, at = first + at->otherwise) {
    const Truth truth = EvaluateFilter(list, at, facts, evaluation);
    if (truth == Truth::kFalse) {
      if (observer == nullptr) continue;
      const Step& failed = list.StepOf(*at);
      observer->FilterPassed(index,
                             {list.programs()[index], failed, facts, IsUnnamed(failed, facts)});
      continue;
    }
    if (at->kind == InlineStep::Kind::kEndOfList) return verdict(index == 0, std::nullopt);
    const Program& program = list.programs()[index];
    if (at->kind == InlineStep::Kind::kDefault) {
      return decided(index, program.decides == Control::kTrue);
    }
    if (truth == Truth::kTrue) return decided(index, program.value);
    is_open = true;
    (program.value ? may_apply : may_not_apply) = true;
    if (observer != nullptr) observer->FilterUndecided(index);
  }
}

}  // namespace yox::decision
