#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace yox::policy {

// A signed text in the compact form of RFC 7515, checked.
struct CheckedJws {
  std::string reason;   // why it is refused; empty when it is not
  std::string payload;  // what was signed, once it is known to be

  bool valid() const { return reason.empty(); }
};

inline constexpr std::size_t kLongestJws = 16384;

// Checks a text against a public key, the base64 text of a SubjectPublicKeyInfo. Only ES256 and
// RS256 are accepted, and only with a key of that kind; a header that brings a key or a certificate
// of its own, or extensions that have to be understood, is refused. A reason is one line and shows
// nothing of the text.
CheckedJws CheckCompactJws(std::string_view text, std::string_view public_key);

}  // namespace yox::policy
