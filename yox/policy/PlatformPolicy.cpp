#include "yox/policy/PlatformPolicy.h"

using yox::WString;
using namespace yox::literals;

namespace {

constexpr yox::WStringView kPlatformPolicyUrl = "/configuration-service/v1/platform-policy"_wv;

}  // namespace

PlatformPolicy::PlatformPolicy(YOX::Log* log)
    : platform_policy_url_(kPlatformPolicyUrl), log_(log) {}

PlatformPolicy::PlatformPolicy(
    const WString& config_pull_triggers, const WString& enterprise_auth_baseuri,
    const WString& consumer_auth_baseuri, const WString& api_baseuri, const WString& api_mtls_uri,
    const WString& api_geo_baseuri, const WString& mqtt_mtls_uri, const WString& discover_uri,
    const WString& mqtt_baseuri, const List& jws_pubkey, const List& tls_rootca_thumbprint_list,
    const List& tls_leaf_cn_list, const List& device_subscription_list,
    const bool& allow_self_signed_cert, const WString& device_auth_type, YOX::Log* log)
    : config_pull_triggers_(config_pull_triggers),
      enterprise_auth_baseuri_(enterprise_auth_baseuri),
      consumer_auth_baseuri_(consumer_auth_baseuri),
      api_baseuri_(api_baseuri),
      discover_uri_(discover_uri),
      mqtt_baseuri_(mqtt_baseuri),
      api_mtls_uri_(api_mtls_uri),
      api_geo_baseuri_(api_geo_baseuri),
      mqtt_mtls_uri_(mqtt_mtls_uri),
      device_auth_type_(device_auth_type),
      jws_pubkey_(jws_pubkey),
      tls_rootca_thumbprint_list_(tls_rootca_thumbprint_list),
      tls_leaf_cn_list_(tls_leaf_cn_list),
      device_subscription_list_(device_subscription_list),
      allow_self_signed_cert_(allow_self_signed_cert),
      platform_policy_url_(kPlatformPolicyUrl),
      log_(log) {}

PlatformPolicy::PlatformPolicy(const PlatformPolicy& other) : PlatformPolicy() { *this = other; }

PlatformPolicy::~PlatformPolicy() = default;

void PlatformPolicy::operator=(const PlatformPolicy& other) {  // NOLINT
  if (this == &other) return;
#define YOX_REPLACE(name) name##_ = other.name##_;
#define YOX_APPEND(name) name##_.insert(name##_.end(), other.name##_.begin(), other.name##_.end());
  YOX_POLICY_TEXTS(YOX_REPLACE, YOX_REPLACE)
  YOX_POLICY_LISTS(YOX_APPEND)
#undef YOX_APPEND
#undef YOX_REPLACE
  allow_self_signed_cert_ = other.allow_self_signed_cert_;
  log_ = other.log_;
}

PlatformPolicy& PlatformPolicy::operator=(PlatformPolicy&& other) noexcept(false) {
  *this = static_cast<const PlatformPolicy&>(other);
  return *this;
}
