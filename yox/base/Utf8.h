#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// UTF-8, one code point at a time.
namespace yox {

inline constexpr char32_t kReplacementPoint = 0xFFFD;
inline constexpr char32_t kMalformedPoint = 0xFFFFFFFF;

// Reads the code point that begins at `text[i]` and moves `i` after it. Returns kMalformedPoint for
// a malformed sequence, whose length is that of its longest well-formed beginning, at least one
// byte ("substitution of maximal subparts" in the Unicode Standard, 3.9).
inline char32_t NextPoint(std::string_view text, std::size_t& i) {
  const auto lead = static_cast<unsigned char>(text[i++]);
  if (lead < 0x80) return lead;
  if (lead < 0xC2 || lead > 0xF4) return kMalformedPoint;
  const int trailing = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  char32_t point = lead & (0x3FU >> trailing);
  // The second byte's range excludes overlong forms, surrogates and points past U+10FFFF.
  unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  for (int k = 0; k < trailing; ++k) {
    if (i == text.size()) return kMalformedPoint;
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < low || byte > high) return kMalformedPoint;
    point = (point << 6) | (byte & 0x3FU);
    low = 0x80;
    high = 0xBF;
    ++i;
  }
  return point;
}

// The point must be below 0x110000.
inline void AppendUtf8(std::string& out, char32_t point) {
  if (point < 0x80) {
    out += static_cast<char>(point);
    return;
  }
  const int trailing = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
  constexpr unsigned char kLead[] = {0, 0xC0, 0xE0, 0xF0};
  out += static_cast<char>(kLead[trailing] | (point >> (6 * trailing)));
  for (int i = trailing - 1; i >= 0; --i) {
    out += static_cast<char>(0x80 | ((point >> (6 * i)) & 0x3F));
  }
}

}  // namespace yox
