#include "yox/platform/crypto/Signatures.h"

#include <windows.h>
// bcrypt.h needs windows.h before it.
#include <bcrypt.h>

#include <memory>
#include <optional>
#include <string>

#include "yox/base/Sha256.h"
#include "yox/platform/crypto/PublicKeyForm.h"

namespace yox::platform {
namespace {

struct KeyDestroyer {
  void operator()(void* key) const { BCryptDestroyKey(key); }
};
using Key = std::unique_ptr<void, KeyDestroyer>;

Key Import(BCRYPT_ALG_HANDLE algorithm, const wchar_t* form, std::string blob) {
  BCRYPT_KEY_HANDLE key = nullptr;
  const NTSTATUS status =
      BCryptImportKeyPair(algorithm, nullptr, form, &key, reinterpret_cast<PUCHAR>(blob.data()),
                          static_cast<ULONG>(blob.size()), 0);
  return Key(status == 0 ? key : nullptr);
}

// Open as long as the process lives.
BCRYPT_ALG_HANDLE Provider(const wchar_t* name) {
  BCRYPT_ALG_HANDLE provider = nullptr;
  BCryptOpenAlgorithmProvider(&provider, name, nullptr, 0);
  return provider;
}

template <class T>
std::string AsBytes(const T& header) {
  return {reinterpret_cast<const char*>(&header), sizeof(header)};
}

// `point` is x and y.
Key ImportPoint(std::string_view point) {
  static const BCRYPT_ALG_HANDLE provider = Provider(BCRYPT_ECDSA_P256_ALGORITHM);
  const BCRYPT_ECCKEY_BLOB header{BCRYPT_ECDSA_PUBLIC_P256_MAGIC,
                                  static_cast<ULONG>(point.size() / 2)};
  return Import(provider, BCRYPT_ECCPUBLIC_BLOB, AsBytes(header) += point);
}

Key ImportRsa(const RsaPublicKey& numbers) {
  static const BCRYPT_ALG_HANDLE provider = Provider(BCRYPT_RSA_ALGORITHM);
  const auto& [modulus, exponent] = numbers;
  const BCRYPT_RSAKEY_BLOB header{BCRYPT_RSAPUBLIC_MAGIC,
                                  static_cast<ULONG>(modulus.size() * 8),
                                  static_cast<ULONG>(exponent.size()),
                                  static_cast<ULONG>(modulus.size()),
                                  0,
                                  0};
  return Import(provider, BCRYPT_RSAPUBLIC_BLOB, (AsBytes(header) += exponent) += modulus);
}

SignatureVerdict Verify(const Key& key, bool is_rsa, std::string_view message,
                        std::string_view signature) {
  if (key == nullptr) return SignatureVerdict::kInvalid;  // a point off the curve
  Sha256Digest digest = Sha256(message);
  std::string bytes(signature);
  BCRYPT_PKCS1_PADDING_INFO padding{BCRYPT_SHA256_ALGORITHM};
  const NTSTATUS status = BCryptVerifySignature(
      key.get(), is_rsa ? &padding : nullptr, digest.data(), static_cast<ULONG>(digest.size()),
      reinterpret_cast<PUCHAR>(bytes.data()), static_cast<ULONG>(bytes.size()),
      is_rsa ? BCRYPT_PAD_PKCS1 : 0);
  return status == 0 ? SignatureVerdict::kValid : SignatureVerdict::kInvalid;
}

}  // namespace

SignatureVerdict VerifySignature(SignatureScheme scheme, std::string_view public_key,
                                 std::string_view message, std::string_view signature) {
  if (scheme == SignatureScheme::kRs256) {
    const std::optional<RsaPublicKey> numbers = ReadRsaPublicKey(public_key);
    if (!numbers) return SignatureVerdict::kUnusableKey;
    return Verify(ImportRsa(*numbers), true, message, signature);
  }
  const std::optional<std::string_view> point = ReadP256Point(public_key);
  if (!point) return SignatureVerdict::kUnusableKey;
  if (signature.size() != kEs256SignatureSize) return SignatureVerdict::kInvalid;
  return Verify(ImportPoint(*point), false, message, signature);
}

}  // namespace yox::platform
