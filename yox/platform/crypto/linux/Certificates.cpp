#include "yox/platform/crypto/Certificates.h"

#include <openssl/err.h>
#include <openssl/x509.h>
#include <time.h>

#include <memory>

namespace yox::platform {
namespace {

struct Deleter {
  void operator()(X509* certificate) const { X509_free(certificate); }
};

}  // namespace

std::optional<std::int64_t> CertificateEnd(std::string_view der) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(der.data());
  const unsigned char* const end = bytes + der.size();
  const std::unique_ptr<X509, Deleter> certificate(
      d2i_X509(nullptr, &bytes, static_cast<long>(der.size())));
  ERR_clear_error();
  if (certificate == nullptr || bytes != end) return std::nullopt;
  tm fields{};
  if (ASN1_TIME_to_tm(X509_get0_notAfter(certificate.get()), &fields) != 1) return std::nullopt;
  return timegm(&fields);
}

}  // namespace yox::platform
