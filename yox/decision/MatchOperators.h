#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <variant>
#include <vector>

#include "yox/base/FoldedText.h"
#include "yox/base/String.h"
#include "yox/base/WString.h"
#include "yox/foundation/KeyValuePair.h"
#include "yox/foundation/Version.h"

// The small languages in which a filter states what it requires. Each has a parsed form that keeps
// views of the requirement's text, which must outlive it, and can be compared with any number of
// values. Parsing cannot fail; neither parsing nor matching allocates. In parameter lists the
// requirement is first, the device's value second. All functions are pure; docs/filter-list.md
// describes the languages.
namespace yox::decision {

// Iterates over the pieces of a text between separators, empty ones included; the empty text has
// none.
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
// Letter case and surrounding white space are ignored. A blank pattern, and one that has "*" only
// in its middle, matches everything, negated or not.
struct TextPattern {
  enum class Form : std::uint8_t { kEverything, kEqual, kContains, kStartsWith, kEndsWith };

  Form form = Form::kEverything;
  bool negated = false;
  WStringView text = {};          // in a compiled list with its letter case folded
  std::uint64_t fingerprint = 0;  // in a compiled list that of the text

  // Trims the pattern. Keeps a view of it; the letter case is not folded.
  static TextPattern Parse(WStringView pattern);
  // Whether the pattern is a text alone, which it matches without regard to letter case.
  bool IsText() const { return form == Form::kEqual && !negated && !text.empty(); }
  // `actual` must have no surrounding white space.
  bool Matches(WStringView actual) const;
  // The same, faster, for the patterns of a compiled list.
  bool MatchesUnfolded(WStringView actual) const;
  // For a text alone, of a compiled list: whether `actual`, which may have white space around it,
  // is the text.
  bool Is(WStringView actual) const {
    actual = String::Trimmed(actual);
    return actual.size() == text.size() && EqualsFolded(actual.data(), text);
  }
  // For the patterns of a compiled list: the letter case of `actual` must be folded as well.
  bool MatchesFolded(WStringView actual) const {
    if (form == Form::kEverything) return true;
    if (form == Form::kContains) return ContainsUnits(actual, text) != negated;
    if (actual.size() < text.size()) return negated;
    const std::size_t more = actual.size() - text.size();
    if (form == Form::kEqual && more != 0) return negated;
    const WChar* const begin = actual.data() + (form == Form::kEndsWith ? more : 0);
    return SameUnits(begin, text.data(), text.size()) != negated;
  }
};

enum class Comparison : std::uint8_t { kNone, kNotEqual, kAtLeast, kGreater, kAtMost, kLess };

// A version as two numbers that have its order: compared without a branch for each component.
struct OrderedVersion {
  std::uint64_t high = 0;  // major and minor
  std::uint64_t low = 0;   // build and revision

  OrderedVersion() = default;
  explicit OrderedVersion(const Version& version) {
    const auto [major_number, minor_number, build, revision] = version.components();
    high = Ordered(major_number, minor_number);
    low = Ordered(build, revision);
  }

  friend auto operator<=>(const OrderedVersion&, const OrderedVersion&) = default;

 private:
  // The components are signed.
  static std::uint64_t Ordered(std::int32_t first, std::int32_t second) {
    constexpr std::uint32_t kSign = 0x80000000;
    return std::uint64_t{static_cast<std::uint32_t>(first) ^ kSign} << 32 |
           (static_cast<std::uint32_t>(second) ^ kSign);
  }
};

// A device's version text. It is parsed at most once, however many requirements are compared with
// it.
class VersionText {
 public:
  constexpr explicit VersionText(WStringView text) : text_(text) {}
  // For a text that has been read already: the version that it is, if it is one.
  VersionText(WStringView text, const std::optional<Version>& read) : text_(text) { Keep(read); }

  WStringView text() const { return text_; }
  // The same text somewhere else, or without white space around it.
  void set_text(WStringView same) { text_ = same; }
  // Returns null if the text is not a version.
  const Version* Parsed();
  // Returns null unless the text is a version without white space around it.
  const OrderedVersion* Plain() {
    if (state_ == State::kUnread) Parsed();
    return is_plain_ ? &ordered_ : nullptr;
  }

 private:
  enum class State : std::uint8_t { kUnread, kGood, kBad };

  void Keep(const std::optional<Version>& read) {
    state_ = read ? State::kGood : State::kBad;
    version_ = read.value_or(Version());
    is_plain_ = read && text_.size() == String::Trimmed(text_).size();
    ordered_ = OrderedVersion(version_);
  }

  WStringView text_;
  State state_ = State::kUnread;
  bool is_plain_ = false;
  Version version_;
  OrderedVersion ordered_;  // the same, if it is plain
};

// An operator and a version, or a plain text, which is compared as text with a value that is a
// version.
struct VersionRequirement {
  WStringView text = {};  // trimmed, the operator included; empty matches nothing
  Comparison comparison = Comparison::kNone;
  bool valid = false;
  Version version = {};

  // Reads an operator and a version. The result is invalid if that is not what the text is.
  static VersionRequirement Parse(WStringView pattern);
  // Trims the view in `actual` if neither side is blank; the caller then has to trim its own text,
  // too.
  bool Matches(VersionText& actual) const;
};

// An operator and an integer.
struct IntegerRequirement {
  WStringView operand = {};
  Comparison comparison = Comparison::kNone;
  String::IntegerStatus status = String::IntegerStatus::kInvalid;
  int number = 0;

  // Reads an operator and an integer; `status` says whether there is one.
  static IntegerRequirement Parse(WStringView pattern);
  // Throws std::invalid_argument or std::out_of_range if `actual` is not an integer of 32 bits, and
  // then if the operand is not.
  bool Matches(WStringView actual) const;
  // The same without exceptions; `holds` is written only for kOk.
  String::IntegerStatus TryMatch(WStringView actual, bool& holds) const;
};

// A name and a text of the device, as views that do not own them.
struct PairView {
  WStringView key;
  WStringView value;
};

// `key`, `!key`, `key|` or `key|value`, the value a text pattern, or a comparison: of versions if
// it contains a dot, otherwise of integers. Only the first pair whose key matches is compared.
struct KeyValueTerm {
  TextPattern key;
  bool negated = false;  // of the form without a value
  std::variant<std::monostate, TextPattern, VersionRequirement, IntegerRequirement> value = {};

  // Splits the term at its first "|".
  static KeyValueTerm Parse(WStringView term);

  // `find(pattern)` must return the first pair whose key the pattern matches, as
  // std::optional<PairView>. `holds` is set if kOk is returned; another status means that a text is
  // not an integer.
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

// Return whether one of the alternatives matches; false for an empty list.
bool AnyText(std::span<const TextPattern> alternatives, WStringView actual);
bool AnyVersion(std::span<const VersionRequirement> alternatives, VersionText& actual);

// The same for a comma-separated text.
bool AnyText(WStringView required, WStringView actual);
bool AnyVersion(WStringView required, VersionText& actual);

using Pairs = std::vector<KeyValuePair<WString, WString>>;

// Returns the first pair whose name a pattern of a compiled list matches, or null.
const Pairs::value_type* FindFirst(const Pairs& pairs, const TextPattern& name);
// The same for a name that is a text alone.
const Pairs::value_type* FindNamed(const Pairs& pairs, const TextPattern& name);
std::optional<PairView> FirstOf(const Pairs& pairs, const TextPattern& name);

// Linear search in a list of pairs, for KeyValueTerm::TryMatch.
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
