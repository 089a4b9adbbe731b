#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "yox/base/WString.h"

// Names and paths as the database stores them: UTF-16 code units, big endian, so that SQLite's
// comparison of bytes orders them as code units. Unpaired surrogates are preserved.
namespace yox::platform {

inline std::string ToStored(WStringView text) {
  std::string bytes(2 * text.size(), '\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    bytes[2 * i] = static_cast<char>(text[i] >> 8);
    bytes[2 * i + 1] = static_cast<char>(text[i] & 0xFF);
  }
  return bytes;
}

inline WString FromStored(std::string_view bytes) {
  WString text(bytes.size() / 2, WChar{});
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto high = static_cast<unsigned char>(bytes[2 * i]);
    const auto low = static_cast<unsigned char>(bytes[2 * i + 1]);
    text[i] = static_cast<WChar>((high << 8) | low);
  }
  return text;
}

}  // namespace yox::platform
