#include <unordered_set>
#include <utility>

#include "yox/policy/BuiltInTrust.h"
#include "yox/policy/LogExceptions.h"
#include "yox/policy/PlatformPolicy.h"

using yox::WString;
using yox::WStringView;
using yox::policy::LogExceptions;
using namespace yox::literals;

namespace {

using List = PlatformPolicy::List;

// Appends the entries that the list does not contain yet, each once, in their order. Takes time in
// proportion to both lists. `entries` may be the list itself.
void AddMissing(List& list, const List& entries) {
  std::unordered_set<WStringView> known(list.begin(), list.end());
  List added;
  for (const WString& entry : entries) {
    if (known.insert(entry).second) added.push_back(entry);
  }
  for (WString& entry : added) list.push_back(std::move(entry));
}

// The base64 text as PEM. It is not split into lines, and text that is PEM already is wrapped
// again.
WString WrapKey(WStringView base64) {
  WString pem = "-----BEGIN PUBLIC KEY-----\n"_w;
  pem += base64;
  pem += "\n-----END PUBLIC KEY-----"_wv;
  return pem;
}

List WrapKeys(const List& keys) {
  List wrapped;
  for (const WString& key : keys) wrapped.push_back(WrapKey(key));
  return wrapped;
}

}  // namespace

void PlatformPolicy::accumulatePlatformPolicy(const PlatformPolicy& other, bool overrideBaseUris) {
  constexpr const char* kFunction = "PlatformPolicy::accumulatePlatformPolicy";
  LogExceptions(log_, kFunction, [&] {
    if (log_ != nullptr) {
      log_->d("%s, accumulatePlatformPolicy with overrideBaseUris :: %d", kFunction,
              overrideBaseUris);
    }
    if (overrideBaseUris) {
      for (const auto uri :
           {&PlatformPolicy::api_baseuri_, &PlatformPolicy::discover_uri_,
            &PlatformPolicy::consumer_auth_baseuri_, &PlatformPolicy::enterprise_auth_baseuri_,
            &PlatformPolicy::mqtt_baseuri_, &PlatformPolicy::api_mtls_uri_,
            &PlatformPolicy::api_geo_baseuri_, &PlatformPolicy::mqtt_mtls_uri_}) {
        this->*uri = other.*uri;
      }
      allow_self_signed_cert_ = other.allow_self_signed_cert_;
      if (log_ != nullptr) {
        log_->d("%s, accumulatePlatformPolicy updated mtls base uri :: %s", kFunction,
                api_mtls_uri_);
      }
    }
    if (!other.mqtt_chain_pem64_.empty()) mqtt_chain_pem64_ = other.mqtt_chain_pem64_;
    allow_self_signed_cert_ = allow_self_signed_cert_ || other.allow_self_signed_cert_;
    if (log_ != nullptr) {
      log_->d("%s allow self signed cert set to %d ", kFunction, allow_self_signed_cert_);
    }
    if (!other.config_pull_triggers_.empty()) config_pull_triggers_ = other.config_pull_triggers_;
    AddMissing(jws_pubkey_, WrapKeys(other.jws_pubkey_));
    AddMissing(tls_rootca_thumbprint_list_, other.tls_rootca_thumbprint_list_);
    AddMissing(tls_leaf_cn_list_, other.tls_leaf_cn_list_);
    AddMissing(device_subscription_list_, other.device_subscription_list_);
    // Required to be unconditional, unlike the two texts above.
    device_auth_type_ = other.device_auth_type_;
  });
}

void PlatformPolicy::accumulateCertificateThumbprints() {
  constexpr const char* kFunction = "PlatformPolicy::accumulateCertificateThumbprints";
  LogExceptions(log_, kFunction, [this] {
    List thumbprints;
    for (const auto& root : yox::policy::TrustedRoots()) thumbprints.emplace_back(root.thumbprint);
    AddMissing(tls_rootca_thumbprint_list_, thumbprints);
  });
}

void PlatformPolicy::accumulateServerValidationConstants() {
  constexpr const char* kFunction = "PlatformPolicy::accumulateServerValidationConstants";
  LogExceptions(log_, kFunction, [this] {
    accumulateCertificateThumbprints();
    AddMissing(jws_pubkey_, {WrapKey(yox::policy::PublicKey())});
  });
}
