#include <json/value.h>

#include <string>

#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/policy/PlatformPolicy.h"

using YOX::String;
using yox::ToText;
using yox::WString;

namespace {

// Returns null if the text is not JSON. Throws Json::Exception if it is nested too deeply.
Json::Value Parse(const WString& json) {
  return yox::ParseLenientJson(json).value_or(Json::Value());
}

PlatformPolicy::List ToList(const Json::Value& value) {
  PlatformPolicy::List list;
  if (!value.isArray()) return list;
  for (const Json::Value& element : value) list.push_back(ToText(element));
  return list;
}

// The object that has the fields in the wrapped form.
const Json::Value& Unwrap(const Json::Value& document) {
  return document["yox_config"]["platform_policy"];
}

}  // namespace

struct YOX_LOCAL PlatformPolicy::Fields {
  const char* section;  // null: not in a section
  const char* key;
  WString PlatformPolicy::*text = nullptr;
  List PlatformPolicy::*list = nullptr;
  bool PlatformPolicy::*flag = nullptr;
  // Required: read from its place in the wrapped form even in the flat form.
  bool always_wrapped = false;

  static const Fields kTable[16];
};

// In reading order, which matters where a value that cannot be converted ends the reading.
constexpr PlatformPolicy::Fields PlatformPolicy::Fields::kTable[16] = {
    {nullptr, "config_pull_triggers", &PlatformPolicy::config_pull_triggers_},
    {"uri", "enterprise_auth_baseuri", &PlatformPolicy::enterprise_auth_baseuri_},
    {"uri", "consumer_auth_baseuri", &PlatformPolicy::consumer_auth_baseuri_},
    {"uri", "api_baseuri", &PlatformPolicy::api_baseuri_},
    {"uri", "mqtt_baseuri", &PlatformPolicy::mqtt_baseuri_},
    {"uri", "api_mtls_uri", &PlatformPolicy::api_mtls_uri_},
    {"uri", "api_geo_baseuri", &PlatformPolicy::api_geo_baseuri_},
    {"uri", "mqtt_mtls_uri", &PlatformPolicy::mqtt_mtls_uri_},
    {"validation", "mqtt_chain_pem64", &PlatformPolicy::mqtt_chain_pem64_},
    {"uri", "discover_uri", &PlatformPolicy::discover_uri_},
    {"validation", "jws_pubkey", {}, &PlatformPolicy::jws_pubkey_},
    {"validation", "tls_rootca_thumbprint_list", {}, &PlatformPolicy::tls_rootca_thumbprint_list_},
    {"validation", "tls_leaf_cn_list", {}, &PlatformPolicy::tls_leaf_cn_list_},
    {nullptr, "device_subscription_list", {}, &PlatformPolicy::device_subscription_list_, {}, true},
    {"validation", "allow_self_signed_cert", {}, {}, &PlatformPolicy::allow_self_signed_cert_},
    {nullptr, "device_auth_type", &PlatformPolicy::device_auth_type_},
};

PlatformPolicy PlatformPolicy::DeSerialize(const WString& json, bool wrapped) {
  PlatformPolicy policy;
  try {
    const Json::Value document = Parse(json);
    for (const Fields& field : Fields::kTable) {
      const Json::Value& fields = wrapped || field.always_wrapped ? Unwrap(document) : document;
      const Json::Value& value =
          field.section != nullptr ? fields[field.section][field.key] : fields[field.key];
      if (field.text != nullptr) policy.*field.text = ToText(value);
      if (field.list != nullptr) policy.*field.list = ToList(value);
      if (field.flag != nullptr) policy.*field.flag = value.isBool() && value.asBool();
    }
  } catch (const Json::Exception&) {
    // What was read before stays.
  }
  return policy;
}

PlatformPolicy PlatformPolicy::DeSerializePlatformPolicyResponse(const WString& json) {
  PlatformPolicy policy;
  try {
    const Json::Value document = Parse(json);
    policy.tls_rootca_thumbprint_list_ =
        ToList(Unwrap(document)["validation"]["tls_thumbprint_list"]);
  } catch (const Json::Exception&) {
  }
  return policy;
}
