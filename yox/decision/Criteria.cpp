#include "yox/decision/Criteria.h"

#include <algorithm>
#include <exception>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "yox/decision/Implications.h"
#include "yox/decision/Observer.h"

namespace yox::decision {
namespace {

using Step = CompiledList::Step;

Truth Unknown(const Evaluation& evaluation, std::string_view fact) {
  if (evaluation.needs != nullptr) evaluation.needs->emplace_back(fact);
  return Truth::kUnknown;
}

Truth Unknown(const Evaluation& evaluation, Fact fact) { return Unknown(evaluation, NameOf(fact)); }

// What the alternatives are of a value that is not known. One that every value meets is enough,
// unless the device may have no value to meet it; and where no value meets any of them the value
// does not count, unless the criterion is skipped on a device that has none.
struct Unasked {
  bool may_be_true = true;
  bool may_be_false = true;
};

template <class Requirement>
Truth AnyOfUnknown(const Evaluation& evaluation, const Step& step,
                   std::span<const Requirement> alternatives, Unasked unasked) {
  const auto is = [](Holding holding) {
    return [holding](const Requirement& requirement) { return HoldingOf(requirement) == holding; };
  };
  if (unasked.may_be_true && std::ranges::any_of(alternatives, is(Holding::kAlways))) {
    return Truth::kTrue;
  }
  if (unasked.may_be_false && std::ranges::all_of(alternatives, is(Holding::kNever))) {
    return Truth::kFalse;
  }
  return Unknown(evaluation, CriterionOf(step).fact);
}

// Of terms over pairs that are not known. `name` says which fact a term needs.
template <class Name>
Truth TermsOfUnknown(const Evaluation& evaluation, const Step& step, bool all_must_hold,
                     Name name) {
  const auto terms = evaluation.list.Terms(step);
  const Holding settling = all_must_hold ? Holding::kNever : Holding::kAlways;
  const auto settles = [&](const KeyValueTerm& term) { return HoldingOf(term) == settling; };
  if (std::ranges::any_of(terms, settles)) return TruthOf(!all_must_hold);
  Truth truth = TruthOf(all_must_hold);
  auto rest = Pieces(step.required);
  for (const KeyValueTerm& term : terms) {
    const WStringView piece = NextPiece(rest, ',');
    if (HoldingOf(term) != Holding::kSometimes) continue;
    // Most evaluations ask for no names, which take long to write.
    truth = evaluation.needs == nullptr ? Truth::kUnknown : Unknown(evaluation, name(piece));
  }
  return truth;
}

// Integers that cannot be compared count as false.
template <class Find>
bool Holds(const Evaluation& evaluation, const KeyValueTerm& term, const Find& find) {
  bool holds = false;
  const String::IntegerStatus status = term.TryMatch(find, holds);
  if (status == String::IntegerStatus::kOk) return holds;
  if (evaluation.observer != nullptr) evaluation.observer->TermFailed(status);
  return false;
}

// If the share is compared: the bucket that it is compared with.
Truth Reaches(DeviceFacts& facts, const Rollout& rollout, RolloutProgress& progress) {
  using enum RolloutProgress::Stage;
  if (progress.stage == kComplete) return Truth::kTrue;
  if (progress.stage != kGrowing) return Truth::kFalse;
  try {
    const BucketFact fact = facts.Bucket(rollout.by_tenant);
    if (fact.knowledge == Knowledge::kUnknown) return Truth::kUnknown;
    progress.bucket = fact.bucket;
    return TruthOf(BucketIsIn(fact.bucket, progress.share));
  } catch (const std::bad_alloc&) {
    progress.stage = kHashOutOfMemory;
  } catch (const std::out_of_range&) {
    progress.stage = kHashOutOfRange;
  }
  return Truth::kFalse;
}

std::string FactName(const CompiledRegistryRequirement& requirement) {
  const char* const hive = requirement.hive == Hive::kCurrentUser ? "HKCU\\" : "HKLM\\";
  return std::string(NameOf(Fact::registry)) + "." + hive + String::UTF16ToUTF8(requirement.key) +
         "." + String::UTF16ToUTF8(requirement.name);
}

bool IsStopped(const RolloutProgress& progress) {
  return progress.stage != RolloutProgress::Stage::kComplete &&
         progress.stage != RolloutProgress::Stage::kGrowing;
}

}  // namespace

WStringView ActualOf(DeviceFacts& facts, const Step& step) {
  return CriterionOf(step).language == Language::kVersion ? facts.Version(step.field).text.text()
                                                          : facts.Text(step.field).given;
}

Truth EvaluateText(const Evaluation& evaluation, const Step& step) {
  TextFact& fact = evaluation.facts.Text(step.field);
  if (fact.knowledge != Knowledge::kKnown) [[unlikely]] {
    const bool is_skipped = CriterionOf(step).when_missing == WhenMissing::kHolds;
    if (fact.knowledge == Knowledge::kUnknown) {
      return AnyOfUnknown(evaluation, step, evaluation.list.Texts(step),
                          {.may_be_false = !is_skipped});
    }
    if (is_skipped) return Truth::kTrue;
  }
  const TextAlternatives::Set& set = step.alternatives;
  if (!set.texts.empty() && set.texts.Has(fact.text, fact.Fingerprint())) return Truth::kTrue;
  return TruthOf(set.pattern_count != 0 &&
                 evaluation.list.alternatives().AnyPatternMatches(set, fact.text, fact.is_folded));
}

Truth EvaluateVersion(const Evaluation& evaluation, const Step& step) {
  VersionFact& fact = evaluation.facts.Version(step.field);
  const auto alternatives = evaluation.list.Versions(step);
  if (fact.knowledge != Knowledge::kKnown) [[unlikely]] {
    // A text that is no version meets what every version meets no more than an empty one does.
    if (fact.knowledge == Knowledge::kUnknown) {
      return AnyOfUnknown(evaluation, step, alternatives, {.may_be_true = false});
    }
    if (CriterionOf(step).when_missing == WhenMissing::kFailsUnnamed) return Truth::kFalse;
  }
  const std::size_t size = fact.text.text().size();
  const bool matched = AnyVersion(alternatives, fact.text);
  if (fact.text.text().size() != size) evaluation.facts.VersionWasTrimmed(step.field);
  return TruthOf(matched);
}

Truth EvaluateDateRange(const Evaluation& evaluation, const Step& step) {
  const DateRange& range = evaluation.list.Range(step);
  try {
    const auto days = evaluation.facts.Today().Possible();
    const bool contains = range.Contains(days.front());
    for (const LocalDate& day : days.subspan(1)) {
      if (range.Contains(day) != contains) return Unknown(evaluation, CriterionOf(step).fact);
    }
    return TruthOf(contains);
  } catch (const std::exception& exception) {
    if (evaluation.observer != nullptr) evaluation.observer->DateRangeFailed(exception);
    return Truth::kFalse;
  }
}

Truth EvaluateRollout(const Evaluation& evaluation, const Step& step) {
  const Rollout& rollout = evaluation.list.RolloutOf(step);
  DeviceFacts& facts = evaluation.facts;
  const auto result = [&](Truth truth, const RolloutProgress& progress) {
    if (evaluation.observer != nullptr && IsStopped(progress)) {
      evaluation.observer->RolloutStopped(rollout, progress);
    }
    return truth;
  };
  if (const auto flaw = FlawOf(rollout)) return result(Truth::kFalse, {*flaw});
  const auto& fields = rollout.start.fields;
  const DayStart start = facts.StartOfDay(fields[0].number, fields[1].number, fields[2].number);
  RolloutProgress most = ProgressOf(rollout, start.earliest, start.earliest ? facts.Now() : 0);
  const Truth at_most = Reaches(facts, rollout, most);
  if (start.earliest == start.latest) {
    if (at_most != Truth::kUnknown) return result(at_most, most);
    return Unknown(evaluation, rollout.by_tenant ? Fact::realm : Fact::serial_number);
  }
  // The later the first day begins, the fewer are in: what is so at both ends is so in between.
  RolloutProgress least = ProgressOf(rollout, start.latest, facts.Now());
  const Truth at_least = Reaches(facts, rollout, least);
  if (at_most == at_least && at_most != Truth::kUnknown) return result(at_most, most);
  if (at_most == Truth::kUnknown || at_least == Truth::kUnknown) {
    Unknown(evaluation, rollout.by_tenant ? Fact::realm : Fact::serial_number);
    if (at_most == at_least && most.share == least.share) return Truth::kUnknown;
  }
  return Unknown(evaluation, CriterionOf(step).fact);
}

// One of the device's entries has to match; none does of an empty list.
Truth EvaluateSubscriptions(const Evaluation& evaluation, const Step& step) {
  const TextsFact& fact = evaluation.facts.Subscriptions();
  const auto alternatives = evaluation.list.Texts(step);
  if (fact.knowledge == Knowledge::kUnknown) {
    return AnyOfUnknown(evaluation, step, alternatives, {.may_be_true = false});
  }
  return TruthOf(std::ranges::any_of(
      fact.texts, [&](const WString& text) { return AnyText(alternatives, text); }));
}

Truth EvaluateTags(const Evaluation& evaluation, const Step& step) {
  if (evaluation.facts.Tags().knowledge == Knowledge::kUnknown) {
    return TermsOfUnknown(evaluation, step, true, [&](WStringView piece) {
      const TextPattern name = KeyValueTerm::Parse(piece).key;
      const std::string tags(NameOf(CriterionOf(step).fact));
      const bool names_one = name.form == TextPattern::Form::kEqual && !name.negated;
      return names_one ? tags + "." + String::UTF16ToUTF8(name.text) : tags;
    });
  }
  const auto find = [&](const TextPattern& name) { return evaluation.facts.FindTag(name); };
  return TruthOf(std::ranges::all_of(evaluation.list.Terms(step), [&](const KeyValueTerm& term) {
    return Holds(evaluation, term, find);
  }));
}

Truth EvaluateInstalledItems(const Evaluation& evaluation, const Step& step) {
  const PairsFact& items = evaluation.facts.InstalledItems();
  if (items.knowledge == Knowledge::kUnknown) {
    return TermsOfUnknown(evaluation, step, false,
                          [&](WStringView) { return CriterionOf(step).fact; });
  }
  const auto find = [&](const TextPattern& name) { return items.pairs->First(name, NoPairs()); };
  return TruthOf(std::ranges::any_of(evaluation.list.Terms(step), [&](const KeyValueTerm& term) {
    return Holds(evaluation, term, find);
  }));
}

// All have to be met; what comes after the first that is not met is not looked up.
Truth EvaluateRegistry(const Evaluation& evaluation, const Step& step) {
  Truth all = Truth::kTrue;
  for (const CompiledRegistryRequirement& requirement : evaluation.list.Registry(step)) {
    const Truth met = evaluation.facts.MeetsRegistry(requirement);
    if (met == Truth::kFalse) return met;
    if (met == Truth::kUnknown) all = Unknown(evaluation, FactName(requirement));
  }
  return all;
}

Truth EvaluateHardwareId(const Evaluation& evaluation, const Step& step) {
  const Truth met =
      evaluation.facts.MeetsHardwareId(step.required, evaluation.list.HardwareId(step));
  return met == Truth::kUnknown ? Unknown(evaluation, CriterionOf(step).fact) : met;
}

}  // namespace yox::decision
