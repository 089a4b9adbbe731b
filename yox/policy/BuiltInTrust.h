#pragma once

#include <span>

#include "yox/base/WString.h"

// The trust that is compiled into the library. docs/policy.md says how a build gets its own.
namespace yox::policy {

struct TrustedRoot {
  const char* name;             // as Debian's ca-certificates names the file
  yox::WStringView thumbprint;  // SHA-256, 64 lower-case hexadecimal digits
};

std::span<const TrustedRoot> TrustedRoots();

// Of the service that signs: the base64 text of a SubjectPublicKeyInfo, the body of a PEM file.
yox::WStringView PublicKey();

}  // namespace yox::policy
