#include "yox/decision/Implications.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "yox/decision/Criteria.h"
#include "yox/decision/KnownValues.h"
#include "yox/decision/RegistryRequirement.h"

namespace yox::decision {
namespace {

using Form = TextPattern::Form;
using Step = CompiledList::Step;

constexpr TextPattern kEveryText = {Form::kContains, false, {}};
constexpr TextPattern kNoText = {Form::kContains, true, {}};

bool IsEveryText(const TextPattern& pattern) {
  return pattern.form == Form::kContains && pattern.text.empty() && !pattern.negated;
}
bool IsNoText(const TextPattern& pattern) {
  return pattern.form == Form::kContains && pattern.text.empty() && pattern.negated;
}

TextPattern Opposite(TextPattern pattern) {
  pattern.negated = !pattern.negated;
  return pattern;
}

// The same set of trimmed values; those of everything and of nothing in one form each.
TextPattern Reduced(const TextPattern& pattern) {
  if (pattern.form == Form::kEverything) return kEveryText;
  if (pattern.text.empty()) return pattern;
  const bool begins = pattern.form == Form::kEqual || pattern.form == Form::kStartsWith;
  const bool ends = pattern.form == Form::kEqual || pattern.form == Form::kEndsWith;
  const bool impossible = (begins && String::IsWhiteSpace(pattern.text.front())) ||
                          (ends && String::IsWhiteSpace(pattern.text.back()));
  if (!impossible) return pattern;
  return pattern.negated ? kEveryText : kNoText;
}

// Of patterns without negation: every text of `a` is one of `b`.
bool IsPartOf(const TextPattern& a, const TextPattern& b) {
  if (IsEveryText(b)) return true;
  const bool same_end = b.form == a.form || b.form == Form::kContains;
  return (a.form == Form::kEqual || same_end) && b.Matches(a.text);
}

// Of patterns without negation: no text is of both.
bool AreApart(const TextPattern& a, const TextPattern& b) {
  if (a.form == Form::kEqual) return !b.Matches(a.text);
  if (b.form == Form::kEqual) return !a.Matches(b.text);
  const bool same_end = a.form == b.form && a.form != Form::kContains;
  return same_end && !a.Matches(b.text) && !b.Matches(a.text);
}

// A requirement on something that has an order.
template <class Value>
struct Bound {
  Comparison comparison;
  Value value;
};

Comparison Opposite(Comparison comparison) {
  switch (comparison) {
    case Comparison::kNone:
      return Comparison::kNotEqual;
    case Comparison::kNotEqual:
      return Comparison::kNone;
    case Comparison::kAtLeast:
      return Comparison::kLess;
    case Comparison::kGreater:
      return Comparison::kAtMost;
    case Comparison::kAtMost:
      return Comparison::kGreater;
    case Comparison::kLess:
      return Comparison::kAtLeast;
  }
  return comparison;
}

template <class Value>
Bound<Value> Opposite(const Bound<Value>& bound) {
  return {Opposite(bound.comparison), bound.value};
}

bool IsUpper(Comparison comparison) {
  return comparison == Comparison::kLess || comparison == Comparison::kAtMost ||
         comparison == Comparison::kNone;
}
bool IsLower(Comparison comparison) {
  return comparison == Comparison::kGreater || comparison == Comparison::kAtLeast ||
         comparison == Comparison::kNone;
}
bool IsStrict(Comparison comparison) {
  return comparison == Comparison::kGreater || comparison == Comparison::kLess ||
         comparison == Comparison::kNotEqual;
}

template <class Value>
bool Contradict(const Bound<Value>& a, const Bound<Value>& b) {
  const auto ends_before = [](const Bound<Value>& upper, const Bound<Value>& lower) {
    if (!IsUpper(upper.comparison) || !IsLower(lower.comparison)) return false;
    return upper.value < lower.value ||
           (upper.value == lower.value &&
            (IsStrict(upper.comparison) || IsStrict(lower.comparison)));
  };
  const auto excludes = [](const Bound<Value>& one, const Bound<Value>& other) {
    return one.comparison == Comparison::kNone && other.comparison == Comparison::kNotEqual &&
           one.value == other.value;
  };
  return ends_before(a, b) || ends_before(b, a) || excludes(a, b) || excludes(b, a);
}

// No version is less.
constexpr Bound<Version> kAnyVersion = {Comparison::kAtLeast, Version()};

Bound<Version> BoundOf(const VersionRequirement& requirement) {
  return {requirement.comparison, requirement.version};
}
// A plain text excludes other texts of its version, so it is no bound from without.
bool IsBound(const VersionRequirement& requirement) {
  return requirement.valid && requirement.comparison != Comparison::kNone;
}

bool IsNumber(const IntegerRequirement& requirement) {
  return requirement.status == String::IntegerStatus::kOk;
}

bool SameKey(const TextPattern& a, const TextPattern& b) {
  return a.form == b.form && a.negated == b.negated && String::CaseInsesitiveEqual(a.text, b.text);
}
bool HasValue(const KeyValueTerm& term) { return term.value.index() != 0; }

std::optional<LocalDate> Numbers(const DateText& date) {
  const bool good = date.has_three_pieces && std::ranges::all_of(date.fields, [](const auto& f) {
                      return f.status == String::IntegerStatus::kOk;
                    });
  if (!good) return std::nullopt;
  return LocalDate{date.fields[0].number, date.fields[1].number, date.fields[2].number};
}

bool IsNever(const DateText& date) {
  return !date.has_three_pieces || date.fields[0].status != String::IntegerStatus::kOk;
}

// An element of a span and the next one.
template <class Requirement, class Related>
bool AnyPair(std::span<const Requirement> all, Effort& effort, Related related) {
  for (std::size_t i = 0; i < all.size(); ++i) {
    for (std::size_t k = i + 1; k < all.size(); ++k) {
      if (!effort.Spend()) return false;
      if (related(all[i], all[k])) return true;
    }
  }
  return false;
}

template <class Requirement>
bool All(std::span<const Requirement> all, Holding holding) {
  return std::ranges::all_of(all, [&](const auto& one) { return HoldingOf(one) == holding; });
}
template <class Requirement>
bool Any(std::span<const Requirement> all, Holding holding) {
  return std::ranges::any_of(all, [&](const auto& one) { return HoldingOf(one) == holding; });
}

// Over alternatives.
template <class Requirement>
Holding HoldingOfAny(std::span<const Requirement> all, Effort& effort) {
  if (All(all, Holding::kNever)) return Holding::kNever;
  const bool always =
      Any(all, Holding::kAlways) ||
      AnyPair(all, effort, [](const auto& a, const auto& b) { return Cover(a, b); });
  return always ? Holding::kAlways : Holding::kSometimes;
}

// Over a few known values.
Holding HoldingOver(std::span<const TextPattern> all, std::span<const WStringView> values) {
  const auto held =
      std::ranges::count_if(values, [&](WStringView value) { return AnyText(all, value); });
  if (held == 0) return Holding::kNever;
  return held == std::ssize(values) ? Holding::kAlways : Holding::kSometimes;
}

Holding HoldingOfTexts(FilterField field, std::span<const TextPattern> all, Effort& effort) {
  if (const auto values = KnownValues(field); !values.empty()) return HoldingOver(all, values);
  Holding holding = HoldingOfAny(all, effort);
  if (IsHash(field) && holding == Holding::kSometimes &&
      std::ranges::all_of(all, [](const auto& one) { return !CanBeHash(one); })) {
    holding = Holding::kNever;
  }
  // Without a subscription nothing holds, and without firmware a SKU is not asked.
  if (field == FilterField::device_subscription && holding == Holding::kAlways) {
    return Holding::kSometimes;
  }
  if (field == FilterField::sku && holding == Holding::kNever) return Holding::kSometimes;
  return holding;
}

Holding HoldingOfAll(std::span<const KeyValueTerm> all, Effort& effort) {
  if (All(all, Holding::kAlways)) return Holding::kAlways;
  const bool never =
      Any(all, Holding::kNever) ||
      AnyPair(all, effort, [](const auto& a, const auto& b) { return Contradict(a, b); });
  return never ? Holding::kNever : Holding::kSometimes;
}

Holding HoldingOfRegistry(std::span<const CompiledRegistryRequirement> all) {
  const auto is_never = [](const CompiledRegistryRequirement& requirement) {
    return !requirement.CanHold() || HoldingOf(requirement.pattern) == Holding::kNever;
  };
  return std::ranges::any_of(all, is_never) ? Holding::kNever : Holding::kSometimes;
}

// Each of `ones` implies one of `others`.
template <class Requirement>
bool EachImpliesOne(std::span<const Requirement> ones, std::span<const Requirement> others,
                    Effort& effort) {
  return std::ranges::all_of(ones, [&](const auto& one) {
    return std::ranges::any_of(
        others, [&](const auto& other) { return effort.Spend() && Implies(one, other); });
  });
}

// Each of `others` is implied by one of `ones`.
bool EachIsImplied(std::span<const KeyValueTerm> ones, std::span<const KeyValueTerm> others,
                   Effort& effort) {
  return std::ranges::all_of(others, [&](const auto& other) {
    return std::ranges::any_of(
        ones, [&](const auto& one) { return effort.Spend() && Implies(one, other); });
  });
}

bool StepImplies(const CompiledList& list, WStringView required, const Step& step,
                 WStringView other_required, const Step& other, Effort& effort) {
  if (required == other_required) return true;
  const Criterion& criterion = kCriteria[step.criterion];
  switch (criterion.language) {
    case Language::kText:
      return EachImpliesOne(list.Texts(step), list.Texts(other), effort);
    case Language::kVersion:
      return EachImpliesOne(list.Versions(step), list.Versions(other), effort);
    case Language::kTerms:
      return criterion.field == FilterField::tag
                 ? EachIsImplied(list.Terms(step), list.Terms(other), effort)
                 : EachImpliesOne(list.Terms(step), list.Terms(other), effort);
    case Language::kDateRange:
      return Implies(list.Range(step), list.Range(other));
    case Language::kRollout:
    case Language::kRegistry:
    case Language::kHardwareId:
      return false;
  }
  return false;
}

}  // namespace

Holding HoldingOf(const TextPattern& pattern) {
  const TextPattern reduced = Reduced(pattern);
  if (IsEveryText(reduced)) return Holding::kAlways;
  return IsNoText(reduced) ? Holding::kNever : Holding::kSometimes;
}

Holding HoldingOf(const VersionRequirement& requirement) {
  if (requirement.text.empty() || !requirement.valid) return Holding::kNever;
  const Bound<Version> bound = BoundOf(requirement);
  if (Contradict(bound, kAnyVersion)) return Holding::kNever;
  return IsBound(requirement) && Contradict(Opposite(bound), kAnyVersion) ? Holding::kAlways
                                                                          : Holding::kSometimes;
}

Holding HoldingOf(const KeyValueTerm& term) {
  if (HoldingOf(term.key) == Holding::kNever) {
    return term.negated ? Holding::kAlways : Holding::kNever;
  }
  if (const auto* const pattern = std::get_if<TextPattern>(&term.value)) {
    if (HoldingOf(*pattern) == Holding::kNever) return Holding::kNever;
  } else if (const auto* const version = std::get_if<VersionRequirement>(&term.value)) {
    if (HoldingOf(*version) == Holding::kNever) return Holding::kNever;
  } else if (const auto* const integer = std::get_if<IntegerRequirement>(&term.value)) {
    if (!IsNumber(*integer)) return Holding::kNever;
  }
  return Holding::kSometimes;
}

Holding HoldingOf(const DateRange& range) {
  if (!range.has_two_pieces) return Holding::kNever;
  if (range.open_start && range.open_end) return Holding::kAlways;
  if (!range.open_start && IsNever(range.start)) return Holding::kNever;
  if (!range.open_end && IsNever(range.end)) return Holding::kNever;
  if (range.open_start || range.open_end) return Holding::kSometimes;
  const auto end = Numbers(range.end);
  const bool empty = end && range.start.CompareTo(*end).value_or(0) > 0;
  return empty ? Holding::kNever : Holding::kSometimes;
}

Holding HoldingOf(const Rollout& rollout) {
  const bool good = rollout.has_three_pieces && Numbers(rollout.start) &&
                    rollout.days.status == String::IntegerStatus::kOk && rollout.days.number != 0;
  return good ? Holding::kSometimes : Holding::kNever;
}

bool Contradict(const TextPattern& a, const TextPattern& b) {
  TextPattern one = Reduced(a);
  TextPattern other = Reduced(b);
  if (IsNoText(one) || IsNoText(other)) return true;
  if (one.negated && other.negated) return false;
  if (one.negated) std::swap(one, other);
  return other.negated ? IsPartOf(one, Opposite(other)) : AreApart(one, other);
}

bool Cover(const TextPattern& a, const TextPattern& b) {
  return Contradict(Opposite(Reduced(a)), Opposite(Reduced(b)));
}

bool Implies(const TextPattern& a, const TextPattern& b) {
  return Contradict(a, Opposite(Reduced(b)));
}

bool Cover(const VersionRequirement& a, const VersionRequirement& b) {
  return IsBound(a) && IsBound(b) && Contradict(Opposite(BoundOf(a)), Opposite(BoundOf(b)));
}

bool Implies(const VersionRequirement& a, const VersionRequirement& b) {
  if (HoldingOf(a) == Holding::kNever) return true;
  if (a.comparison == Comparison::kNone) {
    VersionText only(a.text);
    return b.Matches(only);
  }
  return IsBound(b) && Contradict(BoundOf(a), Opposite(BoundOf(b)));
}

bool Contradict(const KeyValueTerm& a, const KeyValueTerm& b) {
  if (!SameKey(a.key, b.key)) return false;
  if (a.negated != b.negated) return true;  // is there, and is not
  if (a.value.index() != b.value.index()) return false;
  if (const auto* const text = std::get_if<TextPattern>(&a.value)) {
    return Contradict(*text, std::get<TextPattern>(b.value));
  }
  if (const auto* const version = std::get_if<VersionRequirement>(&a.value)) {
    return Contradict(BoundOf(*version), BoundOf(std::get<VersionRequirement>(b.value)));
  }
  if (const auto* const integer = std::get_if<IntegerRequirement>(&a.value)) {
    const auto& other = std::get<IntegerRequirement>(b.value);
    return Contradict(Bound<int>{integer->comparison, integer->number},
                      Bound<int>{other.comparison, other.number});
  }
  return false;
}

bool Cover(const KeyValueTerm& a, const KeyValueTerm& b) {
  return SameKey(a.key, b.key) && a.negated != b.negated && !HasValue(a) && !HasValue(b);
}

bool Implies(const KeyValueTerm& a, const KeyValueTerm& b) {
  if (HoldingOf(a) == Holding::kNever) return true;
  if (!SameKey(a.key, b.key) || a.negated != b.negated) return false;
  if (!HasValue(b)) return true;
  if (a.value.index() != b.value.index()) return false;
  if (const auto* const text = std::get_if<TextPattern>(&a.value)) {
    return Implies(*text, std::get<TextPattern>(b.value));
  }
  if (const auto* const version = std::get_if<VersionRequirement>(&a.value)) {
    return Implies(*version, std::get<VersionRequirement>(b.value));
  }
  const auto& integer = std::get<IntegerRequirement>(a.value);
  const auto& other = std::get<IntegerRequirement>(b.value);
  return IsNumber(other) && Contradict(Bound<int>{integer.comparison, integer.number},
                                       Opposite(Bound<int>{other.comparison, other.number}));
}

bool Implies(const DateRange& a, const DateRange& b) {
  if (HoldingOf(a) == Holding::kNever || HoldingOf(b) == Holding::kAlways) return true;
  if (!b.has_two_pieces) return false;
  const auto reaches = [](bool open, const DateText& date, bool other_open, const DateText& other,
                          int sign) {
    if (other_open) return true;
    const auto numbers = Numbers(date);
    // A date that is compared with the other's day: before it for a start, after it for an end.
    return !open && numbers && Numbers(other) && other.CompareTo(*numbers).value() * sign >= 0;
  };
  return reaches(a.open_start, a.start, b.open_start, b.start, -1) &&
         reaches(a.open_end, a.end, b.open_end, b.end, 1);
}

bool Cover(const CompiledList& list, const Step& a, const Step& b, Effort& effort) {
  // Without a subscription no subscription matches.
  if (a.field != b.field || a.field == FilterField::device_subscription) return false;
  const auto any_pair = [&](const auto& ones, const auto& others) {
    return std::ranges::any_of(ones, [&](const auto& one_of) {
      return std::ranges::any_of(
          others, [&](const auto& other_of) { return effort.Spend() && Cover(one_of, other_of); });
    });
  };
  switch (kCriteria[a.criterion].language) {
    case Language::kText:
      return any_pair(list.Texts(a), list.Texts(b));
    case Language::kTerms: {
      // All terms of `tag` must match.
      const bool alternatives = a.field != FilterField::tag || (a.count == 1 && b.count == 1);
      return alternatives && any_pair(list.Terms(a), list.Terms(b));
    }
    default:
      return false;  // there may be no version
  }
}

Holding HoldingOf(const CompiledList& list, const Step& step, Effort& effort) {
  const Criterion& criterion = kCriteria[step.criterion];
  switch (criterion.language) {
    case Language::kText:
      return HoldingOfTexts(criterion.field, list.Texts(step), effort);
    case Language::kVersion: {
      // There may be no version to compare them with.
      const bool never = All(list.Versions(step), Holding::kNever);
      return never ? Holding::kNever : Holding::kSometimes;
    }
    case Language::kTerms:
      return criterion.field == FilterField::tag ? HoldingOfAll(list.Terms(step), effort)
                                                 : HoldingOfAny(list.Terms(step), effort);
    case Language::kDateRange:
      return HoldingOf(list.Range(step));
    case Language::kRollout:
      return HoldingOf(list.RolloutOf(step));
    case Language::kRegistry:
      return HoldingOfRegistry(list.Registry(step));
    case Language::kHardwareId:
      return Holding::kSometimes;
  }
  return Holding::kSometimes;
}

Holding HoldingOf(const CompiledList& list, const CompiledList::Program& program, Effort& effort) {
  Holding all = Holding::kAlways;
  for (const Step& step : list.Steps(program)) {
    const Holding holding = HoldingOf(list, step, effort);
    if (holding == Holding::kNever) return Holding::kNever;
    if (holding == Holding::kSometimes) all = Holding::kSometimes;
  }
  return all;
}

bool Implies(const CompiledList& list, const CompiledList::Program& one,
             const CompiledList::Program& other, Effort& effort) {
  if (!effort.Spend()) return false;
  const auto steps = list.Steps(one);
  return std::ranges::all_of(list.Steps(other), [&](const Step& required) {
    const auto same = std::ranges::find(steps, required.criterion, &Step::criterion);
    if (same == steps.end()) return false;
    const FilterField field = kCriteria[required.criterion].field;
    return StepImplies(list, one.filter->View(field), *same, other.filter->View(field), required,
                       effort);
  });
}

}  // namespace yox::decision
