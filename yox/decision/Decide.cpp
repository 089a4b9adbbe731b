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

inline bool IsText(const InlineStep& step, const FoldedView& actual) {
  const WStringView required = step.Text();
  const unsigned may_be = static_cast<unsigned>(actual.fingerprint == step.text.key) &
                          static_cast<unsigned>(actual.text.size() == required.size());
  return may_be != 0 && (required.size() <= kFingerprintIsExact ||
                         SameUnits(actual.text.data(), required.data(), required.size()));
}

inline bool PatternsMatch(const CompiledList& list, const InlineStep& step,
                          const FoldedView& actual) {
  const TextAlternatives::Set& set = list.StepOf(step).alternatives;
  return (!set.texts.empty() && set.texts.Has(actual.text, actual.fingerprint)) ||
         list.alternatives().AnyPatternMatches(set, actual.text, true);
}

// Whether a text in the form in which it is compared matches a step of the kind.
[[gnu::always_inline]] inline bool TextMatches(InlineStep::Kind kind, const CompiledList& list,
                                               const InlineStep& step, const FoldedView& actual) {
  switch (kind) {
    case InlineStep::Kind::kText:
      return IsText(step, actual) != step.negated;
    case InlineStep::Kind::kTexts:
      return step.texts.Has(actual.text, actual.fingerprint);
    case InlineStep::Kind::kPatterns:
      return PatternsMatch(list, step, actual);
    case InlineStep::Kind::kStart:
      return StartsWithUnits(actual.text, step.Text(), step.text.key) != step.negated;
    case InlineStep::Kind::kEnd:
      return EndsWithUnits(actual.text, step.Text(), step.text.key) != step.negated;
    case InlineStep::Kind::kMiddle:
      return ContainsUnits(actual.text, step.Text()) != step.negated;
    default:
      return false;
  }
}

// Whether the field's text matches, if it is known and has been folded. In a function of its own,
// as what is rare is: the registers are for the rest.
[[gnu::noinline]] Truth FetchedMatches(const CompiledList& list, const InlineStep& step,
                                       DeviceFacts& facts) {
  TextFact& fact = facts.Text(step.field);
  if (!fact.IsKnownAndFolded()) return kEvaluateInFull;
  return TruthOf(TextMatches(step.kind, list, step, {fact.text, fact.Fingerprint()}));
}

template <InlineStep::Kind kKind>
[[gnu::always_inline]] inline Truth ActualMatches(const CompiledList& list, const InlineStep& step,
                                                  DeviceFacts& facts) {
  if (!facts.IsReady(step.field)) [[unlikely]]
    return FetchedMatches(list, step, facts);
  return TruthOf(TextMatches(kKind, list, step, facts.Ready(step.field)));
}

// Whether the text of a pair matches the value of a term.
[[gnu::always_inline]] inline Truth ValueMatches(const InlineStep& step, const KeyValueTerm& term,
                                                 WStringView actual) {
  const TextPattern& value = *std::get_if<TextPattern>(&term.value);
  if (step.kind == InlineStep::Kind::kTag) return TruthOf(value.Is(actual));
  return TruthOf(value.MatchesUnfolded(String::Trimmed(actual)));
}

// Among stored tags and those of the caller.
[[gnu::noinline]] Truth AnyTagMatches(const CompiledList& list, const InlineStep& step,
                                      DeviceFacts& facts) {
  const KeyValueTerm& term = list.TermOf(step);
  const std::optional<PairView> pair = facts.FindTag(term.key);
  return pair ? ValueMatches(step, term, pair->value) : Truth::kFalse;
}

template <InlineStep::Kind kKind>
[[gnu::always_inline]] inline Truth TagMatches(const CompiledList& list, const InlineStep& step,
                                               DeviceFacts& facts) {
  constexpr bool is_text = kKind == InlineStep::Kind::kTag;
  const PairsFact& tags = facts.Tags();
  if (tags.knowledge == Knowledge::kUnknown) return kEvaluateInFull;
  if (tags.prepared == nullptr) return AnyTagMatches(list, step, facts);
  if (facts.extra_tags().empty()) {
    if (is_text && !tags.prepared->FirstMayBe(step.tag.name, step.tag.value)) return Truth::kFalse;
    const KeyValueTerm& term = list.TermOf(step);
    const PreparedPairs::Folded* const tag = tags.prepared->FirstNamed(term.key);
    if (tag == nullptr) return Truth::kFalse;
    const TextPattern& value = *std::get_if<TextPattern>(&term.value);
    if (!is_text) return TruthOf(value.MatchesFolded(tag->value()));
    return TruthOf(tag->value_size == value.text.size() &&
                   SameUnits(tag->value().data(), value.text.data(), value.text.size()));
  }
  if (!tags.prepared->empty()) return AnyTagMatches(list, step, facts);
  const KeyValueTerm& term = list.TermOf(step);
  const auto* const pair = FindNamed(facts.extra_tags(), term.key);
  if (pair == nullptr || (is_text && pair->value_fingerprint() != step.tag.value)) {
    return Truth::kFalse;
  }
  return ValueMatches(step, term, pair->value());
}

// Which kind is next is what the processor predicts worst: the most frequent ones first, each with
// a branch of its own.
[[gnu::always_inline]] inline Truth MatchesInline(const CompiledList& list, const InlineStep& step,
                                                  DeviceFacts& facts) {
  using Kind = InlineStep::Kind;
  if (step.kind == Kind::kTexts) return ActualMatches<Kind::kTexts>(list, step, facts);
  if (step.kind == Kind::kTag) return TagMatches<Kind::kTag>(list, step, facts);
  if (step.kind >= Kind::kDefault) return kEvaluateInFull;
  switch (step.kind) {
    case Kind::kText:
      return ActualMatches<Kind::kText>(list, step, facts);
    case Kind::kPatterns:
      return ActualMatches<Kind::kPatterns>(list, step, facts);
    case Kind::kStart:
      return ActualMatches<Kind::kStart>(list, step, facts);
    case Kind::kEnd:
      return ActualMatches<Kind::kEnd>(list, step, facts);
    case Kind::kMiddle:
      return ActualMatches<Kind::kMiddle>(list, step, facts);
    case Kind::kVersion: {
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
    case Kind::kTagMatch:
      return TagMatches<Kind::kTagMatch>(list, step, facts);
    case Kind::kTexts:  // above, as the last three
    case Kind::kTag:
    case Kind::kInFull:
    case Kind::kDefault:
    case Kind::kMatched:
    case Kind::kEndOfList:
      break;
  }
  return kEvaluateInFull;
}

[[gnu::noinline]] Truth InFull(const CompiledList& list, DeviceFacts& facts, Observer* observer,
                               std::vector<std::string>* needs, const InlineStep& step) {
  const Step& whole = list.StepOf(step);
  return whole.evaluate({list, facts, observer, needs}, whole);
}

// Evaluates the steps of a filter up to the first that is false or is no criterion, where `at` is
// left. `needs` as in Evaluation.
[[gnu::always_inline]] inline Truth EvaluateFilter(const CompiledList& list, const InlineStep*& at,
                                                   DeviceFacts& facts, Observer* observer,
                                                   std::vector<std::string>* needs) {
  Truth result = Truth::kTrue;
  for (const InlineStep* step = at;; ++step) {
    Truth truth = MatchesInline(list, *step, facts);
    if (truth == Truth::kTrue) continue;
    if (truth == kEvaluateInFull) {
      if (step->step == InlineStep::kNoStep) {
        at = step;
        return result;
      }
      truth = InFull(list, facts, observer, needs, *step);
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
Truth Match(const CompiledList& list, DeviceFacts& facts, Observer* observer,
            std::vector<std::string>* needs, const Program& program, const Step*& failed) {
  const InlineStep* at = list.inline_steps() + program.first_inline;
  const Truth truth = EvaluateFilter(list, at, facts, observer, needs);
  failed = truth == Truth::kFalse ? &list.StepOf(*at) : nullptr;
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
    const Truth truth = Match(list, facts, nullptr, &needs, program, failed);
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

// What a list decides, as long as it is not undetermined.
struct Outcome {
  static constexpr std::uint32_t kNoFilter = UINT32_MAX;
  static constexpr std::uint32_t kOpen = kNoFilter - 1;  // a filter is undecided

  Truth applies;
  std::uint32_t decided_by;
};

// The filter at which a walk over the list is, and the step at which its evaluation ended.
struct Place {
  std::uint32_t filter;
  const InlineStep* at;
};

template <bool kIsObserved>
[[gnu::always_inline]] inline Outcome WalkFrom(Place& place, const CompiledList& list,
                                               DeviceFacts& facts, Observer* observer) {
  const InlineStep* const first = list.inline_steps();
  const InlineStep* at = place.at;
  for (std::uint32_t filter = place.filter;; ++filter, at = first + at->otherwise) {
    const Truth truth = EvaluateFilter(list, at, facts, observer, nullptr);
    if (truth == Truth::kFalse) {
      if constexpr (kIsObserved) {
        const Step& failed = list.StepOf(*at);
        observer->FilterPassed(filter,
                               {list.programs()[filter], failed, facts, IsUnnamed(failed, facts)});
      }
      continue;
    }
    if (truth == Truth::kUnknown) [[unlikely]] {
      place = {filter, at};
      return {truth, Outcome::kOpen};
    }
    if (at->kind == InlineStep::Kind::kEndOfList) return {TruthOf(filter == 0), Outcome::kNoFilter};
    if constexpr (kIsObserved) {
      observer->FilterDecided(filter, list.programs()[filter], at->applies);
    }
    return {TruthOf(at->applies), filter};
  }
}

// Walks on up to the filter that decides, or up to one that is undecided, where `place` is left.
[[gnu::noinline]] Outcome Walk(Place& place, const CompiledList& list, DeviceFacts& facts,
                               Observer* observer) {
  return observer == nullptr ? WalkFrom<false>(place, list, facts, nullptr)
                             : WalkFrom<true>(place, list, facts, observer);
}

// Goes on from an undecided filter, both as if it had matched and as if it had not.
[[gnu::noinline]] Verdict GoOn(Place place, const CompiledList& list, DeviceFacts& facts,
                               Observer* observer) {
  bool may_apply = false;
  bool may_not_apply = false;
  Outcome outcome{Truth::kUnknown, Outcome::kOpen};
  while (outcome.decided_by == Outcome::kOpen) {
    (list.programs()[place.filter].value ? may_apply : may_not_apply) = true;
    if (observer != nullptr) observer->FilterUndecided(place.filter);
    place = {place.filter + 1, list.inline_steps() + place.at->otherwise};
    outcome = Walk(place, list, facts, observer);
  }
  (outcome.applies == Truth::kTrue ? may_apply : may_not_apply) = true;
  if (may_apply != may_not_apply) return Verdict{outcome.applies};
  return Verdict{Truth::kUnknown, {}, NeedsOf(list, facts)};
}

Truth EndOf(Outcome outcome, Place place, const CompiledList& list, DeviceFacts& facts,
            Observer* observer) {
  const bool is_open = outcome.decided_by == Outcome::kOpen;
  return is_open ? GoOn(place, list, facts, observer).applies : outcome.applies;
}

// Most decisions of a fleet come this way: without a call.
[[gnu::noinline]] Truth AppliesAlone(const CompiledList& list, DeviceFacts& facts) {
  Place place{0, list.inline_steps()};
  const Outcome outcome = WalkFrom<false>(place, list, facts, nullptr);
  return EndOf(outcome, place, list, facts, nullptr);
}

[[gnu::noinline]] Truth AppliesSeen(const CompiledList& list, DeviceFacts& facts,
                                    Observer& observer) {
  Place place{0, list.inline_steps()};
  const Outcome outcome = Walk(place, list, facts, &observer);
  return EndOf(outcome, place, list, facts, &observer);
}

}  // namespace

FilterMatch MatchFilter(const CompiledList& list, const Program& program, DeviceFacts& facts,
                        Observer* observer) {
  FilterMatch match;
  match.truth = Match(list, facts, observer, nullptr, program, match.failed);
  match.is_unnamed = match.failed != nullptr && IsUnnamed(*match.failed, facts);
  return match;
}

Verdict Decide(const CompiledList& list, DeviceFacts& facts, Observer* observer) {
  Place place{0, list.inline_steps()};
  const Outcome outcome = Walk(place, list, facts, observer);
  if (outcome.decided_by == Outcome::kOpen) return GoOn(place, list, facts, observer);
  if (outcome.decided_by == Outcome::kNoFilter) return Verdict{outcome.applies};
  return Verdict{outcome.applies, outcome.decided_by};
}

Truth Applies(const CompiledList& list, DeviceFacts& facts, Observer* observer) {
  return observer == nullptr ? AppliesAlone(list, facts) : AppliesSeen(list, facts, *observer);
}

}  // namespace yox::decision
