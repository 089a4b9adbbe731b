#pragma once

#include <string>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/Log.h"
#include "yox/base/WString.h"

// The fields in their order. The getter of a COPY returns a copy, that of a REFERENCE a constant
// reference.
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
// record starts from the stored document, `accumulatePlatformPolicy` adds each later document, and
// `accumulateServerValidationConstants` adds the trust that is built into the library last.
//
// Texts are UTF-16. Not thread-safe: a record belongs to one thread at a time.
class YOX_API PlatformPolicy {
 public:
  using List = std::vector<yox::WString>;

  // An empty record. `log` is not owned, must outlive the record and may be null; the record then
  // logs nothing.
  explicit PlatformPolicy(YOX::Log* log = nullptr);
  // Sets every field except mqtt_chain_pem64, which stays empty.
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

  // Replace texts, flag and log, but append the four lists of `other` to those of this record,
  // equal entries included: assign to newly created records only. Moving copies. Assigning a record
  // to itself changes nothing.
  void operator=(const PlatformPolicy& other);  // NOLINT: required to return nothing
  PlatformPolicy& operator=(PlatformPolicy&& other) noexcept(false);

  // Reads a policy document. `wrapped` says whether its fields are below "yox_config",
  // "platform_policy", or in the root. A missing key gives an empty field; text that is not JSON
  // gives an empty record; a value that cannot be converted to its field's type ends the reading,
  // and the record keeps what was read before. Throws only std::bad_alloc.
  static PlatformPolicy DeSerialize(const yox::WString& json, bool wrapped);
  // Reads the list of trusted roots, and nothing else, from a server's response.
  static PlatformPolicy DeSerializePlatformPolicyResponse(const yox::WString& json);

  // Adds `other`, which may be this record, to this record:
  // - a list grows by the entries of `other` that it does not contain, compared exactly; public
  // keys
  //   are wrapped as PEM first. This takes time in proportion to the two lists;
  // - mqtt_chain_pem64 and config_pull_triggers are replaced unless those of `other` are empty;
  // - device_auth_type is replaced in any case;
  // - with `overrideBaseUris` all URIs are replaced, by empty ones too, and the self-signed
  // setting;
  //   without, URIs stay and the setting can only change from false to true.
  // Throws nothing: a failure is logged, and what was merged until then stays.
  void accumulatePlatformPolicy(const PlatformPolicy& other, bool overrideBaseUris);
  // Adds the built-in root certificates and public key. Throws nothing.
  void accumulateServerValidationConstants();

  // Brings the certificate files in line with mqtt_chain_pem64: stores the chain and rebuilds the
  // combined file, or, if it is empty, deletes the stored chain. Returns whether the chain was
  // stored or deleted; a combined file that could not be rebuilt is logged only. Throws nothing.
  // Calls on several threads must not overlap.
  //
  // Each file is written under another name and then renamed, so a reader finds the former file or
  // the new one, whole, whenever this process ends. Only the file's owner can read the stored
  // chain.
  bool updateMqttCertChain();

  // The path of the policy service, to be appended to a base URI.
  yox::WString get_platform_policy_url() const { return platform_policy_url_; }

  // One getter per field, and one setter with `set_` before the name. A reference is valid until
  // the field is set.
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
  struct Fields;  // a row of the table of the document's keys

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
