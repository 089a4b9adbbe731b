#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace YOX {

// Operations on 16-bit text. All are pure, safe from any thread, independent of the process's
// locale, and accept any code units, embedded zeros and lone surrogates included.
class YOX_API String {
 public:
  String() = delete;

  // Blank, tab, line feed, carriage return, vertical tab, form feed.
  static constexpr WStringView kWhiteSpace = " \t\n\r\v\f"_wv;

  // Conversion never fails: a lone surrogate or a malformed byte sequence becomes U+FFFD (one for
  // each maximal malformed part).
  static std::string UTF16ToUTF8(WStringView text);
  static WString UTF8ToUTF16(std::string_view text);
  // Whether the bytes are well-formed UTF-8 (no surrogates, no overlong forms).
  static bool IsValidUTF8(std::string_view text);
  // The length of the longest well-formed beginning.
  static std::size_t ValidUTF8Size(std::string_view text);

  static constexpr bool IsWhiteSpace(WChar unit) {
    return unit == ' ' || (unit >= '\t' && unit <= '\r');
  }
  // The bytes that a base64 text stands for: white space is skipped, and a text that is otherwise
  // malformed stands for nothing.
  static std::string Base64toString(const std::string& text);

  static bool IsEmptyOrWhiteSpace(WStringView text);

  // Every piece is kept, empty ones at the ends and inside included; the empty text has no piece.
  static std::vector<WString> Split(WStringView text, WChar separator);
  // Two pieces around the first separator, or the text alone when it has none.
  static std::vector<WString> SplitOnce(WStringView text, WChar separator);

  // Delete the characters of `set` from the ends, in place, and return the result.
  static WString trim(WString& text, WStringView set);
  static WString trimStart(WString& text, WStringView set);
  static WString trimEnd(WString& text, WStringView set);
  // The same as a view of the text.
  static WStringView Trimmed(WStringView text, WStringView set);
  static constexpr WStringView Trimmed(WStringView text) {
    while (!text.empty() && IsWhiteSpace(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsWhiteSpace(text.back())) text.remove_suffix(1);
    return text;
  }

  static WString Replace(WStringView text, WStringView what, WStringView with);

  static bool StartsWith(WStringView text, WStringView prefix);
  static bool EndsWith(WStringView text, WStringView suffix);

  // Letter case is ignored by Unicode's simple case folding of each code unit: a text of surrogate
  // pairs is compared as it stands, and lengths never change. An empty needle is found everywhere.
  static bool CaseInsesitiveEqual(WStringView left, WStringView right) {
    return left.size() == right.size() && EqualFolded(left.data(), right.data(), left.size());
  }
  static bool CaseInsesitiveFind(WStringView haystack, WStringView needle);
  static bool CaseInsensitiveStartsWith(WStringView text, WStringView prefix) {
    return text.size() >= prefix.size() && EqualFolded(text.data(), prefix.data(), prefix.size());
  }
  static bool CaseInsensitiveEndsWith(WStringView text, WStringView suffix) {
    return text.size() >= suffix.size() &&
           EqualFolded(text.data() + (text.size() - suffix.size()), suffix.data(), suffix.size());
  }
  static WChar FoldCase(WChar unit) {
    const auto value = static_cast<std::uint16_t>(unit);
    if (value >= 0x80) return FoldBeyondAscii(unit);
    const bool capital = static_cast<std::uint16_t>(value - 'A') < 26;
    return static_cast<WChar>(value | (capital ? 0x20 : 0));
  }

  // Unicode's simple upper- and lower-case mapping of each code unit.
  static WString ToUpper(WStringView text);
  static WString ToLower(WStringView text);

  // Decimal integer at the start of the text: leading white space skipped, a sign allowed, digits
  // 0-9, the rest ignored. Throws std::invalid_argument("invalid stoi argument") when there is no
  // digit and std::out_of_range("stoi argument out of range") when it does not fit.
  static int ToInteger(WStringView text);

  enum class IntegerStatus { kOk, kInvalid, kOutOfRange };
  // The same without exceptions; `value` is written only for kOk.
  static IntegerStatus TryToInteger(WStringView text, int& value);
  // What the exception says that ToInteger throws in that case; kOk has none.
  static const char* IntegerError(IntegerStatus status);

 private:
  static WChar FoldBeyondAscii(WChar unit);
  static bool EqualFolded(const WChar* left, const WChar* right, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
      if (left[i] != right[i] && FoldCase(left[i]) != FoldCase(right[i])) return false;
    }
    return true;
  }
};

}  // namespace YOX

namespace yox {
using YOX::String;
}  // namespace yox
