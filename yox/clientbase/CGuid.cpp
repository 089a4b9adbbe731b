#include "yox/clientbase/CGuid.h"

#include <array>

#include "yox/clientbase/platform/RandomBytes.h"

namespace YOX::Utility {

WString CGuid::NewGuid(bool plain) {
  std::array<unsigned char, 16> bytes;
  if (!platform::FillRandom(bytes)) return {};
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);  // version 4: random
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);  // variant of RFC 4122
  constexpr WStringView kDigits = operator""_wv<"0123456789abcdef">();
  WString text;
  text.reserve(38);
  if (!plain) text += WChar{'{'};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += WChar{'-'};
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 0x0F];
  }
  if (!plain) text += WChar{'}'};
  return text;
}

}  // namespace YOX::Utility
