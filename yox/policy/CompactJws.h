#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace yox::policy {

// The result of checking a signed text.
struct CheckedJws {
  std::string reason;   // why the text is refused; empty if it is valid
  std::string payload;  // the signed bytes; empty unless the text is valid

  bool valid() const { return reason.empty(); }
};

inline constexpr std::size_t kLongestJws = 16384;  // bytes

// Checks a JSON Web Signature in compact form (RFC 7515) against a public key, which is the base64
// text of a SubjectPublicKeyInfo. Only ES256 and RS256 are accepted, each with a key of its own
// kind. A header that brings a key or certificate of its own ("jwk", "jku", "x5c", "x5u") or
// extensions that must be understood ("crit") is refused. A reason is one line and shows no part of
// the text. Safe from any thread.
CheckedJws CheckCompactJws(std::string_view text, std::string_view public_key);

}  // namespace yox::policy
