#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "yox/clientbase/String.h"
#include "yox/clientbase/WString.h"
#include "yox/foundation/KeyValuePair.h"
#include "yox/foundation/Version.h"

// The small languages in which a filter states what it requires: pure functions over views that
// allocate nothing. The requirement comes first, the device's value second.
namespace YOX::match {

// The text up to the separator, which goes with it. Call as long as `rest` holds something:
//   for (std::optional<WStringView> rest = Begin(list); rest;) ... NextPiece(rest, ',')
// Every piece counts, empty ones included; the empty text has none.
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
  WStringView text;  // a view of the pattern

  static TextPattern Parse(WStringView pattern);
  // `actual` without surrounding white space.
  bool Matches(WStringView actual) const;
};

// DoesStringMatch and EvaluateStringFilter: one pattern, and a comma list of alternatives.
bool Text(WStringView pattern, WStringView actual);
bool AnyText(WStringView required, WStringView actual);

enum class Comparison : std::uint8_t {
  kNone,
  kNotEqual,
  kAtLeast,
  kGreater,
  kAtMost,
  kLess,
};

// The operator before a number or version, and the operand: the rest without the operator's
// characters at either end. `pattern` without surrounding white space.
struct ComparedOperand {
  Comparison comparison;
  WStringView operand;
};
ComparedOperand SplitComparison(WStringView pattern);

// A device's version, read at most once however many requirements are held against it.
class VersionText {
 public:
  explicit VersionText(WStringView text) : text_(text) {}

  WStringView text() const { return text_; }
  void Trim() { text_ = String::Trimmed(text_); }
  // Null when the text is no version.
  const Version* Parsed();

 private:
  enum class State : std::uint8_t { kUnread, kGood, kBad };

  WStringView text_;
  State state_ = State::kUnread;
  Version version_;
};

// DoesVersionMatch and EvaluateVersionFilter. `actual` is trimmed when a requirement that is not
// blank meets a value that is not blank, and the caller's text is to be trimmed then as well.
bool MatchesVersion(WStringView pattern, VersionText& actual);
bool AnyVersion(WStringView required, VersionText& actual);

// DoesIntMatch. Throws std::invalid_argument or std::out_of_range, for `actual` before the pattern.
bool Integer(WStringView pattern, WStringView actual);

struct PairView {
  WStringView key;
  WStringView value;
};

// DoesKvpMatch without its handler: throws what `Integer` throws. `find(pattern)` gives the first
// pair whose key the pattern matches, as an optional PairView.
template <class Find>
bool Term(WStringView term, const Find& find) {
  const std::size_t bar = term.find('|');
  if (bar == WStringView::npos) {
    WStringView key = String::Trimmed(term);
    const bool negated = key.starts_with('!');
    if (negated) key = String::Trimmed(key, "!"_wv);
    return find(TextPattern::Parse(key)).has_value() != negated;
  }
  const WStringView behind = term.substr(bar + 1);
  const WStringView required = String::Trimmed(behind.substr(0, behind.find('|')));
  const std::optional<PairView> pair =
      find(TextPattern::Parse(String::Trimmed(term.substr(0, bar))));
  if (!pair) return false;
  if (required.empty()) return true;
  if (required.front() == '<' || required.front() == '>') {
    if (required.find('.') == WStringView::npos) return Integer(required, pair->value);
    VersionText value(pair->value);
    return MatchesVersion(required, value);
  }
  return Text(required, pair->value);
}

using Pairs = std::vector<KeyValuePair<WString, WString>>;

// Finds in a list of pairs, in order.
struct FindInPairs {
  const Pairs& pairs;

  std::optional<PairView> operator()(const TextPattern& key) const {
    const auto pair = std::ranges::find_if(
        pairs, [&](const auto& p) { return key.Matches(String::Trimmed(p.key())); });
    if (pair == pairs.end()) return std::nullopt;
    return PairView{pair->key(), pair->value()};
  }
};

}  // namespace YOX::match
