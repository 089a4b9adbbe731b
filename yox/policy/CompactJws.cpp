#include "yox/policy/CompactJws.h"

#include <json/value.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "yox/base/Base64.h"
#include "yox/base/Document.h"
#include "yox/base/StrictJson.h"
#include "yox/platform/crypto/Signatures.h"

namespace yox::policy {
namespace {

using yox::platform::SignatureScheme;
using yox::platform::SignatureVerdict;

struct Algorithm {
  const char* name;
  SignatureScheme scheme;
};
constexpr Algorithm kAlgorithms[] = {
    {"ES256", SignatureScheme::kEs256},
    {"RS256", SignatureScheme::kRs256},
};

// Header parameters that are refused: keys of the text's own, and extensions to be understood.
constexpr const char* kRefusedParameters[] = {"jwk", "jku", "x5c", "x5u", "crit"};

CheckedJws Refused(std::string reason) { return {std::move(reason), {}}; }

std::optional<Json::Value> ParseObject(std::string_view json) {
  try {
    Json::Value value = yox::ParseDocument(json);
    if (value.isObject()) return value;
  } catch (const yox::DocumentError&) {
    // The error's text would show part of the document.
  }
  return std::nullopt;
}

}  // namespace

CheckedJws CheckCompactJws(std::string_view text, std::string_view public_key) {
  if (text.empty()) return Refused("it is empty");
  if (text.size() > kLongestJws) return Refused("it is longer than 16384 bytes");
  if (std::ranges::count(text, '.') != 2) return Refused("it does not have three parts");
  const std::size_t first = text.find('.');
  const std::size_t second = text.rfind('.');
  const auto header = yox::FromBase64Url(text.substr(0, first));
  auto payload = yox::FromBase64Url(text.substr(first + 1, second - first - 1));
  const auto signature = yox::FromBase64Url(text.substr(second + 1));
  if (!header || !payload || !signature) return Refused("a part is not base64url");
  const auto parameters = ParseObject(*header);
  if (!parameters) return Refused("the header is not a JSON object");
  for (const char* const name : kRefusedParameters) {
    if (parameters->isMember(name))
      return Refused("the header has the member " + std::string(name));
  }
  const Json::Value& algorithm = (*parameters)["alg"];
  for (const auto& [name, scheme] : kAlgorithms) {
    if (!algorithm.isString() || algorithm.asString() != name) continue;
    const auto key = yox::FromBase64(public_key);
    const SignatureVerdict verdict = yox::platform::VerifySignature(
        scheme, key.value_or(std::string()), text.substr(0, second), *signature);
    if (verdict == SignatureVerdict::kUnusableKey) {
      return Refused("the key does not fit the algorithm");
    }
    if (verdict == SignatureVerdict::kInvalid) return Refused("the signature does not match");
    return {{}, *std::move(payload)};
  }
  return Refused("the algorithm is neither ES256 nor RS256");
}

}  // namespace yox::policy
