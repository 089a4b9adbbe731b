#include "yox/policy/ProvisionToken.h"

#include <json/value.h>

#include <optional>

#include "yox/base/Document.h"
#include "yox/base/StrictJson.h"
#include "yox/policy/CompactJws.h"

namespace yox::policy {
namespace {

const char* ClaimOf(TokenType type) {
  switch (type) {
    case TokenType::kProvision:
      return "yox-provision";
  }
  return "";
}

std::optional<Json::Value> ParseClaims(std::string_view payload) {
  try {
    Json::Value claims = yox::ParseDocument(payload);
    if (claims.isObject()) return claims;
  } catch (const yox::DocumentError&) {
    // The error's text would show part of the token.
  }
  return std::nullopt;
}

}  // namespace

std::string RefusalOfToken(std::string_view token, std::string_view public_key, std::int64_t now,
                           TokenType type) {
  // 9999-12-31T23:59:59Z, the last moment that RFC 3339 can write.
  constexpr double kLatestEnd = 253402300799;
  const CheckedJws jws = CheckCompactJws(token, public_key);
  if (!jws.valid()) return jws.reason;
  const auto claims = ParseClaims(jws.payload);
  if (!claims) return "the payload is not a JSON object";
  const Json::Value& claim = (*claims)["token_type"];
  if (!claim.isString() || claim.asString() != ClaimOf(type)) return "token_type is another one";
  const auto moment = static_cast<double>(now);
  const Json::Value& end = (*claims)["exp"];
  if (!end.isNumeric()) return "exp is missing or not a number";
  if (end.asDouble() > kLatestEnd) return "exp is after the year 9999";
  if (moment >= end.asDouble()) return "it has expired";
  if (claims->isMember("nbf")) {
    const Json::Value& begin = (*claims)["nbf"];
    if (!begin.isNumeric()) return "nbf is not a number";
    if (moment < begin.asDouble()) return "it is not valid yet";
  }
  return {};
}

}  // namespace yox::policy
