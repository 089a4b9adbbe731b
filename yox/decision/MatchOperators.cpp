#include "yox/decision/MatchOperators.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

namespace yox::decision {
namespace {

struct Operator {
  WStringView text;
  Comparison comparison;
};

// Tried in this order, so that ">=" wins over ">" and "<=" over "<".
constexpr std::array kOperators = {
    Operator{"!"_wv, Comparison::kNotEqual}, Operator{">="_wv, Comparison::kAtLeast},
    Operator{">"_wv, Comparison::kGreater},  Operator{"<="_wv, Comparison::kAtMost},
    Operator{"<"_wv, Comparison::kLess},
};

struct ComparedOperand {
  Comparison comparison;
  WStringView operand;
};

// The operator's characters go from both ends of the operand.
ComparedOperand SplitComparison(WStringView trimmed) {
  for (const auto& [text, comparison] : kOperators) {
    if (trimmed.starts_with(text)) return {comparison, String::Trimmed(trimmed, text)};
  }
  return {Comparison::kNone, trimmed};
}

template <class T>
bool Holds(Comparison comparison, const T& actual, const T& required) {
  switch (comparison) {
    case Comparison::kNone:
      return actual == required;
    case Comparison::kNotEqual:
      return actual != required;
    case Comparison::kAtLeast:
      return actual >= required;
    case Comparison::kGreater:
      return actual > required;
    case Comparison::kAtMost:
      return actual <= required;
    case Comparison::kLess:
      return actual < required;
  }
  return false;
}

}  // namespace

TextPattern TextPattern::Parse(WStringView pattern) {
  pattern = String::Trimmed(pattern);
  if (pattern.empty()) return {};
  const bool negated = pattern.front() == '!';
  if (negated) pattern.remove_prefix(1);
  if (pattern.find('*') == WStringView::npos) return {Form::kEqual, negated, pattern};

  const bool opens = pattern.front() == '*';
  const bool closes = pattern.back() == '*';
  if (!opens && !closes) return {};
  while (opens && pattern.starts_with('*')) pattern.remove_prefix(1);
  while (closes && pattern.ends_with('*')) pattern.remove_suffix(1);
  const Form form = opens && closes ? Form::kContains
                    : closes        ? Form::kStartsWith
                                    : Form::kEndsWith;
  return {form, negated, pattern};
}

bool TextPattern::Matches(WStringView actual) const {
  if (form == Form::kEverything) return true;
  if (form == Form::kContains) return String::CaseInsesitiveFind(actual, text) != negated;
  if (actual.size() < text.size()) return negated;
  const std::size_t more = actual.size() - text.size();
  if (form == Form::kEqual && more != 0) return negated;
  if (form == Form::kEndsWith) actual.remove_prefix(more);
  return String::CaseInsensitiveStartsWith(actual, text) != negated;
}

const Version* VersionText::Parsed() {
  if (state_ == State::kUnread) Keep(Version::FromView(text_));
  return state_ == State::kGood ? &version_ : nullptr;
}

VersionRequirement VersionRequirement::Parse(WStringView pattern) {
  VersionRequirement requirement;
  requirement.text = String::Trimmed(pattern);
  const auto [comparison, operand] = SplitComparison(requirement.text);
  requirement.comparison = comparison;
  const std::optional<Version> version = Version::FromView(operand);
  requirement.valid = version.has_value();
  requirement.version = version.value_or(Version());
  return requirement;
}

bool VersionRequirement::Matches(VersionText& actual) const {
  const WStringView trimmed = String::Trimmed(actual.text());
  if (text.empty() || trimmed.empty()) return false;
  actual.set_text(trimmed);
  if (!valid) return false;
  if (comparison == Comparison::kNone) return String::CaseInsesitiveEqual(text, actual.text());
  const Version* const other = actual.Parsed();
  return other != nullptr && Holds(comparison, *other, version);
}

IntegerRequirement IntegerRequirement::Parse(WStringView pattern) {
  IntegerRequirement requirement;
  const auto [comparison, operand] = SplitComparison(String::Trimmed(pattern));
  requirement.comparison = comparison;
  requirement.operand = operand;
  requirement.status = String::TryToInteger(operand, requirement.number);
  return requirement;
}

String::IntegerStatus IntegerRequirement::TryMatch(WStringView actual, bool& holds) const {
  int value = 0;
  const auto read = String::TryToInteger(actual, value);
  if (read != String::IntegerStatus::kOk) return read;
  if (status == String::IntegerStatus::kOk) holds = Holds(comparison, value, number);
  return status;
}

bool IntegerRequirement::Matches(WStringView actual) const {
  bool holds = false;
  if (TryMatch(actual, holds) != String::IntegerStatus::kOk) {
    String::ToInteger(actual);  // one of the two throws
    String::ToInteger(operand);
  }
  return holds;
}

KeyValueTerm KeyValueTerm::Parse(WStringView term) {
  const std::size_t bar = term.find('|');
  if (bar == WStringView::npos) {
    WStringView key = String::Trimmed(term);
    const bool negated = key.starts_with('!');
    if (negated) key = String::Trimmed(key, "!"_wv);
    return {TextPattern::Parse(key), negated};
  }
  const WStringView behind = term.substr(bar + 1);
  const WStringView value = String::Trimmed(behind.substr(0, behind.find('|')));
  KeyValueTerm parsed{TextPattern::Parse(term.substr(0, bar))};
  if (value.empty()) return parsed;
  if (value.front() != '<' && value.front() != '>') {
    parsed.value = TextPattern::Parse(value);
  } else if (value.find('.') != WStringView::npos) {
    parsed.value = VersionRequirement::Parse(value);
  } else {
    parsed.value = IntegerRequirement::Parse(value);
  }
  return parsed;
}

String::IntegerStatus KeyValueTerm::TryValue(WStringView actual, bool& holds) const {
  if (const auto* const pattern = std::get_if<TextPattern>(&value)) {
    holds = pattern->Matches(String::Trimmed(actual));
  } else if (const auto* const version = std::get_if<VersionRequirement>(&value)) {
    VersionText text(actual);
    holds = version->Matches(text);
  } else if (const auto* const integer = std::get_if<IntegerRequirement>(&value)) {
    return integer->TryMatch(actual, holds);
  }
  return String::IntegerStatus::kOk;
}

bool TextPattern::MatchesUnfolded(WStringView actual) const {
  if (form == Form::kEverything) return true;
  if (form == Form::kContains) return String::CaseInsesitiveFind(actual, text) != negated;
  if (actual.size() < text.size()) return negated;
  const std::size_t more = actual.size() - text.size();
  if (form == Form::kEqual && more != 0) return negated;
  return EqualsFolded(actual.data() + (form == Form::kEndsWith ? more : 0), text) != negated;
}

bool AnyText(std::span<const TextPattern> alternatives, WStringView actual) {
  actual = String::Trimmed(actual);
  return std::ranges::any_of(alternatives, [&](const auto& a) { return a.Matches(actual); });
}

bool AnyVersion(std::span<const VersionRequirement> alternatives, VersionText& actual) {
  return std::ranges::any_of(alternatives, [&](const auto& a) { return a.Matches(actual); });
}

bool AnyText(WStringView required, WStringView actual) {
  actual = String::Trimmed(actual);
  for (auto rest = Pieces(required); rest;) {
    if (TextPattern::Parse(NextPiece(rest, ',')).Matches(actual)) return true;
  }
  return false;
}

bool AnyVersion(WStringView required, VersionText& actual) {
  for (auto rest = Pieces(required); rest;) {
    if (VersionRequirement::Parse(NextPiece(rest, ',')).Matches(actual)) return true;
  }
  return false;
}

namespace {

const Pairs::value_type* FindPattern(const Pairs& pairs, const TextPattern& name) {
  const auto found = std::ranges::find_if(
      pairs, [&](const auto& pair) { return name.MatchesUnfolded(String::Trimmed(pair.key())); });
  return found == pairs.end() ? nullptr : &*found;
}

// Returns the first pair from `at` on whose name has the fingerprint, or `end`.
[[gnu::always_inline]] inline const Pairs::value_type* FindFingerprint(const Pairs::value_type* at,
                                                                       const Pairs::value_type* end,
                                                                       std::uint64_t name) {
  const auto may_be = [name](const auto& pair) { return pair.key_fingerprint() == name; };
  // Four for each look at the end.
  for (; end - at >= 4; at += 4) {
    if (may_be(at[0])) return at;
    if (may_be(at[1])) return at + 1;
    if (may_be(at[2])) return at + 2;
    if (may_be(at[3])) return at + 3;
  }
  while (at != end && !may_be(*at)) ++at;
  return at;
}

}  // namespace

const Pairs::value_type* FindFirst(const Pairs& pairs, const TextPattern& name) {
  return name.IsText() ? FindNamed(pairs, name) : FindPattern(pairs, name);
}

const Pairs::value_type* FindNamed(const Pairs& pairs, const TextPattern& name) {
  const auto* const end = pairs.data() + pairs.size();
  for (const auto* at = pairs.data();; ++at) {
    at = FindFingerprint(at, end, name.fingerprint);
    if (at == end) return nullptr;
    if (name.Is(at->key())) return at;
  }
}

std::optional<PairView> FirstOf(const Pairs& pairs, const TextPattern& name) {
  const auto* const found = FindFirst(pairs, name);
  if (found == nullptr) return std::nullopt;
  return PairView{found->key(), found->value()};
}

}  // namespace yox::decision
