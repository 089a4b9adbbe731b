#include <algorithm>
#include <exception>

#include "yox/policy/BuiltInTrust.h"
#include "yox/policy/PlatformPolicy.h"

using yox::WString;
using yox::WStringView;
using namespace yox::literals;

namespace {

void Add(PlatformPolicy::List& list, WStringView entry) {
  if (std::ranges::find(list, entry) == list.end()) list.emplace_back(entry);
}

void AddAll(PlatformPolicy::List& list, const PlatformPolicy::List& entries) {
  for (const WString& entry : entries) Add(list, entry);
}

WString WrapKey(WStringView base64) {
  WString pem = "-----BEGIN PUBLIC KEY-----\n"_w;
  pem += base64;
  pem += "\n-----END PUBLIC KEY-----"_wv;
  return pem;
}

}  // namespace

void PlatformPolicy::accumulatePlatformPolicy(const PlatformPolicy& other, bool overrideBaseUris) {
  constexpr const char* kFunction = "PlatformPolicy::accumulatePlatformPolicy";
  try {
    // Merged into itself, a record would grow while it is read.
    if (this == &other) return accumulatePlatformPolicy(PlatformPolicy(other), overrideBaseUris);
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
    for (const WString& key : other.jws_pubkey_) Add(jws_pubkey_, WrapKey(key));
    AddAll(tls_rootca_thumbprint_list_, other.tls_rootca_thumbprint_list_);
    AddAll(tls_leaf_cn_list_, other.tls_leaf_cn_list_);
    AddAll(device_subscription_list_, other.device_subscription_list_);
    device_auth_type_ = other.device_auth_type_;
  } catch (const std::exception& exception) {
    if (log_ != nullptr) log_->e("%s, Exception: %s", kFunction, exception.what());
  }
}

void PlatformPolicy::accumulateCertificateThumbprints() {
  constexpr const char* kFunction = "PlatformPolicy::accumulateCertificateThumbprints";
  try {
    for (const auto& root : yox::policy::TrustedRoots()) {
      Add(tls_rootca_thumbprint_list_, root.thumbprint);
    }
  } catch (const std::exception& exception) {
    if (log_ != nullptr) log_->e("%s, Exception: %s", kFunction, exception.what());
  }
}

void PlatformPolicy::accumulateServerValidationConstants() {
  constexpr const char* kFunction = "PlatformPolicy::accumulateServerValidationConstants";
  try {
    accumulateCertificateThumbprints();
    Add(jws_pubkey_, WrapKey(yox::policy::PublicKey()));
  } catch (const std::exception& exception) {
    if (log_ != nullptr) log_->e("%s, Exception: %s", kFunction, exception.what());
  }
}
