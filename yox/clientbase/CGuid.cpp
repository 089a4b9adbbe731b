#include "yox/clientbase/CGuid.h"

#include <algorithm>
#include <array>
#include <string>

#include "yox/platform/crypto/RandomBytes.h"
#include "yox/platform/crypto/Sha1.h"

namespace YOX::Utility {

namespace {

using Bytes = std::array<unsigned char, 16>;

WString Written(Bytes bytes, int version, bool plain) {
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | (version << 4));
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

}  // namespace

WString CGuid::NewGuid(bool plain) {
  constexpr int kRandom = 4;
  Bytes bytes;
  if (!platform::FillRandom(bytes)) return {};
  return Written(bytes, kRandom, plain);
}

WString CGuid::FromName(const Bytes& name_space, std::string_view name) {
  constexpr int kNamed = 5;
  std::string hashed(name_space.begin(), name_space.end());
  hashed += name;
  const platform::Sha1Digest digest = platform::Sha1(hashed);
  Bytes bytes;
  std::copy_n(digest.begin(), bytes.size(), bytes.begin());
  return Written(bytes, kNamed, true);
}

}  // namespace YOX::Utility
