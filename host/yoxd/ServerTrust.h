#pragma once

#include <openssl/x509_vfy.h>

#include <string>
#include <vector>

namespace yoxd {

// How a server of the policy is trusted. The certificate chain has to be valid, its root has to be
// in the system's store and its leaf has to name the host; and the root's SHA-256 thumbprint has to
// be in `roots`. If `common_names` is not empty, it has to contain the leaf's common name. With
// `allow_self_signed` a root that is in `roots` need not be in the system's store; all else is
// checked as before.
struct Trust {
  std::vector<std::string> roots = {};  // hexadecimal digits
  std::vector<std::string> common_names = {};
  bool allow_self_signed = false;
};

// The argument of VerifyChain, which says in `refusal` why a chain is refused.
struct ChainCheck {
  const Trust& trust;
  std::string refusal = {};
};

// Replaces OpenSSL's verification of a chain (SSL_CTX_set_cert_verify_callback); `check` is a
// ChainCheck. X509_verify_cert verifies it as ever; before and after it is what `Trust` asks for.
// The host's name is not compared here. Returns 1 for a chain that is accepted, and 0.
int VerifyChain(X509_STORE_CTX* context, void* check);

}  // namespace yoxd
