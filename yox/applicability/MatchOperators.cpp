#include "yox/applicability/MatchOperators.h"

namespace YOX::match {
namespace {

// Tried in this order, so that ">=" wins over ">" and "<=" over "<".
struct Operator {
  WStringView text;
  Comparison comparison;
};
constexpr Operator kOperators[] = {
    {"!"_wv, Comparison::kNotEqual}, {">="_wv, Comparison::kAtLeast},
    {">"_wv, Comparison::kGreater},  {"<="_wv, Comparison::kAtMost},
    {"<"_wv, Comparison::kLess},
};

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
  constexpr WStringView kStar = "*"_wv;
  if (opens) pattern.remove_prefix(std::min(pattern.size(), pattern.find_first_not_of(kStar)));
  if (closes) pattern.remove_suffix(pattern.size() - (pattern.find_last_not_of(kStar) + 1));
  const Form form = opens && closes ? Form::kContains
                    : closes        ? Form::kStartsWith
                                    : Form::kEndsWith;
  return {form, negated, pattern};
}

bool TextPattern::Matches(WStringView actual) const {
  switch (form) {
    case Form::kEverything:
      return true;
    case Form::kEqual:
      return String::CaseInsesitiveEqual(actual, text) != negated;
    case Form::kContains:
      return String::CaseInsesitiveFind(actual, text) != negated;
    case Form::kStartsWith:
      return String::CaseInsensitiveStartsWith(actual, text) != negated;
    case Form::kEndsWith:
      return String::CaseInsensitiveEndsWith(actual, text) != negated;
  }
  return false;
}

bool Text(WStringView pattern, WStringView actual) {
  return TextPattern::Parse(pattern).Matches(String::Trimmed(actual));
}

bool AnyText(WStringView required, WStringView actual) {
  actual = String::Trimmed(actual);
  for (auto rest = Pieces(required); rest;) {
    if (TextPattern::Parse(NextPiece(rest, ',')).Matches(actual)) return true;
  }
  return false;
}

ComparedOperand SplitComparison(WStringView pattern) {
  for (const auto& [text, comparison] : kOperators) {
    if (pattern.starts_with(text)) return {comparison, String::Trimmed(pattern, text)};
  }
  return {Comparison::kNone, pattern};
}

const Version* VersionText::Parsed() {
  if (state_ == State::kUnread) {
    state_ = Version::TryParseVersion(text_, version_) ? State::kGood : State::kBad;
  }
  return state_ == State::kGood ? &version_ : nullptr;
}

bool MatchesVersion(WStringView pattern, VersionText& actual) {
  pattern = String::Trimmed(pattern);
  if (pattern.empty() || String::IsEmptyOrWhiteSpace(actual.text())) return false;
  actual.Trim();
  const auto [comparison, operand] = SplitComparison(pattern);
  if (comparison == Comparison::kNone && !String::CaseInsesitiveEqual(pattern, actual.text())) {
    return false;
  }
  Version required;
  if (!Version::TryParseVersion(operand, required)) return false;
  if (comparison == Comparison::kNone) return true;
  const Version* const version = actual.Parsed();
  return version != nullptr && Holds(comparison, *version, required);
}

bool AnyVersion(WStringView required, VersionText& actual) {
  for (auto rest = Pieces(required); rest;) {
    if (MatchesVersion(NextPiece(rest, ','), actual)) return true;
  }
  return false;
}

bool Integer(WStringView pattern, WStringView actual) {
  const int number = String::ToInteger(actual);
  const auto [comparison, operand] = SplitComparison(String::Trimmed(pattern));
  return Holds(comparison, number, String::ToInteger(operand));
}

}  // namespace YOX::match
