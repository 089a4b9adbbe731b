#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <variant>
#include <vector>

#include "yox/base/String.h"
#include "yox/base/WString.h"
#include "yox/foundation/KeyValuePair.h"
#include "yox/foundation/Version.h"

// The small languages in which a filter states what it requires. Each has a parsed form that keeps
// views of the requirement's text and can be held against any number of values; parsing cannot
// fail, and neither parsing nor holding allocates. A requirement comes first, the device's value
// second.
namespace yox::decision {

// Whether the units from `actual` on are `folded`, whose letter case is folded, in any letter case.
inline bool EqualsFolded(const WChar* actual, WStringView folded) {
  for (const WChar unit : folded) {
    const WChar given = *actual++;
    if (given != unit && String::FoldCase(given) != unit) return false;
  }
  return true;
}

// Every piece of a text counts, empty ones included; the empty text has none.
//   for (auto rest = Pieces(text); rest;) { const WStringView piece = NextPiece(rest, ','); ... }
inline std::optional<WStringView> Pieces(WStringView text) {
  return text.empty() ? std::nullopt : std::optional(text);
}
inline WStringView NextPiece(std::optional<WStringView>& rest, WChar separator) {
  const std::size_t at = rest->find(separator);
  const WStringView piece = rest->substr(0, at);
  if (at == WStringView::npos) {
    rest.reset();
  } else {
    rest->remove_prefix(at + 1);
  }
  return piece;
}

// A text pattern: `text`, `text*`, `*text`, `*text*`, each with "!" before it for the opposite.
// Letter case and surrounding white space are ignored. A pattern that is blank, or has "*" in its
// inside only, matches everything, negated or not.
struct TextPattern {
  enum class Form : std::uint8_t { kEverything, kEqual, kContains, kStartsWith, kEndsWith };

  Form form = Form::kEverything;
  bool negated = false;
  WStringView text = {};          // in a compiled list with its letter case folded
  std::uint64_t fingerprint = 0;  // in a compiled list that of the text

  static TextPattern Parse(WStringView pattern);
  // Whether the pattern is a text alone, which it matches without regard to letter case.
  bool IsText() const { return form == Form::kEqual && !negated && !text.empty(); }
  // `actual` without surrounding white space.
  bool Matches(WStringView actual) const;
  // The same, faster, for the patterns of a compiled list.
  bool MatchesUnfolded(WStringView actual) const;
  // For the patterns of a compiled list, where the letter case of `actual` is folded too.
  bool MatchesFolded(WStringView actual) const {
    bool matched = true;
    switch (form) {
      case Form::kEverything:
        return true;
      case Form::kEqual:
        matched = actual == text;
        break;
      case Form::kContains:
        matched = actual.find(text) != WStringView::npos;
        break;
      case Form::kStartsWith:
        matched = actual.starts_with(text);
        break;
      case Form::kEndsWith:
        matched = actual.ends_with(text);
        break;
    }
    return matched != negated;
  }
};

enum class Comparison : std::uint8_t { kNone, kNotEqual, kAtLeast, kGreater, kAtMost, kLess };

// A device's version text, read as a version at most once however many requirements are held
// against it.
class VersionText {
 public:
  explicit VersionText(WStringView text) : text_(text) {}

  WStringView text() const { return text_; }
  void set_text(WStringView trimmed) { text_ = trimmed; }
  // Null when the text is no version.
  const Version* Parsed();

 private:
  enum class State : std::uint8_t { kUnread, kGood, kBad };

  WStringView text_;
  State state_ = State::kUnread;
  Version version_;
};

// An operator and a version, or a plain text that must be a version and is compared as text.
struct VersionRequirement {
  WStringView text = {};  // trimmed, the operator included; empty matches nothing
  Comparison comparison = Comparison::kNone;
  bool valid = false;
  Version version = {};

  static VersionRequirement Parse(WStringView pattern);
  // Trims `actual` when neither side is blank; the caller's text is to be trimmed then as well.
  bool Matches(VersionText& actual) const;
};

// An operator and an integer.
struct IntegerRequirement {
  WStringView operand = {};
  Comparison comparison = Comparison::kNone;
  String::IntegerStatus status = String::IntegerStatus::kInvalid;
  int number = 0;

  static IntegerRequirement Parse(WStringView pattern);
  // Throws std::invalid_argument or std::out_of_range: for a bad `actual` first, then for a bad
  // operand.
  bool Matches(WStringView actual) const;
  // The same without exceptions; `holds` is written only for kOk.
  String::IntegerStatus TryMatch(WStringView actual, bool& holds) const;
};

// A name and a text of the device; views of what somebody else owns.
struct PairView {
  WStringView key;
  WStringView value;
};

// `key`, `!key`, `key|` or `key|value`, the value a text pattern, or a comparison of versions when
// it holds a dot and of integers when not. Only the first pair whose key matches counts.
struct KeyValueTerm {
  TextPattern key;
  bool negated = false;  // of the form without a value
  std::variant<std::monostate, TextPattern, VersionRequirement, IntegerRequirement> value = {};

  static KeyValueTerm Parse(WStringView term);

  // `find(pattern)` gives the first pair whose key the pattern matches, as an optional PairView.
  // `holds` counts only for kOk: integers may be none that can be compared.
  template <class Find>
  String::IntegerStatus TryMatch(const Find& find, bool& holds) const {
    const std::optional<PairView> pair = find(key);
    holds = pair.has_value();
    const auto status = holds ? TryValue(pair->value, holds) : String::IntegerStatus::kOk;
    holds = holds != negated;
    return status;
  }

 private:
  String::IntegerStatus TryValue(WStringView actual, bool& holds) const;
};

// Alternatives, of which one must hold: none holds of an empty list.
bool AnyText(std::span<const TextPattern> alternatives, WStringView actual);
bool AnyVersion(std::span<const VersionRequirement> alternatives, VersionText& actual);

// The same over a comma list as it is written.
bool AnyText(WStringView required, WStringView actual);
bool AnyVersion(WStringView required, VersionText& actual);

using Pairs = std::vector<KeyValuePair<WString, WString>>;

// The first pair whose name a pattern of a compiled list matches.
std::optional<PairView> FirstOf(const Pairs& pairs, const TextPattern& name);

// Finds in a list of pairs, in order.
struct FindInPairs {
  const Pairs& pairs;

  std::optional<PairView> operator()(const TextPattern& key) const {
    for (const auto& pair : pairs) {
      if (key.Matches(String::Trimmed(pair.key()))) return PairView{pair.key(), pair.value()};
    }
    return std::nullopt;
  }
};

}  // namespace yox::decision
