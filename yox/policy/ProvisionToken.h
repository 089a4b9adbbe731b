#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "yox/base/Export.h"

namespace yox::policy {

// What a token is for, and where it comes from.
enum class TokenType { kProvision };
enum class TokenSource { kProvisionFile };

// Checks a provision token at a moment (seconds since 1970): a signed text (see CheckCompactJws)
// whose payload is a JSON object with
//   "exp"         the moment from which it is no longer valid; it must be there
//   "nbf"         the moment from which it is valid, if there
//   "token_type"  "yox-provision"
// Answers the reason for which it is refused, one line that shows nothing of the token, or an empty
// text.
YOX_API std::string RefusalOfToken(std::string_view token, std::string_view public_key,
                                   std::int64_t now, TokenType type);

}  // namespace yox::policy
