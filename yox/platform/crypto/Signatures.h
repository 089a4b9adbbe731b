#pragma once

#include <cstddef>
#include <string_view>

namespace yox::platform {

enum class SignatureScheme {
  kEs256,  // ECDSA on P-256 with SHA-256; the signature is r and s, 32 bytes each
  kRs256,  // RSA, PKCS #1 v1.5 with SHA-256, at least 2048 bits
};

enum class SignatureVerdict {
  kValid,
  kInvalid,
  kUnusableKey,  // not a public key of the scheme in the form of PublicKeyForm.h
};

// Checks a signature with a public key, a DER SubjectPublicKeyInfo: with OpenSSL on Linux, with CNG
// on Windows, with the same verdict on both. With a point that is not on the curve, no signature is
// valid. May be called from any thread.
SignatureVerdict VerifySignature(SignatureScheme scheme, std::string_view public_key,
                                 std::string_view message, std::string_view signature);

inline constexpr int kSmallestRsaBits = 2048;
inline constexpr int kLargestRsaBits = 16384;  // more only costs time
inline constexpr std::size_t kEs256SignatureSize = 64;

}  // namespace yox::platform
