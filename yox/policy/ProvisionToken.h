#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "yox/base/Export.h"

namespace yox::policy {

// What a token is for, and where it comes from.
enum class TokenType { kProvision };
enum class TokenSource { kProvisionFile };

// Checks a provision token at the moment `now` (seconds since 1970-01-01 UTC). A token is a signed
// text in compact form (see CheckCompactJws) whose payload is a JSON object with
//   "token_type"  "yox-provision"
//   "exp"         a number: the moment from which it is no longer valid, in year 9999 at the latest
//   "nbf"         optional, a number: the moment from which it is valid
// Returns the reason why the token is refused, one line that shows no part of it, or an empty
// string if it is valid. Safe from any thread.
YOX_API std::string RefusalOfToken(std::string_view token, std::string_view public_key,
                                   std::int64_t now, TokenType type);

}  // namespace yox::policy
