#pragma once

#include <optional>
#include <string_view>

// Reads public keys in the one form in which both systems accept them: a DER SubjectPublicKeyInfo
// (RFC 5280). Libraries differ in what else they accept, and a key that is valid on one device must
// not be refused by another. Pure functions, safe from any thread; views point into the argument.
namespace yox::platform {

// Big-endian numbers without leading zeros.
struct RsaPublicKey {
  std::string_view modulus;
  std::string_view exponent;
};

// An rsaEncryption key (RFC 8017) whose parameters are NULL: a modulus that is odd and of
// kSmallestRsaBits to kLargestRsaBits bits, an exponent that is odd and from 3 to 2^32 - 1.
// Returns std::nullopt for anything else.
std::optional<RsaPublicKey> ReadRsaPublicKey(std::string_view der);

// The coordinates x and y, 32 bytes each, of an id-ecPublicKey key (RFC 5480) on the named curve
// P-256. Returns std::nullopt for anything else, such as compressed points and curves that are
// described by their parameters. Whether the point is on the curve is not checked.
std::optional<std::string_view> ReadP256Point(std::string_view der);

}  // namespace yox::platform
