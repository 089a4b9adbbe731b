#include "yox/platform/crypto/Signatures.h"

#include <openssl/ecdsa.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

#include "yox/platform/crypto/PublicKeyForm.h"

namespace yox::platform {
namespace {

struct Deleter {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
  void operator()(ECDSA_SIG* signature) const { ECDSA_SIG_free(signature); }
};
template <class T>
using Owned = std::unique_ptr<T, Deleter>;

const unsigned char* Bytes(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

// The pair of numbers in the form that OpenSSL reads: a DER sequence.
std::string ToDer(std::string_view pair) {
  const auto half = static_cast<int>(pair.size() / 2);
  const Owned<ECDSA_SIG> signature(ECDSA_SIG_new());
  BIGNUM* const r = BN_bin2bn(Bytes(pair), half, nullptr);
  BIGNUM* const s = BN_bin2bn(Bytes(pair) + half, half, nullptr);
  if (signature == nullptr || ECDSA_SIG_set0(signature.get(), r, s) != 1) {
    BN_free(r);
    BN_free(s);
    return {};
  }
  unsigned char* written = nullptr;
  const int size = i2d_ECDSA_SIG(signature.get(), &written);
  std::string der(reinterpret_cast<const char*>(written),
                  size > 0 ? static_cast<std::size_t>(size) : 0);
  CRYPTO_free(written, "", 0);  // OPENSSL_free would put this file's path into the library
  return der;
}

bool HasForm(std::string_view public_key, SignatureScheme scheme) {
  return scheme == SignatureScheme::kRs256 ? ReadRsaPublicKey(public_key).has_value()
                                           : ReadP256Point(public_key).has_value();
}

SignatureVerdict Verify(SignatureScheme scheme, std::string_view public_key,
                        std::string_view message, std::string_view signature) {
  if (!HasForm(public_key, scheme)) return SignatureVerdict::kUnusableKey;
  const unsigned char* bytes = Bytes(public_key);
  const Owned<EVP_PKEY> key(d2i_PUBKEY(nullptr, &bytes, static_cast<long>(public_key.size())));
  if (key == nullptr) return SignatureVerdict::kInvalid;  // a point off the curve
  std::string der;
  if (scheme == SignatureScheme::kEs256) {
    if (signature.size() != kEs256SignatureSize) return SignatureVerdict::kInvalid;
    der = ToDer(signature);
    signature = der;
  }
  const Owned<EVP_MD_CTX> context(EVP_MD_CTX_new());
  const bool valid = EVP_DigestVerifyInit_ex(context.get(), nullptr, "SHA256", nullptr, nullptr,
                                             key.get(), nullptr) == 1 &&
                     EVP_DigestVerify(context.get(), Bytes(signature), signature.size(),
                                      Bytes(message), message.size()) == 1;
  return valid ? SignatureVerdict::kValid : SignatureVerdict::kInvalid;
}

}  // namespace

SignatureVerdict VerifySignature(SignatureScheme scheme, std::string_view public_key,
                                 std::string_view message, std::string_view signature) {
  const SignatureVerdict verdict = Verify(scheme, public_key, message, signature);
  ERR_clear_error();
  return verdict;
}

}  // namespace yox::platform
