#pragma once

#include <algorithm>
#include <optional>
#include <string_view>

// Cuts the line-based texts in which Linux and its programs keep facts (os-release, package
// databases, logs, sysfs). Pure; a view points into the text that was given.
namespace yox::platform {

// Removes the text up to the first `mark` from the front, mark included, and returns it without the
// mark. Without a mark, that is the whole text.
inline std::string_view TakeUpTo(std::string_view& text, char mark) {
  const std::string_view piece = text.substr(0, text.find(mark));
  text.remove_prefix(std::min(piece.size() + 1, text.size()));
  return piece;
}

inline std::string_view TakeLine(std::string_view& text) { return TakeUpTo(text, '\n'); }

// The text without white space at its ends.
inline std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kWhiteSpace = " \t\r\n\v\f";
  text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
  return text.substr(0, text.find_last_not_of(kWhiteSpace) + 1);
}

// The text after `prefix`; std::nullopt if it does not begin with it.
inline std::optional<std::string_view> After(std::string_view text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return std::nullopt;
  return text.substr(prefix.size());
}

}  // namespace yox::platform
