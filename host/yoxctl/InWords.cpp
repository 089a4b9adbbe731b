#include "host/yoxctl/InWords.h"

#include <array>
#include <utility>
#include <vector>

using yox::decision::FilterField;

namespace yoxctl {
namespace {

std::string_view Trimmed(std::string_view text) {
  constexpr const char* kSpace = " \t\n\v\f\r";
  const std::size_t begin = text.find_first_not_of(kSpace);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kSpace) - begin + 1);
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  while (true) {
    const std::size_t end = text.find(separator);
    pieces.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return pieces;
    text.remove_prefix(end + 1);
  }
}

std::string Code(std::string_view text) { return "`" + std::string(text) + "`"; }

std::string TextInWords(std::string_view pattern) {
  pattern = Trimmed(pattern);
  if (pattern.empty()) return "anything";
  const bool negated = pattern.front() == '!';
  if (negated) pattern.remove_prefix(1);
  const bool opens = pattern.starts_with('*');
  const bool closes = pattern.ends_with('*');
  if (pattern.find('*') != std::string_view::npos && !opens && !closes) return "anything";
  const std::size_t begin = opens ? pattern.find_first_not_of('*') : 0;
  if (begin == std::string_view::npos) return negated ? "nothing" : "anything";
  const std::string_view text =
      pattern.substr(begin, closes ? pattern.find_last_not_of('*') - begin + 1 : pattern.size());
  const char* const relation = opens && closes ? (negated ? "does not contain " : "contains ")
                               : opens         ? (negated ? "does not end with " : "ends with ")
                               : closes        ? (negated ? "does not begin with " : "begins with ")
                                               : (negated ? "is not " : "is ");
  return relation + Code(text);
}

std::string ComparisonInWords(std::string_view text) {
  constexpr std::array kOperators =
      std::to_array<std::pair<std::string_view, std::string_view>>({{"!", "is another than "},
                                                                    {">=", "is at least "},
                                                                    {">", "is greater than "},
                                                                    {"<=", "is at most "},
                                                                    {"<", "is less than "}});
  text = Trimmed(text);
  for (const auto& [sign, words] : kOperators) {
    if (text.starts_with(sign)) return std::string(words) + Code(Trimmed(text.substr(sign.size())));
  }
  return "is exactly " + Code(text);
}

std::string TermInWords(std::string_view term) {
  const auto pieces = Split(term, '|');
  std::string_view key = Trimmed(pieces[0]);
  if (pieces.size() == 1) {
    const bool negated = key.starts_with('!');
    if (negated) key.remove_prefix(1);
    return Code(key) + (negated ? " is absent" : " is present");
  }
  const std::string_view value = Trimmed(pieces[1]);
  if (value.empty()) return Code(key) + " is present";
  const bool compared = value.starts_with('<') || value.starts_with('>');
  return "the value of " + Code(key) + " " +
         (compared ? ComparisonInWords(value) : TextInWords(value));
}

std::string RangeInWords(std::string_view text) {
  const auto ends = Split(text, '|');
  if (ends.size() != 2) return "is no window of two dates";
  const std::string from = ends[0] == "*" ? "from the beginning of time" : "from " + Code(ends[0]);
  return from + (ends[1] == "*" ? " on" : " to " + Code(ends[1]) + ", both days included");
}

std::string RolloutInWords(std::string_view text) {
  const auto pieces = Split(text, '|');
  if (pieces.size() < 3) return "is no roll-out of three pieces";
  const bool tenant = pieces.size() > 3 && (pieces[3] == "tenant" || pieces[3] == "Tenant");
  return "a share of the " + std::string(tenant ? "organisations" : "devices") + " from " +
         Code(pieces[0]) + " on that grows (" + std::string(pieces[2]) + ") to all on day " +
         std::string(pieces[1]);
}

std::string RegistryInWords(std::string_view text) {
  const std::size_t colon = text.find(':');
  const std::size_t bar = text.find('|', colon == std::string_view::npos ? 0 : colon);
  if (colon == std::string_view::npos || bar == std::string_view::npos) {
    return "is no requirement `PATH:NAME|DATA`";
  }
  return "the value " + Code(text.substr(colon + 1, bar - colon - 1)) + " of " +
         Code(text.substr(0, colon)) + " exists, and " + TextInWords(text.substr(bar + 1));
}

std::string PieceInWords(FilterField field, std::string_view piece) {
  switch (field) {
    case FilterField::os_version:
    case FilterField::version:
    case FilterField::target_version:
      return ComparisonInWords(piece);
    case FilterField::tag:
    case FilterField::installed_items:
      return TermInWords(piece);
    case FilterField::registry:
      return RegistryInWords(piece);
    default:
      return TextInWords(piece);
  }
}

}  // namespace

std::string InWords(FilterField field, std::string_view text) {
  constexpr std::size_t kMostPieces = 12;
  if (Trimmed(text).empty()) return "not set";
  if (field == FilterField::default_) return "ends the list: " + Code(text);
  if (field == FilterField::value) return "a match decides: " + Code(text);
  if (field == FilterField::date_range) return RangeInWords(text);
  if (field == FilterField::date_function) return RolloutInWords(text);
  const bool all = field == FilterField::tag || field == FilterField::registry;
  const auto pieces = Split(text, ',');
  std::string words;
  for (std::size_t i = 0; i < pieces.size() && i < kMostPieces; ++i) {
    if (i != 0) words += all ? "\n- and " : "\n- or ";
    if (i == 0 && pieces.size() > 1) words += "- ";
    words += PieceInWords(field, pieces[i]);
  }
  if (pieces.size() > kMostPieces) {
    words += "\n- and " + std::to_string(pieces.size() - kMostPieces) + " more";
  }
  return words;
}

}  // namespace yoxctl
