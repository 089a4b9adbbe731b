#include "yox/platform/crypto/PemCleaning.h"

#include <algorithm>
#include <set>

#include "yox/base/Pem.h"
#include "yox/platform/crypto/Certificates.h"

namespace yox::platform {

bool IsUsablePem(std::string_view pem) {
  const auto blocks = ReadPem(pem);
  return blocks && std::ranges::any_of(*blocks, &PemBlock::IsCertificate) &&
         std::ranges::all_of(*blocks, [](const PemBlock& block) {
           return !block.IsCertificate() || CertificateEnd(block.der);
         });
}

std::optional<std::string> CleanPem(std::string_view pem, std::int64_t now) {
  const auto blocks = ReadPem(pem);
  if (!blocks) return std::nullopt;
  std::string clean;
  std::set<std::string_view> seen;
  std::size_t kept = 0;  // all before it was copied or dropped
  for (const PemBlock& block : *blocks) {
    if (!block.IsCertificate()) continue;
    const auto end = CertificateEnd(block.der);
    if (!end) return std::nullopt;
    if (*end >= now && seen.insert(block.der).second) continue;
    clean += pem.substr(kept, block.begin - kept);
    kept = block.end;
  }
  return clean += pem.substr(kept);
}

}  // namespace yox::platform
