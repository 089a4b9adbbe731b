#include "yox/base/Base64.h"

#include <algorithm>
#include <cstdint>

namespace yox {
namespace {

constexpr std::string_view kLettersAndDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

// `last_two` are the digits for 62 and 63, in which the two alphabets differ.
std::optional<std::string> Decode(std::string_view digits, std::string_view last_two) {
  // A single digit after the last group of four has only six bits, less than a byte.
  if (digits.size() % 4 == 1) return std::nullopt;
  std::string bytes;
  bytes.reserve(digits.size() / 4 * 3 + 2);
  std::uint32_t bits = 0;
  int count = 0;
  for (const char letter : digits) {
    std::size_t digit = kLettersAndDigits.find(letter);
    if (digit == std::string_view::npos) {
      digit = last_two.find(letter);
      if (digit == std::string_view::npos) return std::nullopt;
      digit += kLettersAndDigits.size();
    }
    bits = (bits << 6) | static_cast<std::uint32_t>(digit);
    count += 6;
    if (count >= 8) {
      count -= 8;
      bytes += static_cast<char>(bits >> count & 0xFF);
    }
  }
  if ((bits & ((1U << count) - 1)) != 0) return std::nullopt;  // unused bits
  return bytes;
}

}  // namespace

std::optional<std::string> FromBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  return Decode(text.substr(0, text.size() - padding), "+/");
}

std::optional<std::string> FromBase64Url(std::string_view text) { return Decode(text, "-_"); }

std::string ToBase64(std::string_view bytes) {
  constexpr std::string_view kLastTwo = "+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t left = std::min<std::size_t>(3, bytes.size() - i);
    std::uint32_t bits = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      bits = (bits << 8) | (k < left ? static_cast<unsigned char>(bytes[i + k]) : 0U);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      const std::size_t digit = (bits >> (18 - 6 * k)) & 0x3F;
      text += k > left                           ? '='
              : digit < kLettersAndDigits.size() ? kLettersAndDigits[digit]
                                                 : kLastTwo[digit - kLettersAndDigits.size()];
    }
  }
  return text;
}

}  // namespace yox
