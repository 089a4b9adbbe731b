#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace YOX {

// Functions on UTF-16 text. All are safe from any thread, do not depend on the process's locale,
// and accept any code units, including zeros and lone surrogates. They throw nothing but
// std::bad_alloc, except where stated.
class YOX_API String {
 public:
  String() = delete;

  // Space, tab, line feed, carriage return, vertical tab, form feed.
  static constexpr WStringView kWhiteSpace = " \t\n\r\v\f"_wv;

  // Convert between UTF-16 and UTF-8. A lone surrogate and a malformed byte sequence become U+FFFD,
  // one for each maximal subpart of a malformed sequence, as the Unicode Standard recommends.
  static std::string UTF16ToUTF8(WStringView text);
  static WString UTF8ToUTF16(std::string_view text);
  // Returns whether the bytes are well-formed UTF-8 (no surrogates, no overlong forms).
  static bool IsValidUTF8(std::string_view text);
  // Returns the length in bytes of the longest prefix that is well-formed.
  static std::size_t ValidUTF8Size(std::string_view text);

  // Returns whether the code unit is one of kWhiteSpace.
  static constexpr bool IsWhiteSpace(WChar unit) {
    return unit == ' ' || (unit >= '\t' && unit <= '\r');
  }
  // Decodes base64 and ignores white space in it. Returns an empty string if it is malformed.
  static std::string Base64toString(const std::string& text);

  // Returns whether all code units are white space. Such a text counts as not set.
  static bool IsEmptyOrWhiteSpace(WStringView text);

  // Splits the text at each separator. Empty pieces are kept, at the ends and inside: ",a" has two
  // pieces. The empty text has none.
  static std::vector<WString> Split(WStringView text, WChar separator);
  // Splits the text at the first separator only; one piece if there is none.
  static std::vector<WString> SplitOnce(WStringView text, WChar separator);

  // Remove the characters of `set` from both ends, the start or the end of `text`, in place, and
  // return a copy of the result.
  static WString trim(WString& text, WStringView set);
  static WString trimStart(WString& text, WStringView set);
  static WString trimEnd(WString& text, WStringView set);
  // Return the part of the text without the characters of `set`, or white space, at both ends.
  static WStringView Trimmed(WStringView text, WStringView set);
  static constexpr WStringView Trimmed(WStringView text) {
    while (!text.empty() && IsWhiteSpace(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsWhiteSpace(text.back())) text.remove_suffix(1);
    return text;
  }

  // Replaces each occurrence of `what` from left to right. An empty `what` is found nowhere.
  static WString Replace(WStringView text, WStringView what, WStringView with);

  // Compare code unit by code unit, letter case included. An empty prefix or suffix always matches.
  static bool StartsWith(WStringView text, WStringView prefix);
  static bool EndsWith(WStringView text, WStringView suffix);

  // Compare without regard to letter case, by Unicode's simple case folding of each code unit. So
  // "ß" and "SS" differ, and surrogate pairs are compared as they are. An empty needle is found
  // everywhere.
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

  // Convert by Unicode's simple upper- and lower-case mapping of each code unit.
  static WString ToUpper(WStringView text);
  static WString ToLower(WStringView text);

  // Reads a decimal integer at the start of the text, as std::stoi does: white space, an optional
  // sign, digits 0-9; the rest is ignored. Throws std::invalid_argument("invalid stoi argument") if
  // there is no digit and std::out_of_range("stoi argument out of range") if it does not fit.
  static int ToInteger(WStringView text);

  enum class IntegerStatus { kOk, kInvalid, kOutOfRange };
  // The same without exceptions. `value` is set only for kOk.
  static IntegerStatus TryToInteger(WStringView text, int& value);
  // Returns the message of the exception that ToInteger throws; empty for kOk.
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
