#include "yox/platform/system/linux/Assignments.h"

#include <algorithm>

#include "yox/platform/system/linux/Lines.h"

namespace yox::platform {
namespace {

bool IsNameCharacter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

std::string Unquoted(std::string_view value) {
  std::string text;
  char quote = 0;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const char c = value[i];
    if (c == quote && quote != 0) {
      quote = 0;
    } else if (quote == 0 && (c == '"' || c == '\'')) {
      quote = c;
    } else if (c == '\\' && quote != '\'' && i + 1 < value.size()) {
      text += value[++i];
    } else if (quote == 0 && (c == ' ' || c == '\t' || c == '\r')) {
      break;
    } else {
      text += c;
    }
  }
  return text;
}

}  // namespace

Assignments ReadAssignments(std::string_view text) {
  Assignments values;
  while (!text.empty()) {
    const std::string_view line = TakeLine(text);
    const std::size_t name_length = line.find('=');
    if (name_length == std::string_view::npos || name_length == 0) continue;
    const std::string_view name = line.substr(0, name_length);
    if (!std::ranges::all_of(name, IsNameCharacter)) continue;
    values.insert_or_assign(std::string(name), Unquoted(line.substr(name_length + 1)));
  }
  return values;
}

}  // namespace yox::platform
