#pragma once

#include <span>

#include "yox/base/WString.h"

// The trust that is compiled into the library. docs/policy.md describes how a build gets its own.
namespace yox::policy {

struct TrustedRoot {
  const char* name;             // as Debian's ca-certificates names the file
  yox::WStringView thumbprint;  // SHA-256, 64 lower-case hexadecimal digits
};

// 33 root certificates.
std::span<const TrustedRoot> TrustedRoots();

// The public key of the service that signs documents and tokens: the base64 text of a
// SubjectPublicKeyInfo, which is the body of a PEM file.
yox::WStringView PublicKey();

}  // namespace yox::policy
