#include "yox/clientbase/RegFile.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "yox/base/String.h"
#include "yox/platform/registry/RegistryPaths.h"

namespace yox {
namespace {

using platform::RegistryAction;
using platform::RegistryEdit;
using platform::RegistryEntry;
using platform::RegistryKey;
using platform::RegistryStatus;
using platform::RegistryType;
using platform::RegistryValue;

constexpr auto kHeader = "Windows Registry Editor Version 5.00"_wv;
constexpr auto kBlanks = " \t"_wv;
constexpr std::string_view kUtf16Mark = "\xFF\xFE";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::size_t kWidestLine = 80;

[[noreturn]] void FailAt(std::size_t line, const std::string& what) {
  throw DocumentError("line " + std::to_string(line) + ": " + what);
}

WString Decode(std::string_view bytes) {
  WString text;
  if (bytes.starts_with(kUtf16Mark)) {
    bytes.remove_prefix(kUtf16Mark.size());
    for (; bytes.size() >= 2; bytes.remove_prefix(2)) {
      const auto low = static_cast<unsigned char>(bytes[0]);
      const auto high = static_cast<unsigned char>(bytes[1]);
      text += static_cast<WChar>(low | (high << 8));
    }
    if (!bytes.empty()) {
      FailAt(1 + static_cast<std::size_t>(std::ranges::count(text, WChar{'\n'})),
             "half a UTF-16 code unit at the end");
    }
    return text;
  }
  if (bytes.starts_with(kUtf8Mark)) bytes.remove_prefix(kUtf8Mark.size());
  for (std::size_t line = 1; !bytes.empty(); ++line) {
    const std::string_view one = bytes.substr(0, bytes.find('\n'));
    if (!String::IsValidUTF8(one)) FailAt(line, "not well-formed UTF-8");
    text += String::UTF8ToUTF16(one);
    bytes.remove_prefix(one.size());
    if (bytes.empty()) break;
    bytes.remove_prefix(1);
    text += WChar{'\n'};
  }
  return text;
}

int HexDigit(WChar unit) {
  if (unit >= '0' && unit <= '9') return unit - '0';
  if (unit >= 'a' && unit <= 'f') return unit - 'a' + 10;
  if (unit >= 'A' && unit <= 'F') return unit - 'A' + 10;
  return -1;
}

std::optional<std::uint32_t> HexNumber(WStringView text, std::size_t most_digits) {
  if (text.empty() || text.size() > most_digits) return std::nullopt;
  std::uint32_t number = 0;
  for (const WChar unit : text) {
    const int digit = HexDigit(unit);
    if (digit < 0) return std::nullopt;
    number = number << 4 | static_cast<std::uint32_t>(digit);
  }
  return number;
}

// An escape after its backslash, "uXXXX".
constexpr std::size_t kUnitEscape = 5;

std::optional<WChar> EscapedUnit(WStringView text) {
  if (text.size() < kUnitEscape || text.front() != 'u') return std::nullopt;
  const auto unit = HexNumber(text.substr(1, kUnitEscape - 1), kUnitEscape - 1);
  return unit ? std::optional(static_cast<WChar>(*unit)) : std::nullopt;
}

// A path's escapes have two backslashes.
WString UnescapedPath(WStringView text) {
  constexpr auto kEscape = "\\\\"_wv;
  WString path;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto unit = text.substr(i).starts_with(kEscape)
                          ? EscapedUnit(text.substr(i + kEscape.size()))
                          : std::nullopt;
    path += unit.value_or(text[i]);
    if (unit) i += kEscape.size() + kUnitEscape - 1;
  }
  return path;
}

class Reader {
 public:
  explicit Reader(WStringView text) : text_(text) {}

  std::vector<RegistryEdit> Read() {
    if (String::Trimmed(NextLine(), kBlanks) != kHeader) {
      Fail("expected \"Windows Registry Editor Version 5.00\"");
    }
    while (!AtEnd()) {
      const WStringView line = String::Trimmed(NextLine(), kBlanks);
      if (line.empty() || line.front() == ';') continue;
      if (line.front() == '[') {
        ReadKey(line);
      } else {
        ReadValue(line);
      }
    }
    return std::move(edits_);
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const { FailAt(line_, what); }

  bool AtEnd() const { return ended_; }

  WStringView NextLine() {
    ++line_;
    const std::size_t end = text_.find(WChar{'\n'});
    WStringView line = text_.substr(0, end);
    ended_ = end == WStringView::npos;
    text_.remove_prefix(ended_ ? text_.size() : end + 1);
    if (line.ends_with(WChar{'\r'})) line.remove_suffix(1);
    return line;
  }

  void ReadKey(WStringView line) {
    if (line.back() != ']') Fail("expected \"]\" at the end");
    line = line.substr(1, line.size() - 2);
    const bool goes = line.starts_with(WChar{'-'});
    if (goes) line.remove_prefix(1);
    std::optional<RegistryKey> key = platform::ParseRegistryPath(UnescapedPath(line));
    if (!key || !platform::IsRegistryPath(key->path)) {
      Fail("expected the path of a key, found \"" + Printable(String::UTF16ToUTF8(line)) + "\"");
    }
    if (goes && key->path.empty()) Fail("a hive cannot be deleted");
    const auto action = goes ? RegistryAction::kDeleteKey : RegistryAction::kCreateKey;
    edits_.push_back({action, *key, {}, {}, goes});
    key_ = goes ? std::nullopt : std::move(key);
  }

  void ReadValue(WStringView rest) {
    if (!key_) Fail("a value without a key");
    WString name;
    if (rest.front() == '@') {
      rest.remove_prefix(1);
    } else {
      name = QuotedText(rest);
    }
    if (!platform::IsRegistryValueName(name))
      Fail("the name of the value is too long or contains a zero");
    rest = String::Trimmed(rest, kBlanks);
    if (!rest.starts_with(WChar{'='})) Fail("expected \"=\" after the name of the value");
    rest = String::Trimmed(rest.substr(1), kBlanks);
    if (rest == "-"_wv) {
      edits_.push_back({RegistryAction::kDeleteValue, *key_, std::move(name), {}, true});
      return;
    }
    RegistryValue value = ReadData(rest);
    edits_.push_back({RegistryAction::kSetValue, *key_, std::move(name), std::move(value)});
  }

  // Takes a string in quotation marks from the front.
  WString QuotedText(WStringView& rest) {
    if (!rest.starts_with(WChar{'"'})) Fail("expected a string in quotation marks");
    WString text;
    for (std::size_t i = 1; i < rest.size(); ++i) {
      if (rest[i] == '"') {
        rest.remove_prefix(i + 1);
        return text;
      }
      if (rest[i] != '\\') {
        text += rest[i];
      } else if (const auto unit = EscapedUnit(rest.substr(++i))) {
        text += *unit;
        i += kUnitEscape - 1;
      } else if (i < rest.size() && (rest[i] == '\\' || rest[i] == '"')) {
        text += rest[i];
      } else {
        Fail("expected a backslash, a quotation mark or \"uXXXX\" after a backslash");
      }
    }
    Fail("the string has no closing quotation mark");
  }

  RegistryValue ReadData(WStringView rest) {
    constexpr auto kDword = "dword:"_wv, kHex = "hex"_wv;
    if (rest.starts_with(WChar{'"'})) {
      const WString text = QuotedText(rest);
      if (!rest.empty()) Fail("more than one string");
      return RegistryValue::Text(text);
    }
    if (String::CaseInsensitiveStartsWith(rest, kDword)) {
      const auto number = HexNumber(String::Trimmed(rest.substr(kDword.size()), kBlanks), 8);
      if (!number) Fail("expected up to eight hexadecimal digits after \"dword:\"");
      return RegistryValue::Dword(*number);
    }
    if (!String::CaseInsensitiveStartsWith(rest, kHex)) {
      Fail("expected a string, \"dword:\", \"hex:\", \"hex(TYPE):\" or \"-\"");
    }
    rest.remove_prefix(kHex.size());
    RegistryValue value{RegistryType::kBinary, {}};
    if (rest.starts_with(WChar{'('})) {
      const std::size_t end = rest.find(WChar{')'});
      const auto type =
          end == WStringView::npos ? std::nullopt : HexNumber(rest.substr(1, end - 1), 8);
      if (!type) Fail("expected the type's number in brackets");
      value.type = RegistryType{*type};
      rest.remove_prefix(end + 1);
    }
    if (!rest.starts_with(WChar{':'})) Fail("expected \":\" before the bytes");
    ReadBytes(rest.substr(1), value.data);
    return value;
  }

  // Bytes with commas between them; a backslash at the end continues on the next line.
  void ReadBytes(WStringView rest, std::vector<std::uint8_t>& bytes) {
    for (bool wants_more = false;;) {
      rest = String::Trimmed(rest, kBlanks);
      const bool continues = rest.ends_with(WChar{'\\'});
      if (continues) rest.remove_suffix(1);
      rest = String::Trimmed(rest, kBlanks);
      while (!rest.empty()) {
        const std::size_t comma = rest.find(WChar{','});
        const auto byte = HexNumber(String::Trimmed(rest.substr(0, comma), kBlanks), 2);
        if (!byte) Fail("expected bytes of two hexadecimal digits, with commas between them");
        bytes.push_back(static_cast<std::uint8_t>(*byte));
        wants_more = comma != WStringView::npos;
        rest = wants_more ? String::Trimmed(rest.substr(comma + 1), kBlanks) : WStringView();
        if (!rest.empty() || wants_more) continue;
        if (continues) Fail("expected a comma before the next line's bytes");
      }
      if (!continues) {
        if (wants_more) Fail("expected a byte after the last comma");
        return;
      }
      if (AtEnd()) Fail("the file ends after a backslash that continues the line");
      rest = NextLine();
    }
  }

  WStringView text_;
  std::size_t line_ = 0;
  bool ended_ = false;
  std::optional<RegistryKey> key_;  // that the values belong to
  std::vector<RegistryEdit> edits_;
};

WString Hexadecimal(std::uint32_t number, std::size_t digits) {
  constexpr auto kDigits = "0123456789abcdef"_wv;
  WString text;
  for (; number != 0 || text.size() < digits; number >>= 4) text += kDigits[number & 0xF];
  std::ranges::reverse(text);
  return text;
}

// The length of the code point at the front, in units.
std::size_t PointLength(WStringView text) {
  const bool is_pair = text.size() > 1 && text[0] >= 0xD800 && text[0] < 0xDC00 &&
                       text[1] >= 0xDC00 && text[1] < 0xE000;
  return is_pair ? 2 : 1;
}

// Whether a code point can be written as it is: it has a form in UTF-8, and Printable keeps it,
// which neither ends the line nor commands a terminal.
bool IsPlain(WStringView point) {
  if (point.size() == 1) {
    if (point[0] >= ' ' && point[0] < 0x7F) return true;
    if ((point[0] >= 0xD800 && point[0] < 0xE000) || point[0] == 0xFEFF) return false;
  }
  const std::string utf8 = String::UTF16ToUTF8(point);
  return Printable(utf8) == utf8;
}

// Whether a string in quotation marks is the value, byte for byte.
bool IsPlainText(const RegistryValue& value) {
  if (value.type != RegistryType::kText) return false;
  const WString text = value.FirstText();
  if (RegistryValue::Text(text).data != value.data) return false;
  WStringView rest = text;
  while (!rest.empty()) {
    const std::size_t length = PointLength(rest);
    if (!IsPlain(rest.substr(0, length))) return false;
    rest.remove_prefix(length);
  }
  return true;
}

// Appends a name; what cannot be written as it is follows `escape` as "uXXXX", a code unit that
// `special` has follows a backslash.
void AppendEscaped(WString& out, WStringView name, WStringView escape, WStringView special) {
  while (!name.empty()) {
    const WStringView point = name.substr(0, PointLength(name));
    if (IsPlain(point)) {
      if (special.find(point[0]) != WStringView::npos) out += WChar{'\\'};
      out += point;
    } else {
      for (const WChar unit : point) ((out += escape) += WChar{'u'}) += Hexadecimal(unit, 4);
    }
    name.remove_prefix(point.size());
  }
}

void AppendQuoted(WString& out, WStringView text) {
  out += WChar{'"'};
  AppendEscaped(out, text, "\\"_wv, "\"\\"_wv);
  out += WChar{'"'};
}

WString Heading(const RegistryEdit& edit) {
  WString heading = edit.action == RegistryAction::kDeleteKey ? "[-"_w : "["_w;
  AppendEscaped(heading, platform::RegistryPathText(edit.key), "\\\\"_wv, {});
  return heading += "]\r\n"_wv;
}

// `column` is how much of the line is written.
void AppendBytes(WString& out, const std::vector<std::uint8_t>& bytes, std::size_t column) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    out += Hexadecimal(bytes[i], 2);
    if (i + 1 == bytes.size()) return;
    out += WChar{','};
    column += 3;
    if (column + 3 < kWidestLine) continue;
    out += "\\\r\n  "_wv;
    column = 2;
  }
}

void AppendValue(WString& out, const RegistryEdit& edit) {
  const std::size_t line = out.size();
  if (edit.name.empty()) {
    out += WChar{'@'};
  } else {
    AppendQuoted(out, edit.name);
  }
  out += WChar{'='};
  const RegistryValue& value = edit.value;
  if (edit.action == RegistryAction::kDeleteValue) {
    out += WChar{'-'};
  } else if (IsPlainText(value)) {
    AppendQuoted(out, value.FirstText());
  } else if (const auto dword = value.AsDword()) {
    out += "dword:"_w + Hexadecimal(*dword, 8);
  } else {
    out += "hex"_wv;
    if (value.type != RegistryType::kBinary) {
      out += "("_w + Hexadecimal(static_cast<std::uint32_t>(value.type), 1) + ")"_w;
    }
    out += WChar{':'};
    AppendBytes(out, value.data, out.size() - line);
  }
  out += "\r\n"_wv;
}

}  // namespace

std::vector<RegistryEdit> ReadRegFile(std::string_view bytes) {
  const WString text = Decode(bytes);
  return Reader(text).Read();
}

std::string WriteRegFile(std::span<const RegistryEdit> edits, RegFileEncoding encoding) {
  WString text(kHeader);
  text += "\r\n"_wv;
  WString current;
  for (const RegistryEdit& edit : edits) {
    WString heading = Heading(edit);
    if (edit.action == RegistryAction::kDeleteKey || edit.action == RegistryAction::kCreateKey ||
        heading != current) {
      text += "\r\n"_w + heading;
      current = std::move(heading);
    }
    if (edit.action == RegistryAction::kSetValue || edit.action == RegistryAction::kDeleteValue) {
      AppendValue(text, edit);
    }
  }
  if (encoding == RegFileEncoding::kUtf8) return String::UTF16ToUTF8(text);
  std::string bytes(kUtf16Mark);
  for (const WChar unit : text) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

RegistryStatus EditsThatMake(platform::Registry& registry, const RegistryKey& key,
                             std::vector<RegistryEdit>& edits, std::vector<RegistryKey>& denied) {
  std::vector<RegistryEntry> values;
  std::vector<WString> names;
  RegistryStatus status = registry.Values(key, values);
  if (status == RegistryStatus::kOk) status = registry.SubKeys(key, names);
  if (status != RegistryStatus::kOk) return status;
  edits.push_back({RegistryAction::kCreateKey, key, {}, {}});
  for (RegistryEntry& entry : values) {
    edits.push_back(
        {RegistryAction::kSetValue, key, std::move(entry.name), std::move(entry.value)});
  }
  for (const WString& name : names) {
    RegistryKey below = key;
    if (below.path.ends_with(WChar{'\\'})) below.path.pop_back();
    if (!below.path.empty()) below.path += WChar{'\\'};
    below.path += name;
    status = EditsThatMake(registry, below, edits, denied);
    if (status == RegistryStatus::kDenied) denied.push_back(std::move(below));
    // A key that was deleted in the meantime is not missing.
    if (status == RegistryStatus::kFailed) return status;
  }
  return RegistryStatus::kOk;
}

}  // namespace yox
