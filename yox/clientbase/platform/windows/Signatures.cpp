#include "yox/clientbase/platform/Signatures.h"

#include <windows.h>
// These need windows.h before them.
#include <bcrypt.h>
#include <wincrypt.h>

#include <memory>
#include <string>

#include "yox/clientbase/platform/Sha256.h"

namespace YOX::platform {
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

DWORD StrengthOf(BCRYPT_KEY_HANDLE key) {
  DWORD bits = 0;
  ULONG size = 0;
  BCryptGetProperty(key, BCRYPT_KEY_STRENGTH, reinterpret_cast<PUCHAR>(&bits), sizeof(bits), &size,
                    0);
  return bits;
}

// The key, if it is one for the scheme.
Key ReadKey(std::string_view der, SignatureScheme scheme) {
  CERT_PUBLIC_KEY_INFO* info = nullptr;
  DWORD size = 0;
  if (CryptDecodeObjectEx(X509_ASN_ENCODING, X509_PUBLIC_KEY_INFO,
                          reinterpret_cast<const BYTE*>(der.data()), static_cast<DWORD>(der.size()),
                          CRYPT_DECODE_ALLOC_FLAG, nullptr, static_cast<void*>(&info),
                          &size) == 0) {
    return nullptr;
  }
  const std::unique_ptr<void, LocalFreer> freed(info);
  const std::string_view algorithm = info->Algorithm.pszObjId;
  if (scheme == SignatureScheme::kRs256
          ? algorithm != szOID_RSA_RSA
          : algorithm != szOID_ECC_PUBLIC_KEY || Bytes(info->Algorithm.Parameters) != kP256) {
    return nullptr;
  }
  BCRYPT_KEY_HANDLE imported = nullptr;
  if (CryptImportPublicKeyInfoEx2(X509_ASN_ENCODING, info, 0, nullptr, &imported) == 0) {
    return nullptr;
  }
  Key key(imported);
  const DWORD bits = StrengthOf(key.get());
  if (scheme == SignatureScheme::kRs256 && (bits < kSmallestRsaBits || bits > kLargestRsaBits)) {
    return nullptr;
  }
  return key;
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

}  // namespace YOX::platform
