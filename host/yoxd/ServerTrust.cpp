#include "host/yoxd/ServerTrust.h"

#include <openssl/evp.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <cstddef>

#include "host/yoxd/Text.h"

namespace yoxd {
namespace {

bool Contains(const std::vector<std::string>& list, const std::string& text) {
  return std::ranges::any_of(list,
                             [&](const std::string& entry) { return Lower(entry) == Lower(text); });
}

std::string Thumbprint(const X509* certificate) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  if (X509_digest(certificate, EVP_sha256(), digest.data(), &size) != 1) return {};
  std::string text;
  for (unsigned i = 0; i < size; ++i) {
    text += "0123456789abcdef"[digest[i] >> 4];
    text += "0123456789abcdef"[digest[i] & 15];
  }
  return text;
}

std::string CommonName(const X509* certificate) {
  std::array<char, 256> text{};
  const int size = X509_NAME_get_text_by_NID(X509_get_subject_name(certificate), NID_commonName,
                                             text.data(), static_cast<int>(text.size()));
  return size > 0 ? std::string(text.data(), static_cast<std::size_t>(size)) : std::string();
}

bool IsSelfSigned(X509* certificate) {
  return X509_check_issued(certificate, certificate) == X509_V_OK;
}

}  // namespace

int VerifyChain(X509_STORE_CTX* context, void* argument) {
  auto& check = *static_cast<ChainCheck*>(argument);
  if (check.trust.allow_self_signed) {
    const STACK_OF(X509)* const sent = X509_STORE_CTX_get0_untrusted(context);
    for (int i = 0; i < sk_X509_num(sent); ++i) {
      X509* const certificate = sk_X509_value(sent, i);
      if (IsSelfSigned(certificate) && Contains(check.trust.roots, Thumbprint(certificate))) {
        X509_STORE_add_cert(X509_STORE_CTX_get0_store(context), certificate);
      }
    }
  }
  const auto refuse = [&](const std::string& why) {
    check.refusal = "the server's certificate is refused: " + why;
    X509_STORE_CTX_set_error(context, X509_V_ERR_APPLICATION_VERIFICATION);
    return 0;
  };
  if (X509_verify_cert(context) != 1) {
    check.refusal = std::string("the server's certificate is refused: ") +
                    X509_verify_cert_error_string(X509_STORE_CTX_get_error(context));
    return 0;
  }
  const STACK_OF(X509)* const chain = X509_STORE_CTX_get0_chain(context);
  const int size = sk_X509_num(chain);
  if (size < 1) return refuse("no chain");
  if (!Contains(check.trust.roots, Thumbprint(sk_X509_value(chain, size - 1)))) {
    return refuse("its root is not in the policy's list");
  }
  if (!check.trust.common_names.empty() &&
      !Contains(check.trust.common_names, CommonName(sk_X509_value(chain, 0)))) {
    return refuse("its common name is not in the policy's list");
  }
  return 1;
}

}  // namespace yoxd
