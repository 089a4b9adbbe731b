#include "yox/platform/crypto/Signatures.h"

#include <windows.h>
// These need windows.h before them.
#include <bcrypt.h>
#include <wincrypt.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "yox/base/Pem.h"
#include "yox/base/Sha256.h"

namespace yox::platform {
namespace {

struct KeyDestroyer {
  void operator()(void* key) const { BCryptDestroyKey(key); }
};
using Key = std::unique_ptr<void, KeyDestroyer>;

struct LocalFreer {
  void operator()(void* memory) const { LocalFree(memory); }
};

// The object identifier of P-256, as the parameters of an elliptic key's algorithm.
constexpr std::string_view kP256("\x06\x08\x2A\x86\x48\xCE\x3D\x03\x01\x07", 10);

std::string_view Bytes(const CRYPT_OBJID_BLOB& blob) {
  return {reinterpret_cast<const char*>(blob.pbData), blob.cbData};
}

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

// `point` is 04 and the two coordinates.
Key ImportPoint(std::string_view point) {
  static const BCRYPT_ALG_HANDLE provider = Provider(BCRYPT_ECDSA_P256_ALGORITHM);
  constexpr ULONG kCoordinate = 32;
  if (point.size() != 1 + 2 * kCoordinate || point[0] != 4) return nullptr;
  const BCRYPT_ECCKEY_BLOB header{BCRYPT_ECDSA_PUBLIC_P256_MAGIC, kCoordinate};
  return Import(provider, BCRYPT_ECCPUBLIC_BLOB, AsBytes(header) += point.substr(1));
}

// `numbers` is a DER sequence of modulus and exponent.
Key ImportRsa(std::string_view numbers) {
  static const BCRYPT_ALG_HANDLE provider = Provider(BCRYPT_RSA_ALGORITHM);
  // Decoded into the form of the older interface: two headers, and the modulus, last byte first.
  BYTE* decoded = nullptr;
  DWORD size = 0;
  if (CryptDecodeObjectEx(X509_ASN_ENCODING, RSA_CSP_PUBLICKEYBLOB,
                          reinterpret_cast<const BYTE*>(numbers.data()),
                          static_cast<DWORD>(numbers.size()), CRYPT_DECODE_ALLOC_FLAG, nullptr,
                          static_cast<void*>(&decoded), &size) == 0) {
    return nullptr;
  }
  const std::unique_ptr<void, LocalFreer> freed(decoded);
  constexpr std::size_t kHeaders = sizeof(BLOBHEADER) + sizeof(RSAPUBKEY);
  if (size <= kHeaders) return nullptr;
  RSAPUBKEY facts{};
  std::memcpy(&facts, decoded + sizeof(BLOBHEADER), sizeof(facts));
  if (facts.bitlen < kSmallestRsaBits || facts.bitlen > kLargestRsaBits) return nullptr;
  std::string modulus(decoded + kHeaders, decoded + size);
  std::ranges::reverse(modulus);
  const BCRYPT_RSAKEY_BLOB header{BCRYPT_RSAPUBLIC_MAGIC,
                                  facts.bitlen,
                                  sizeof(facts.pubexp),
                                  static_cast<ULONG>(modulus.size()),
                                  0,
                                  0};
  std::string exponent = AsBytes(facts.pubexp);
  std::ranges::reverse(exponent);
  return Import(provider, BCRYPT_RSAPUBLIC_BLOB, (AsBytes(header) += exponent) += modulus);
}

// The key, if it is one for the scheme.
Key ReadKey(std::string_view der, SignatureScheme scheme) {
  CERT_PUBLIC_KEY_INFO* info = nullptr;
  DWORD size = 0;
  if (!IsDerSequence(der) ||
      CryptDecodeObjectEx(X509_ASN_ENCODING, X509_PUBLIC_KEY_INFO,
                          reinterpret_cast<const BYTE*>(der.data()), static_cast<DWORD>(der.size()),
                          CRYPT_DECODE_ALLOC_FLAG, nullptr, static_cast<void*>(&info),
                          &size) == 0) {
    return nullptr;
  }
  const std::unique_ptr<void, LocalFreer> freed(info);
  const std::string_view algorithm = info->Algorithm.pszObjId;
  const std::string_view bits(reinterpret_cast<const char*>(info->PublicKey.pbData),
                              info->PublicKey.cbData);
  if (scheme == SignatureScheme::kRs256) {
    return algorithm == szOID_RSA_RSA ? ImportRsa(bits) : nullptr;
  }
  const bool is_p256 =
      algorithm == szOID_ECC_PUBLIC_KEY && Bytes(info->Algorithm.Parameters) == kP256;
  return is_p256 ? ImportPoint(bits) : nullptr;
}

}  // namespace

SignatureVerdict VerifySignature(SignatureScheme scheme, std::string_view public_key,
                                 std::string_view message, std::string_view signature) {
  const Key key = ReadKey(public_key, scheme);
  if (key == nullptr) return SignatureVerdict::kUnusableKey;
  const bool is_rsa = scheme == SignatureScheme::kRs256;
  if (!is_rsa && signature.size() != kEs256SignatureSize) return SignatureVerdict::kInvalid;
  Sha256Digest digest = Sha256(message);
  std::string bytes(signature);
  BCRYPT_PKCS1_PADDING_INFO padding{BCRYPT_SHA256_ALGORITHM};
  const NTSTATUS status = BCryptVerifySignature(
      key.get(), is_rsa ? &padding : nullptr, digest.data(), static_cast<ULONG>(digest.size()),
      reinterpret_cast<PUCHAR>(bytes.data()), static_cast<ULONG>(bytes.size()),
      is_rsa ? BCRYPT_PAD_PKCS1 : 0);
  return status == 0 ? SignatureVerdict::kValid : SignatureVerdict::kInvalid;
}

}  // namespace yox::platform
