#include "yox/base/StrictJson.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <system_error>

#include "yox/base/String.h"
#include "yox/base/Utf8.h"

namespace yox {
namespace {

constexpr std::size_t kEscapeSize = 6;  // of \u0041

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

bool IsDigit(char letter) { return letter >= '0' && letter <= '9'; }

bool IsWordLetter(char letter) {
  return IsDigit(letter) || letter == '_' || (letter >= 'a' && letter <= 'z') ||
         (letter >= 'A' && letter <= 'Z');
}

[[noreturn]] void FailAt(std::string_view text, std::size_t at, std::size_t first_line,
                         const std::string& what) {
  DocumentPlace place = PlaceFinder(text).At(at);
  place.line += first_line - 1;
  throw DocumentError(place, what);
}

std::string Quoted(std::string_view text) { return "\"" + Printable(text) + "\""; }

// A recursive descent over the grammar of RFC 8259. JsonCpp's reader is not used, because its
// strict mode still accepts comments inside of objects, "+5", {"":1,}, and anything after a zero
// byte, and reads fractions by the process's locale.
class Parser {
 public:
  Parser(std::string_view text, std::size_t first_line) : text_(text), first_line_(first_line) {}

  Json::Value Document() {
    SkipSpace();
    Json::Value root = Value(0);
    SkipSpace();
    if (!AtEnd()) FailExpecting("the end of the document");
    return root;
  }

 private:
  [[noreturn]] void Fail(std::size_t at, const std::string& what) const {
    FailAt(text_, at, first_line_, what);
  }

  [[noreturn]] void FailExpecting(const std::string& what) const {
    Fail(at_, "expected " + what + ", found " + Found());
  }

  // What is at the current place, for a message.
  std::string Found() const {
    const std::string_view rest = text_.substr(at_);
    if (rest.empty()) return "the end of the document";
    if (rest.starts_with('"')) return "a string";
    if (rest.starts_with("//") || rest.starts_with("/*")) return "a comment";
    const auto word_end = std::ranges::find_if_not(rest, IsWordLetter);
    std::size_t size = static_cast<std::size_t>(word_end - rest.begin());
    if (size == 0) NextPoint(rest, size);
    return Quoted(rest.substr(0, size));
  }

  bool AtEnd() const { return at_ == text_.size(); }
  char Current() const { return AtEnd() ? '\0' : text_[at_]; }

  bool Take(char letter) {
    if (Current() != letter || AtEnd()) return false;
    ++at_;
    return true;
  }

  void SkipSpace() { at_ = std::min(text_.size(), text_.find_first_not_of(" \t\n\r", at_)); }

  Json::Value Value(int depth) {
    const std::size_t begin = at_;
    Json::Value value = UnplacedValue(depth);
    value.setOffsetStart(static_cast<std::ptrdiff_t>(begin));
    value.setOffsetLimit(static_cast<std::ptrdiff_t>(at_));
    return value;
  }

  Json::Value UnplacedValue(int depth) {
    const char first = Current();
    if (first == '{' || first == '[') {
      if (depth == kMaxDocumentDepth) {
        Fail(at_, "deeper than " + std::to_string(kMaxDocumentDepth) + " values");
      }
      return first == '{' ? Object(depth + 1) : Array(depth + 1);
    }
    if (first == '"') return String();
    if (first == '-' || IsDigit(first)) return Number();
    if (TakeWord("true")) return true;
    if (TakeWord("false")) return false;
    if (TakeWord("null")) return {};
    FailExpecting("a value");
  }

  bool TakeWord(std::string_view word) {
    const std::string_view rest = text_.substr(at_);
    if (!rest.starts_with(word)) return false;
    if (rest.size() > word.size() && IsWordLetter(rest[word.size()])) return false;
    at_ += word.size();
    return true;
  }

  Json::Value Object(int depth) {
    Json::Value object(Json::objectValue);
    Take('{');
    SkipSpace();
    if (Take('}')) return object;
    while (true) {
      const std::size_t begin = at_;
      if (Current() != '"') FailExpecting(object.empty() ? "a key or \"}\"" : "a key");
      const std::string key = String();
      const Json::ArrayIndex members = object.size();
      Json::Value& member = object[key];
      if (object.size() == members) Fail(begin, "the key " + Quoted(key) + " is given twice");
      SkipSpace();
      if (!Take(':')) FailExpecting("\":\"");
      SkipSpace();
      member = Value(depth);
      SkipSpace();
      if (Take('}')) return object;
      if (!Take(',')) FailExpecting("\",\" or \"}\"");
      SkipSpace();
    }
  }

  Json::Value Array(int depth) {
    Json::Value array(Json::arrayValue);
    Take('[');
    SkipSpace();
    if (Take(']')) return array;
    while (true) {
      array.append(Value(depth));
      SkipSpace();
      if (Take(']')) return array;
      if (!Take(',')) FailExpecting("\",\" or \"]\"");
      SkipSpace();
    }
  }

  std::string String() {
    const auto is_plain = [](char letter) {
      return letter != '"' && letter != '\\' && static_cast<unsigned char>(letter) >= 0x20;
    };
    std::string string;
    Take('"');
    while (true) {
      const std::size_t begin = at_;
      while (at_ < text_.size() && is_plain(text_[at_])) ++at_;
      string += text_.substr(begin, at_ - begin);
      if (Take('"')) return string;
      if (AtEnd()) Fail(at_, "a string without an end");
      if (Current() != '\\') Fail(at_, "a control character in a string");
      AppendUtf8(string, Escape());
    }
  }

  char32_t Escape() {
    constexpr std::string_view kLetters = "\"\\/bfnrt";
    constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
    const std::size_t begin = at_++;
    if (Current() == 'u') return EscapedPoint(begin);
    const std::size_t letter = kLetters.find(Current());
    if (AtEnd() || letter == std::string_view::npos) Fail(begin, "a malformed escape");
    ++at_;
    return static_cast<char32_t>(kMeanings[letter]);
  }

  // "\u0041", or two of them that are a surrogate pair.
  char32_t EscapedPoint(std::size_t begin) {
    const std::uint32_t unit = EscapedUnit(begin);
    if (unit < 0xD800 || unit >= 0xE000) return unit;
    const bool pair = unit < 0xDC00 && text_.substr(at_).starts_with("\\u");
    const std::uint32_t next = pair ? EscapedUnit(at_) : 0;
    if (next < 0xDC00 || next >= 0xE000) Fail(begin, "half of a surrogate pair");
    return 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00);
  }

  std::uint32_t EscapedUnit(std::size_t begin) {
    const std::string_view digits = text_.substr(begin).substr(2, kEscapeSize - 2);
    std::uint32_t unit = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, unit, 16);
    if (digits.size() < kEscapeSize - 2 || error != std::errc() || stop != end) {
      Fail(begin, "a malformed escape");
    }
    at_ = begin + kEscapeSize;
    return unit;
  }

  Json::Value Number() {
    const std::size_t begin = at_;
    const bool negative = Take('-');
    const bool zero = Current() == '0';
    const std::size_t digits = SkipDigits();
    bool whole = true;
    bool well_formed = digits == 1 || (digits > 1 && !zero);
    if (Take('.')) {
      whole = false;
      well_formed = SkipDigits() > 0 && well_formed;
    }
    if (Take('e') || Take('E')) {
      whole = false;
      if (!Take('+')) Take('-');
      well_formed = SkipDigits() > 0 && well_formed;
    }
    if (!well_formed) Fail(begin, "a malformed number");

    const std::string_view number = text_.substr(begin, at_ - begin);
    if (std::int64_t value = 0; whole && Converts(number, value)) return Json::Int64{value};
    if (std::uint64_t value = 0; whole && !negative && Converts(number, value)) {
      return Json::UInt64{value};
    }
    double value = 0;
    if (!Converts(number, value)) Fail(begin, "the number " + Quoted(number) + " is out of range");
    return value;
  }

  template <class T>
  static bool Converts(std::string_view number, T& value) {
    return std::from_chars(number.data(), number.data() + number.size(), value).ec == std::errc();
  }

  std::size_t SkipDigits() {
    const std::size_t begin = at_;
    while (IsDigit(Current())) ++at_;
    return at_ - begin;
  }

  std::string_view text_;
  std::size_t first_line_;
  std::size_t at_ = 0;
};

bool IsPlainWord(std::string_view key) {
  return !key.empty() && std::ranges::all_of(key, IsWordLetter);
}

std::string_view KindOf(const Json::Value& value) {
  switch (value.type()) {
    case Json::nullValue:
      return "null";
    case Json::intValue:
    case Json::uintValue:
    case Json::realValue:
      return "a number";
    case Json::stringValue:
      return "a string";
    case Json::booleanValue:
      return value.asBool() ? "true" : "false";
    case Json::arrayValue:
      return "an array";
    case Json::objectValue:
      return "an object";
  }
  return "a value";
}

}  // namespace

Json::Value ParseDocument(std::string_view utf8, std::size_t first_line) {
  if (utf8.size() > kMaxDocumentSize) throw DocumentError(kTooLongDocument);
  const std::size_t good = String::ValidUTF8Size(utf8);
  if (good == utf8.size()) return Parser(utf8, first_line).Document();
  FailAt(utf8, good, first_line, "not well-formed UTF-8");
}

DocumentPlace PlaceFinder::At(std::size_t byte) {
  for (byte = std::min(byte, text_.size()); at_ < byte; ++at_) {
    if (text_[at_] == '\n') {
      place_ = {place_.line + 1, 1};
    } else if (!IsContinuation(text_[at_])) {
      ++place_.column;
    }
  }
  return place_;
}

WrittenText::WrittenText(std::string_view utf8, const Json::Value& text)
    : document_(utf8),
      at_(static_cast<std::size_t>(text.getOffsetStart()) + 1),
      end_(static_cast<std::size_t>(text.getOffsetLimit()) - 1) {}

std::size_t WrittenText::ByteOf(std::size_t unit) {
  while (unit_ < unit && at_ < end_) {
    const auto lead = static_cast<unsigned char>(document_[at_]);
    if (lead == '\\') {
      at_ += document_[at_ + 1] == 'u' ? kEscapeSize : 2;
      ++unit_;
    } else {
      const std::size_t bytes = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
      at_ += bytes;
      unit_ += bytes == 4 ? 2 : 1;
    }
  }
  return at_;
}

void JsonNode::Require(bool condition, std::string_view kind) const {
  if (condition) return;
  Fail("expected " + std::string(kind) + ", found " + std::string(KindOf(value_)));
}

void JsonNode::Fail(std::string_view what) const {
  FailAt(static_cast<std::size_t>(value_.getOffsetStart()), what);
}

void JsonNode::FailAtKey(const std::string& what) const {
  // JsonCpp keeps no place of a key: it is the string before the value's ":".
  std::size_t at = static_cast<std::size_t>(value_.getOffsetStart());
  if (!utf8_.empty() && parent_ != nullptr && key_.data() != nullptr) {
    const auto is_escaped = [&](std::size_t quote) {
      std::size_t slashes = 0;
      while (slashes < quote && utf8_[quote - slashes - 1] == '\\') ++slashes;
      return slashes % 2 != 0;
    };
    const std::size_t end = utf8_.rfind('"', utf8_.rfind(':', at - 1));
    at = utf8_.rfind('"', end - 1);
    while (is_escaped(at)) at = utf8_.rfind('"', at - 1);
  }
  FailAt(at, what);
}

void JsonNode::FailAt(std::size_t byte, std::string_view what) const {
  std::string message = Path();
  if (!message.empty()) message += ": ";
  message += what;
  if (utf8_.empty()) throw DocumentError(message);
  DocumentPlace place = PlaceFinder(utf8_).At(byte);
  place.line += first_line_ - 1;
  throw DocumentError(place, message);
}

bool JsonNode::IsRemark() const {
  const bool is_root_member = parent_ != nullptr && parent_->parent_ == nullptr;
  if (key_ == "$schema" && is_root_member) {
    Require(value_.isString(), "a string");
    return true;
  }
  if (key_ != "comment") return false;
  if (value_.isArray()) {
    for (Json::ArrayIndex i = 0; i < value_.size(); ++i) {
      Element(i).Require(value_[i].isString(), "a string");
    }
  } else {
    Require(value_.isString(), "a string or an array of strings");
  }
  return true;
}

std::string JsonNode::Path() const {
  if (parent_ == nullptr) return {};
  std::string path = parent_->Path();
  if (key_.data() == nullptr) return path + "[" + std::to_string(index_) + "]";
  if (!IsPlainWord(key_)) return path + "[\"" + Printable(key_) + "\"]";
  return path.empty() ? Printable(key_) : path + "." + Printable(key_);
}

}  // namespace yox
