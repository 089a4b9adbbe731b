#include "yox/base/StrictJson.h"

#include <json/reader.h>

#include <algorithm>
#include <cstdint>
#include <memory>

#include "yox/base/String.h"

namespace yox {
namespace {

constexpr std::size_t kEscapeSize = 6;  // of \u0041

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

bool IsDigit(char letter) { return letter >= '0' && letter <= '9'; }

std::string Place(std::string_view text, std::size_t at) {
  const auto [line, column] = PlaceFinder(text).At(at);
  return "line " + std::to_string(line) + ", column " + std::to_string(column) + ": ";
}

// Refuses what the JSON reader lets pass or answers by recursion: deep nesting, control characters
// in texts, escaped lone surrogates, and numbers such as 01, 1. and -. What it takes for granted is
// for the reader to refuse.
class Lexer {
 public:
  explicit Lexer(std::string_view text) : text_(text) {}

  void Check() {
    while (at_ < text_.size()) {
      const char letter = text_[at_];
      if (letter == '"') {
        CheckText();
      } else if (letter == '-' || IsDigit(letter)) {
        CheckNumber();
      } else {
        if (letter == '{' || letter == '[') {
          if (++depth_ > kMaxDocumentDepth) {
            Fail("deeper than " + std::to_string(kMaxDocumentDepth) + " values");
          }
        } else if (letter == '}' || letter == ']') {
          --depth_;
        }
        ++at_;
      }
    }
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const {
    throw DocumentError(Place(text_, at_) + what);
  }

  char Current() const { return at_ < text_.size() ? text_[at_] : '\0'; }

  void CheckText() {
    for (++at_; Current() != '"'; ++at_) {
      if (at_ >= text_.size()) Fail("a text without an end");
      if (static_cast<unsigned char>(Current()) < 0x20) Fail("a control character in a text");
      if (Current() != '\\') continue;
      if (text_.substr(at_).starts_with("\\u")) {
        CheckEscapedUnit();
      } else {
        ++at_;
      }
    }
    ++at_;
  }

  // Leaves `at_` on the last character of the escape.
  void CheckEscapedUnit() {
    const std::uint32_t unit = EscapedUnit(at_);
    if (unit >= 0xDC00 && unit < 0xE000) Fail("half of a surrogate pair");
    if (unit >= 0xD800 && unit < 0xDC00) {
      const std::uint32_t next = EscapedUnit(at_ + kEscapeSize);
      if (next < 0xDC00 || next >= 0xE000) Fail("half of a surrogate pair");
      at_ += kEscapeSize;
    }
    at_ += kEscapeSize - 1;
  }

  // 0 when there is none.
  std::uint32_t EscapedUnit(std::size_t at) const {
    const std::string_view escape = text_.substr(std::min(at, text_.size()), kEscapeSize);
    if (escape.size() < kEscapeSize || !escape.starts_with("\\u")) return 0;
    std::uint32_t unit = 0;
    for (const char letter : escape.substr(2)) {
      const char lower = static_cast<char>(letter | 0x20);
      if (IsDigit(letter)) {
        unit = unit * 16 + static_cast<std::uint32_t>(letter - '0');
      } else if (lower >= 'a' && lower <= 'f') {
        unit = unit * 16 + static_cast<std::uint32_t>(lower - 'a' + 10);
      } else {
        Fail("a malformed escape");
      }
    }
    return unit;
  }

  void CheckNumber() {
    const std::size_t begin = at_;
    const auto fail = [&] {
      at_ = begin;
      Fail("a malformed number");
    };
    if (Current() == '-') ++at_;
    const bool zero = Current() == '0';
    if (SkipDigits() == 0 || (zero && at_ - begin > (text_[begin] == '-' ? 2U : 1U))) fail();
    if (Current() == '.') {
      ++at_;
      if (SkipDigits() == 0) fail();
    }
    if (Current() == 'e' || Current() == 'E') {
      ++at_;
      if (Current() == '+' || Current() == '-') ++at_;
      if (SkipDigits() == 0) fail();
    }
  }

  std::size_t SkipDigits() {
    const std::size_t begin = at_;
    while (IsDigit(Current())) ++at_;
    return at_ - begin;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  int depth_ = 0;
};

// The reader's first complaint, "* Line 1, Column 2\n  What is wrong.\nSee ...", as one line.
std::string FirstComplaint(std::string_view errors) {
  const auto number_behind = [&](std::string_view word) {
    const std::size_t at = errors.find(word);
    int number = 0;
    if (at == std::string_view::npos) return number;
    for (std::size_t i = at + word.size(); i < errors.size() && IsDigit(errors[i]); ++i) {
      number = number * 10 + (errors[i] - '0');
    }
    return number;
  };
  std::string_view what = errors.substr(std::min(errors.size(), errors.find('\n')));
  what.remove_prefix(std::min(what.size(), what.find_first_not_of(" \n")));
  const std::size_t next = std::min(what.find("\n* Line "), what.find("\nSee Line "));
  what = what.substr(0, next);
  what = what.substr(0, what.find_last_not_of(" \n.") + 1);
  // Of a long number the text is cut, not what is said of it: "'1e999' is not a number".
  const std::size_t quoted = what.starts_with('\'') ? what.rfind('\'') : what.size();
  return "line " + std::to_string(number_behind("Line ")) + ", column " +
         std::to_string(number_behind("Column ")) + ": " + Printable(what.substr(0, quoted)) +
         std::string(what.substr(quoted));
}

bool IsPlainWord(std::string_view key) {
  return !key.empty() && std::ranges::all_of(key, [](char letter) {
    return IsDigit(letter) || letter == '_' || (letter >= 'a' && letter <= 'z') ||
           (letter >= 'A' && letter <= 'Z');
  });
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
      return "a text";
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

Json::Value ParseDocument(std::string_view utf8) {
  if (utf8.size() > kMaxDocumentSize) throw DocumentError(kTooLongDocument);
  if (const std::size_t good = String::ValidUTF8Size(utf8); good != utf8.size()) {
    throw DocumentError(Place(utf8, good) + "not well-formed UTF-8");
  }
  Lexer(utf8).Check();

  static const Json::CharReaderBuilder builder = [] {
    Json::CharReaderBuilder strict;
    Json::CharReaderBuilder::strictMode(&strict.settings_);
    strict["strictRoot"] = false;
    strict["stackLimit"] = kMaxDocumentDepth + 8;
    return strict;
  }();
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value document;
  std::string errors;
  try {
    if (reader->parse(utf8.data(), utf8.data() + utf8.size(), &document, &errors)) return document;
  } catch (const Json::Exception& exception) {
    throw DocumentError(Printable(exception.what()));
  }
  throw DocumentError(FirstComplaint(errors));
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
  const std::string path = Path();
  throw DocumentError(path.empty() ? std::string(what) : path + ": " + std::string(what));
}

std::string JsonNode::Path() const {
  if (parent_ == nullptr) return {};
  std::string path = parent_->Path();
  if (key_.data() == nullptr) return path + "[" + std::to_string(index_) + "]";
  if (!IsPlainWord(key_)) return path + "[\"" + Printable(key_) + "\"]";
  return path.empty() ? Printable(key_) : path + "." + Printable(key_);
}

}  // namespace yox
