#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace yox {

// The type of all text inside the library: 16-bit code units of UTF-16, lone surrogates allowed.
// std::wstring on Windows, std::u16string elsewhere. UTF-8 is converted at the borders: JSON, logs,
// files, the command line (String::UTF8ToUTF16, String::UTF16ToUTF8).
#if defined(_WIN32)
using WString = std::wstring;
#else
using WString = std::u16string;
#endif
using WStringView = std::basic_string_view<WString::value_type>;
using WChar = WString::value_type;

static_assert(sizeof(WChar) == 2, "a code unit has 16 bits");

namespace literal_detail {

template <std::size_t N>
struct Utf8Literal {
  char bytes[N]{};
  consteval Utf8Literal(const char (&text)[N]) {  // NOLINT: implicit by design of literal operators
    for (std::size_t i = 0; i < N; ++i) bytes[i] = text[i];
  }
};

template <std::size_t N>
struct Units {
  std::array<WChar, N> units{};
  std::size_t size = 0;
};

// The literal must be well-formed UTF-8, which is the compiler's execution character set.
template <std::size_t N>
consteval Units<N> Widen(const Utf8Literal<N>& text) {
  Units<N> wide;
  std::size_t i = 0;
  while (i + 1 < N) {
    const auto lead = static_cast<unsigned char>(text.bytes[i]);
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    char32_t point = length == 1 ? lead : lead & (0xFFU >> (length + 1));
    for (std::size_t k = 1; k < length; ++k) {
      point = (point << 6) | (static_cast<unsigned char>(text.bytes[i + k]) & 0x3FU);
    }
    i += length;
    if (point >= 0x10000) {
      wide.units[wide.size++] = static_cast<WChar>(0xD800 + ((point - 0x10000) >> 10));
      wide.units[wide.size++] = static_cast<WChar>(0xDC00 + ((point - 0x10000) & 0x3FF));
    } else {
      wide.units[wide.size++] = static_cast<WChar>(point);
    }
  }
  return wide;
}

template <Utf8Literal kText>
inline constexpr auto kWidened = Widen(kText);

}  // namespace literal_detail

inline namespace literals {

// "text"_w is a WString, "text"_wv a WStringView of static storage. The compiler converts the
// literal from UTF-8.
template <literal_detail::Utf8Literal kText>
constexpr WStringView operator""_wv() {
  constexpr const auto& wide = literal_detail::kWidened<kText>;
  return {wide.units.data(), wide.size};
}

template <literal_detail::Utf8Literal kText>
WString operator""_w() {
  return WString{operator""_wv<kText>()};
}

}  // namespace literals
}  // namespace yox

// The part of the interface that is in namespace YOX uses these names too.
namespace YOX {
using yox::WChar;
using yox::WString;
using yox::WStringView;
using namespace yox::literals;
}  // namespace YOX
