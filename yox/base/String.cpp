#include "yox/base/String.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include "yox/base/Base64.h"
#include "yox/base/Utf8.h"

namespace YOX {
namespace {

struct CaseRun {
  std::uint16_t first;
  std::uint16_t last;
  std::uint16_t step;
  std::int32_t delta;
};

#include "yox/base/CaseMapping.inc"

constexpr std::size_t kPageSize = 256;

// Frugal of steps: compilers limit how many they take at compile time.
template <std::size_t N>
consteval std::size_t CountPages(const CaseRun (&runs)[N]) {
  std::array<bool, kPageSize> touched{};
  std::size_t count = 0;
  for (const CaseRun& run : runs) {
    for (std::size_t page = run.first / kPageSize; page <= run.last / kPageSize; ++page) {
      count += !touched[page];
      touched[page] = true;
    }
  }
  return count;
}

constexpr std::size_t kMostPages =
    std::max({CountPages(kFolding), CountPages(kUpper), CountPages(kLower)});

// Two steps: the high byte names a page of differences, page 0 is all zero.
struct CaseTable {
  std::array<std::uint8_t, kPageSize> page_of{};
  std::array<std::array<std::uint16_t, kPageSize>, kMostPages + 1> pages{};

  WChar operator[](WChar unit) const {
    const auto value = static_cast<std::uint16_t>(unit);
    return static_cast<WChar>(value + pages[page_of[value >> 8]][value & 0xFF]);
  }
};

template <std::size_t N>
consteval CaseTable MakeTable(const CaseRun (&runs)[N]) {
  CaseTable table;
  std::uint8_t used = 0;
  for (const CaseRun& run : runs) {
    for (std::uint32_t unit = run.first; unit <= run.last; unit += run.step) {
      std::uint8_t& page = table.page_of[unit >> 8];
      if (page == 0) page = ++used;
      table.pages[page][unit & 0xFF] = static_cast<std::uint16_t>(run.delta);
    }
  }
  return table;
}

constexpr auto kFoldTable = MakeTable(kFolding);
constexpr auto kUpperTable = MakeTable(kUpper);
constexpr auto kLowerTable = MakeTable(kLower);

WString Mapped(WStringView text, const CaseTable& table) {
  WString mapped(text);
  for (WChar& unit : mapped) unit = table[unit];
  return mapped;
}

}  // namespace

std::string String::UTF16ToUTF8(WStringView text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t point = static_cast<std::uint16_t>(text[i]);
    if (point >= 0xD800 && point < 0xE000) {
      const char32_t next =
          point < 0xDC00 && i + 1 < text.size() ? static_cast<std::uint16_t>(text[i + 1]) : 0;
      if (next >= 0xDC00 && next < 0xE000) {
        point = 0x10000 + ((point - 0xD800) << 10) + (next - 0xDC00);
        ++i;
      } else {
        point = yox::kReplacementPoint;
      }
    }
    yox::AppendUtf8(out, point);
  }
  return out;
}

WString String::UTF8ToUTF16(std::string_view text) {
  WString out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    char32_t point = yox::NextPoint(text, i);
    if (point == yox::kMalformedPoint) point = yox::kReplacementPoint;
    if (point >= 0x10000) {
      out += static_cast<WChar>(0xD800 + ((point - 0x10000) >> 10));
      out += static_cast<WChar>(0xDC00 + ((point - 0x10000) & 0x3FF));
    } else {
      out += static_cast<WChar>(point);
    }
  }
  return out;
}

bool String::IsValidUTF8(std::string_view text) { return ValidUTF8Size(text) == text.size(); }

std::size_t String::ValidUTF8Size(std::string_view text) {
  std::size_t valid = 0;
  for (std::size_t i = 0; i < text.size(); valid = i) {
    if (yox::NextPoint(text, i) == yox::kMalformedPoint) break;
  }
  return valid;
}

std::string String::Base64toString(const std::string& text) {
  std::string digits = text;
  std::erase_if(
      digits, [](char c) { return kWhiteSpace.find(static_cast<WChar>(c)) != WStringView::npos; });
  return yox::FromBase64(digits).value_or(std::string());
}

bool String::IsEmptyOrWhiteSpace(WStringView text) {
  return std::ranges::all_of(text, IsWhiteSpace);
}

std::vector<WString> String::Split(WStringView text, WChar separator) {
  std::vector<WString> pieces;
  if (text.empty()) return pieces;
  for (std::size_t begin = 0;;) {
    const std::size_t end = text.find(separator, begin);
    pieces.emplace_back(text.substr(begin, end - begin));
    if (end == WStringView::npos) return pieces;
    begin = end + 1;
  }
}

std::vector<WString> String::SplitOnce(WStringView text, WChar separator) {
  const std::size_t at = text.find(separator);
  if (at == WStringView::npos) return {WString(text)};
  return {WString(text.substr(0, at)), WString(text.substr(at + 1))};
}

WString String::trim(WString& text, WStringView set) {
  trimEnd(text, set);
  return trimStart(text, set);
}

WString String::trimStart(WString& text, WStringView set) {
  return text.erase(0, std::min(text.size(), text.find_first_not_of(set)));
}

WString String::trimEnd(WString& text, WStringView set) {
  text.resize(text.find_last_not_of(set) + 1);
  return text;
}

WStringView String::Trimmed(WStringView text, WStringView set) {
  text.remove_prefix(std::min(text.size(), text.find_first_not_of(set)));
  text.remove_suffix(text.size() - (text.find_last_not_of(set) + 1));
  return text;
}

WString String::Replace(WStringView text, WStringView what, WStringView with) {
  WString out;
  if (what.empty()) return out.assign(text);
  for (std::size_t begin = 0;;) {
    const std::size_t at = text.find(what, begin);
    out += text.substr(begin, at - begin);
    if (at == WStringView::npos) return out;
    out += with;
    begin = at + what.size();
  }
}

bool String::StartsWith(WStringView text, WStringView prefix) { return text.starts_with(prefix); }

bool String::EndsWith(WStringView text, WStringView suffix) { return text.ends_with(suffix); }

bool String::CaseInsesitiveFind(WStringView haystack, WStringView needle) {
  if (needle.empty()) return true;
  const WChar first = FoldCase(needle.front());
  for (std::size_t i = 0; i + needle.size() <= haystack.size(); ++i) {
    if (FoldCase(haystack[i]) == first &&
        EqualFolded(haystack.data() + i + 1, needle.data() + 1, needle.size() - 1)) {
      return true;
    }
  }
  return false;
}

WChar String::FoldBeyondAscii(WChar unit) { return kFoldTable[unit]; }

WString String::ToUpper(WStringView text) { return Mapped(text, kUpperTable); }

WString String::ToLower(WStringView text) { return Mapped(text, kLowerTable); }

int String::ToInteger(WStringView text) {
  int value = 0;
  const IntegerStatus status = TryToInteger(text, value);
  if (status == IntegerStatus::kInvalid) throw std::invalid_argument(IntegerError(status));
  if (status == IntegerStatus::kOutOfRange) throw std::out_of_range(IntegerError(status));
  return value;
}

const char* String::IntegerError(IntegerStatus status) {
  switch (status) {
    case IntegerStatus::kInvalid:
      return "invalid stoi argument";
    case IntegerStatus::kOutOfRange:
      return "stoi argument out of range";
    case IntegerStatus::kOk:
      break;
  }
  return "";
}

String::IntegerStatus String::TryToInteger(WStringView text, int& value) {
  std::size_t i = 0;
  while (i < text.size() && IsWhiteSpace(text[i])) ++i;
  const bool negative = i < text.size() && text[i] == '-';
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) ++i;

  const std::int64_t limit = std::numeric_limits<int>::max() + std::int64_t{negative};
  const std::size_t first_digit = i;
  std::int64_t number = 0;
  bool fits = true;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    number = number * 10 + (text[i] - '0');
    if (number > limit) {
      fits = false;
      number = limit;
    }
  }
  if (i == first_digit) return IntegerStatus::kInvalid;
  if (!fits) return IntegerStatus::kOutOfRange;
  value = static_cast<int>(negative ? -number : number);
  return IntegerStatus::kOk;
}

}  // namespace YOX
