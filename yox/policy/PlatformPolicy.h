#pragma once

#include <string>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/Log.h"
#include "yox/base/WString.h"

// The fields, in their order, and what their getters return: a copy or a reference.
// clang-format off
#define YOX_POLICY_TEXTS(COPY, REFERENCE) \
  COPY(config_pull_triggers)              \
  COPY(enterprise_auth_baseuri)           \
  COPY(consumer_auth_baseuri)             \
  REFERENCE(api_baseuri)                  \
  REFERENCE(discover_uri)                 \
  COPY(mqtt_baseuri)                      \
  REFERENCE(api_mtls_uri)                 \
  REFERENCE(api_geo_baseuri)              \
  REFERENCE(mqtt_mtls_uri)                \
  COPY(mqtt_chain_pem64)                  \
  COPY(device_auth_type)
#define YOX_POLICY_LISTS(REFERENCE)       \
  REFERENCE(jws_pubkey)                   \
  REFERENCE(tls_rootca_thumbprint_list)   \
  REFERENCE(tls_leaf_cn_list)             \
  REFERENCE(device_subscription_list)
// clang-format on

// Which servers the client talks to and how it trusts them. The effective policy is built up: a
// record starts from what is stored, receives what each later document adds, and last the trust
// that is built into the library.
//
// A record belongs to one thread at a time; nothing here takes a lock.
class YOX_API PlatformPolicy {
 public:
  using List = std::vector<yox::WString>;

  // Without a log (not owned) the record logs nothing.
  explicit PlatformPolicy(YOX::Log* log = nullptr);
  // All but the MQTT chain, which stays empty.
  PlatformPolicy(const yox::WString& config_pull_triggers,
                 const yox::WString& enterprise_auth_baseuri,
                 const yox::WString& consumer_auth_baseuri, const yox::WString& api_baseuri,
                 const yox::WString& api_mtls_uri, const yox::WString& api_geo_baseuri,
                 const yox::WString& mqtt_mtls_uri, const yox::WString& discover_uri,
                 const yox::WString& mqtt_baseuri, const List& jws_pubkey,
                 const List& tls_rootca_thumbprint_list, const List& tls_leaf_cn_list,
                 const List& device_subscription_list, const bool& allow_self_signed_cert,
                 const yox::WString& device_auth_type, YOX::Log* log);
  PlatformPolicy(const PlatformPolicy& other);
  virtual ~PlatformPolicy();

  // Both assign to newly made records only: texts, flag and log are replaced, but the lists of
  // `other` are put behind those that stand, equal entries included. Moving copies.
  void operator=(const PlatformPolicy& other);  // NOLINT: answers nothing
  PlatformPolicy& operator=(PlatformPolicy&& other) noexcept(false);

  // Read a policy document, or the trust list alone of a server's response. `wrapped` says whether
  // the fields stand below "yox_config", "platform_policy" or in the root. Missing keys are empty
  // fields; malformed JSON gives an empty record; a value of a type that cannot be converted ends
  // the reading, and the record holds what was read before it. They raise nothing but a lack of
  // memory.
  static PlatformPolicy DeSerialize(const yox::WString& json, bool wrapped);
  static PlatformPolicy DeSerializePlatformPolicyResponse(const yox::WString& json);

  // Adds `other` to this record. Lists grow by what they do not hold yet, public keys wrapped as
  // PEM; the chain and the pull triggers are replaced unless empty, the way of authentication
  // always. `overrideBaseUris` replaces all URIs, empty ones too, and the self-signed setting,
  // which else can only be switched on. Raises nothing: a failure is logged, and what was merged
  // stays.
  void accumulatePlatformPolicy(const PlatformPolicy& other, bool overrideBaseUris);
  // Adds the trust that is built in: root certificates and the public key. Raises nothing.
  void accumulateServerValidationConstants();

  // Brings the certificate files in line with the chain: stores it, or deletes the stored one when
  // there is none. Answers whether that was done; raises nothing.
  //
  // The stored chain is swapped in whole: whoever reads, and whatever ends the process, finds the
  // former one or the new one, never readable by other accounts. The combined file is written in
  // place: a reader may find it absent, short, or not yet cleaned of expired certificates, and so
  // it stays when the process ends in the middle, until the next store.
  bool updateMqttCertChain();

  // The path of the service that hands out policies, to be put behind a base URI.
  yox::WString get_platform_policy_url() const { return platform_policy_url_; }

#define YOX_COPIED(Type, name)          \
  Type name() const { return name##_; } \
  void set_##name(const Type& value) { name##_ = value; }
#define YOX_REFERRED(Type, name)               \
  const Type& name() const { return name##_; } \
  void set_##name(const Type& value) { name##_ = value; }
#define YOX_COPIED_TEXT(name) YOX_COPIED(yox::WString, name)
#define YOX_REFERRED_TEXT(name) YOX_REFERRED(yox::WString, name)
#define YOX_REFERRED_LIST(name) YOX_REFERRED(List, name)
  YOX_POLICY_TEXTS(YOX_COPIED_TEXT, YOX_REFERRED_TEXT)
  YOX_POLICY_LISTS(YOX_REFERRED_LIST)
#undef YOX_REFERRED_LIST
#undef YOX_REFERRED_TEXT
#undef YOX_COPIED_TEXT
#undef YOX_REFERRED
#undef YOX_COPIED
  bool allow_self_signed_cert() const { return allow_self_signed_cert_; }
  void set_allow_self_signed_cert(bool value) { allow_self_signed_cert_ = value; }

 private:
  struct Fields;  // the table of the document's keys

  void accumulateCertificateThumbprints();
  bool storeMqttCertChain();
  bool deleteMqttCertChain();
  void AccumulateMqttCertChain();

#define YOX_TEXT_MEMBER(name) yox::WString name##_;
#define YOX_LIST_MEMBER(name) List name##_;
  YOX_POLICY_TEXTS(YOX_TEXT_MEMBER, YOX_TEXT_MEMBER)
  YOX_POLICY_LISTS(YOX_LIST_MEMBER)
#undef YOX_LIST_MEMBER
#undef YOX_TEXT_MEMBER
  bool allow_self_signed_cert_ = false;
  yox::WString platform_policy_url_;
  YOX::Log* log_;
};
