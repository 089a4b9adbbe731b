#include "yox/platform/crypto/PublicKeyForm.h"

#include <bit>
#include <cstddef>

#include "yox/platform/crypto/Signatures.h"

namespace yox::platform {
namespace {

using namespace std::string_view_literals;

constexpr char kSequence = 0x30;
constexpr char kInteger = 0x02;
constexpr char kBitString = 0x03;

// A DER algorithm identifier: rsaEncryption and NULL.
constexpr std::string_view kRsaEncryption =
    "\x30\x0D\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x01\x01\x05\x00"sv;

// Everything of a key on P-256 but the coordinates: a sequence of the algorithm identifier
// (id-ecPublicKey and prime256v1), and a bit string without unused bits whose first byte says that
// the point is not compressed.
constexpr std::string_view kP256Header =
    "\x30\x59\x30\x13\x06\x07\x2A\x86\x48\xCE\x3D\x02\x01\x06\x08\x2A\x86\x48\xCE\x3D\x03\x01\x07"
    "\x03\x42\x00\x04"sv;
constexpr std::size_t kP256PointSize = 64;

unsigned Byte(char byte) { return static_cast<unsigned char>(byte); }

// Takes a value off the front of `der` and returns its content. The length has to be in the
// shortest form, as DER demands, and below 64 KiB.
std::optional<std::string_view> Take(std::string_view& der, char tag) {
  if (der.size() < 2 || der[0] != tag) return std::nullopt;
  std::size_t length = Byte(der[1]);
  std::size_t header = 2;
  if (length >= 0x80) {
    const std::size_t bytes = length & 0x7F;
    header += bytes;
    if (bytes < 1 || bytes > 2 || der.size() < header) return std::nullopt;
    length = 0;
    for (std::size_t i = 2; i < header; ++i) length = length << 8 | Byte(der[i]);
    if (length < (bytes == 1 ? 0x80U : 0x100U)) return std::nullopt;
  }
  if (der.size() - header < length) return std::nullopt;
  const std::string_view content = der.substr(header, length);
  der.remove_prefix(header + length);
  return content;
}

// Takes an odd positive integer: the only ones that a key can have.
std::optional<std::string_view> TakeOddNumber(std::string_view& der) {
  std::optional<std::string_view> number = Take(der, kInteger);
  if (!number || number->empty() || Byte(number->back()) % 2 == 0) return std::nullopt;
  // One zero in front keeps a number whose first bit is set from being negative.
  const bool padded = number->front() == 0 && number->size() > 1;
  if (padded) number->remove_prefix(1);
  if (padded != (Byte(number->front()) >= 0x80)) return std::nullopt;
  return number;
}

int Bits(std::string_view number) {
  return static_cast<int>((number.size() - 1) * 8) +
         static_cast<int>(std::bit_width(Byte(number.front())));
}

}  // namespace

std::optional<RsaPublicKey> ReadRsaPublicKey(std::string_view der) {
  const auto key = Take(der, kSequence);
  if (!key || !der.empty() || !key->starts_with(kRsaEncryption)) return std::nullopt;
  std::string_view rest = key->substr(kRsaEncryption.size());
  auto bits = Take(rest, kBitString);
  // The first byte says how many bits of the last are unused.
  if (!bits || !rest.empty() || !bits->starts_with('\0')) return std::nullopt;
  bits->remove_prefix(1);
  auto numbers = Take(*bits, kSequence);
  if (!numbers || !bits->empty()) return std::nullopt;
  const auto modulus = TakeOddNumber(*numbers);
  const auto exponent = TakeOddNumber(*numbers);
  if (!modulus || !exponent || !numbers->empty()) return std::nullopt;
  const int size = Bits(*modulus);
  if (size < kSmallestRsaBits || size > kLargestRsaBits) return std::nullopt;
  constexpr std::size_t kLongestExponent = 4;  // CNG reads no longer one
  if (exponent->size() > kLongestExponent || *exponent == "\x01") return std::nullopt;
  return RsaPublicKey{*modulus, *exponent};
}

std::optional<std::string_view> ReadP256Point(std::string_view der) {
  if (der.size() != kP256Header.size() + kP256PointSize || !der.starts_with(kP256Header)) {
    return std::nullopt;
  }
  return der.substr(kP256Header.size());
}

}  // namespace yox::platform
