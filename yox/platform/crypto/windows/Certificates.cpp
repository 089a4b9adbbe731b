#include "yox/platform/crypto/Certificates.h"

#include <windows.h>
// wincrypt.h needs windows.h before it.
#include <wincrypt.h>

#include <memory>

namespace yox::platform {
namespace {

struct Deleter {
  void operator()(const CERT_CONTEXT* certificate) const {
    CertFreeCertificateContext(certificate);
  }
};

constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;

}  // namespace

std::optional<std::int64_t> CertificateEnd(std::string_view der) {
  const std::unique_ptr<const CERT_CONTEXT, Deleter> certificate(
      CertCreateCertificateContext(X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(der.data()),
                                   static_cast<DWORD>(der.size())));
  if (certificate == nullptr) return std::nullopt;
  const FILETIME& end = certificate->pCertInfo->NotAfter;
  const auto ticks = static_cast<std::int64_t>(std::uint64_t{end.dwHighDateTime} << 32 |
                                               std::uint64_t{end.dwLowDateTime});
  return ticks / 10'000'000 - kSecondsFrom1601To1970;
}

}  // namespace yox::platform
