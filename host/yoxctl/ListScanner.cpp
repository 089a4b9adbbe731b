#include "host/yoxctl/ListScanner.h"

#include <algorithm>

namespace yoxctl {
namespace {

// An object or array that is open at the place.
struct Open {
  char kind;
  std::size_t index = 0;       // of an array: which element
  bool expects_value = false;  // of an object: after a colon
  std::string key = {};        // of an object: the last one
  std::vector<std::string> keys = {};
};

std::size_t EndOfString(std::string_view text, std::size_t at) {
  while (at < text.size() && text[at] != '"' && text[at] != '\n') at += text[at] == '\\' ? 2 : 1;
  return std::min(at, text.size());
}

bool IsFilterObject(const std::vector<Open>& open) {
  if (open.empty() || open.back().kind != '{') return false;
  if (open.size() == 2) return open[0].kind == '[';
  return open.size() == 3 && open[0].kind == '{' && open[0].key == "filters" && open[1].kind == '[';
}

ListContext ContextIn(const std::vector<Open>& open, bool in_string, std::size_t string_begin) {
  ListContext context;
  context.in_string = in_string;
  context.string_begin = string_begin;
  if (open.empty() || open.back().kind != '{') return context;
  const Open& object = open.back();
  context.keys = object.keys;
  if (IsFilterObject(open)) {
    context.filter = open[open.size() - 2].index;
    if (object.expects_value) {
      context.field = object.key;
      if (in_string) context.kind = ListContext::Kind::kFieldValue;
    } else {
      context.kind = ListContext::Kind::kFieldKey;
    }
  } else if (open.size() == 1 && !object.expects_value) {
    context.kind = ListContext::Kind::kRootKey;
  }
  return context;
}

}  // namespace

ListContext ContextAt(std::string_view utf8, std::size_t byte) {
  constexpr std::size_t kDeepest = 64;
  std::vector<Open> open;
  byte = std::min(byte, utf8.size());
  for (std::size_t at = 0; at < byte; ++at) {
    const char c = utf8[at];
    if (c == '"') {
      const std::size_t end = EndOfString(utf8, at + 1);
      const bool key = !open.empty() && open.back().kind == '{' && !open.back().expects_value;
      const std::string text(utf8.substr(at + 1, end - at - 1));
      if (end >= byte) {
        ListContext context = ContextIn(open, true, at + 1);
        if (key) context.field = text;
        return context;
      }
      if (key) {
        open.back().key = text;
        open.back().keys.push_back(text);
      }
      at = end;
    } else if (c == '{' || c == '[') {
      if (open.size() < kDeepest) open.push_back({c});
    } else if (c == '}' || c == ']') {
      if (!open.empty()) open.pop_back();
    } else if (c == ':' && !open.empty()) {
      open.back().expects_value = true;
    } else if (c == ',' && !open.empty()) {
      open.back().expects_value = false;
      ++open.back().index;
    }
  }
  return ContextIn(open, false, byte);
}

std::size_t ByteOfPosition(std::string_view utf8, std::size_t line, std::size_t unit) {
  std::size_t at = 0;
  for (; line > 0; --line) {
    const std::size_t end = utf8.find('\n', at);
    if (end == std::string_view::npos) return utf8.size();
    at = end + 1;
  }
  while (unit > 0 && at < utf8.size() && utf8[at] != '\n') {
    const auto lead = static_cast<unsigned char>(utf8[at]);
    const std::size_t bytes = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    unit -= bytes == 4 ? std::min<std::size_t>(unit, 2) : 1;
    at = std::min(at + bytes, utf8.size());
  }
  return at;
}

}  // namespace yoxctl
