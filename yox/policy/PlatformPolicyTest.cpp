#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

#include "yox/policy/PlatformPolicy.h"

#include "tests/support/CapturedLog.h"

namespace {

using yox::WString;
using namespace yox::literals;
using List = PlatformPolicy::List;

PlatformPolicy Filled(YOX::Log* log = nullptr) {
  PlatformPolicy policy("pull"_w, "enterprise"_w, "consumer"_w, "api"_w, "api-mtls"_w, "api-geo"_w,
                        "mqtt-mtls"_w, "discover"_w, "mqtt"_w, {"key"_w},
                        {"thumb 1"_w, "thumb 2"_w}, {"leaf"_w}, {"subscription"_w}, true, "type"_w,
                        log);
  policy.set_mqtt_chain_pem64("chain"_w);
  return policy;
}

void ExpectTextsAreFilled(const PlatformPolicy& policy) {
  EXPECT_EQ(policy.config_pull_triggers(), "pull"_w);
  EXPECT_EQ(policy.enterprise_auth_baseuri(), "enterprise"_w);
  EXPECT_EQ(policy.consumer_auth_baseuri(), "consumer"_w);
  EXPECT_EQ(policy.api_baseuri(), "api"_w);
  EXPECT_EQ(policy.discover_uri(), "discover"_w);
  EXPECT_EQ(policy.mqtt_baseuri(), "mqtt"_w);
  EXPECT_EQ(policy.api_mtls_uri(), "api-mtls"_w);
  EXPECT_EQ(policy.api_geo_baseuri(), "api-geo"_w);
  EXPECT_EQ(policy.mqtt_mtls_uri(), "mqtt-mtls"_w);
  EXPECT_EQ(policy.device_auth_type(), "type"_w);
  EXPECT_TRUE(policy.allow_self_signed_cert());
}

TEST(PlatformPolicyTest, NewRecordIsEmptyButForItsUrl) {
  const PlatformPolicy policy;
  EXPECT_TRUE(policy.config_pull_triggers().empty() && policy.enterprise_auth_baseuri().empty() &&
              policy.consumer_auth_baseuri().empty() && policy.api_baseuri().empty() &&
              policy.discover_uri().empty() && policy.mqtt_baseuri().empty() &&
              policy.api_mtls_uri().empty() && policy.api_geo_baseuri().empty() &&
              policy.mqtt_mtls_uri().empty() && policy.mqtt_chain_pem64().empty() &&
              policy.device_auth_type().empty());
  EXPECT_TRUE(policy.jws_pubkey().empty() && policy.tls_rootca_thumbprint_list().empty() &&
              policy.tls_leaf_cn_list().empty() && policy.device_subscription_list().empty());
  EXPECT_FALSE(policy.allow_self_signed_cert());
  EXPECT_EQ(policy.get_platform_policy_url(), "/configuration-service/v1/platform-policy"_w);
}

TEST(PlatformPolicyTest, LongConstructorSetsAllButTheChain) {
  const PlatformPolicy policy("pull"_w, "enterprise"_w, "consumer"_w, "api"_w, "api-mtls"_w,
                              "api-geo"_w, "mqtt-mtls"_w, "discover"_w, "mqtt"_w, {"key"_w},
                              {"thumb"_w}, {"leaf"_w}, {"subscription"_w}, true, "type"_w, nullptr);
  ExpectTextsAreFilled(policy);
  EXPECT_EQ(policy.mqtt_chain_pem64(), ""_w);
  EXPECT_EQ(policy.jws_pubkey(), List{"key"_w});
  EXPECT_EQ(policy.tls_rootca_thumbprint_list(), List{"thumb"_w});
  EXPECT_EQ(policy.tls_leaf_cn_list(), List{"leaf"_w});
  EXPECT_EQ(policy.device_subscription_list(), List{"subscription"_w});
  EXPECT_EQ(policy.get_platform_policy_url(), "/configuration-service/v1/platform-policy"_w);
}

TEST(PlatformPolicyTest, CopyHasTheListsOnce) {
  const PlatformPolicy source = Filled();
  const PlatformPolicy copy(source);
  ExpectTextsAreFilled(copy);
  EXPECT_EQ(copy.mqtt_chain_pem64(), "chain"_w);
  EXPECT_EQ(copy.jws_pubkey(), source.jws_pubkey());
  EXPECT_EQ(copy.tls_rootca_thumbprint_list(), source.tls_rootca_thumbprint_list());
  EXPECT_EQ(copy.tls_leaf_cn_list(), source.tls_leaf_cn_list());
  EXPECT_EQ(copy.device_subscription_list(), source.device_subscription_list());
  EXPECT_EQ(copy.get_platform_policy_url(), source.get_platform_policy_url());
}

TEST(PlatformPolicyTest, CopyLogsWhereItsSourceDoes) {
  YOX::Log test_log("test");
  PlatformPolicy assigned;
  assigned = Filled(&test_log);
  PlatformPolicy copy(Filled(&test_log));
  for (PlatformPolicy* const policy : {&assigned, &copy}) {
    const yox_test::CapturedLog log;
    policy->accumulatePlatformPolicy(PlatformPolicy(), false);
    EXPECT_FALSE(log.Lines().empty());
  }
}

TEST(PlatformPolicyTest, AssigningTwoThumbprintsToOneGivesThree) {
  PlatformPolicy target;
  target.set_tls_rootca_thumbprint_list({"thumb 1"_w});
  target.set_mqtt_baseuri("former"_w);
  const PlatformPolicy source = Filled();
  target = source;
  ExpectTextsAreFilled(target);
  EXPECT_EQ(target.mqtt_chain_pem64(), "chain"_w);
  EXPECT_EQ(target.tls_rootca_thumbprint_list(), (List{"thumb 1"_w, "thumb 1"_w, "thumb 2"_w}));
  EXPECT_EQ(target.jws_pubkey(), List{"key"_w});
}

TEST(PlatformPolicyTest, AssigningAppendsAllFourLists) {
  PlatformPolicy target = Filled();
  target = Filled();
  EXPECT_EQ(target.jws_pubkey(), (List{"key"_w, "key"_w}));
  EXPECT_EQ(target.tls_rootca_thumbprint_list().size(), 4U);
  EXPECT_EQ(target.tls_leaf_cn_list(), (List{"leaf"_w, "leaf"_w}));
  EXPECT_EQ(target.device_subscription_list(), (List{"subscription"_w, "subscription"_w}));
}

TEST(PlatformPolicyTest, MovingCopies) {
  PlatformPolicy source = Filled();
  PlatformPolicy target;
  target.set_tls_leaf_cn_list({"other"_w});
  PlatformPolicy& answer = (target = std::move(source));
  EXPECT_EQ(&answer, &target);
  ExpectTextsAreFilled(source);  // NOLINT: left as it was, on purpose
  ExpectTextsAreFilled(target);
  EXPECT_EQ(source.tls_leaf_cn_list(), List{"leaf"_w});
  EXPECT_EQ(target.tls_leaf_cn_list(), (List{"other"_w, "leaf"_w}));
  const PlatformPolicy made(std::move(source));
  ExpectTextsAreFilled(source);  // NOLINT
  ExpectTextsAreFilled(made);
}

TEST(PlatformPolicyTest, AssigningARecordToItselfChangesNothing) {
  PlatformPolicy policy = Filled();
  PlatformPolicy& same = policy;
  policy = same;
  policy = std::move(same);
  ExpectTextsAreFilled(policy);
  EXPECT_EQ(policy.tls_rootca_thumbprint_list(), (List{"thumb 1"_w, "thumb 2"_w}));
}

TEST(PlatformPolicyTest, SettersReplaceAndTakeTheirOwnValue) {
  PlatformPolicy policy = Filled();
  policy.set_api_baseuri(policy.api_baseuri());
  policy.set_tls_leaf_cn_list(policy.tls_leaf_cn_list());
  EXPECT_EQ(policy.api_baseuri(), "api"_w);
  EXPECT_EQ(policy.tls_leaf_cn_list(), List{"leaf"_w});
  policy.set_jws_pubkey({});
  policy.set_allow_self_signed_cert(false);
  EXPECT_TRUE(policy.jws_pubkey().empty());
  EXPECT_FALSE(policy.allow_self_signed_cert());
}

template <class T>
constexpr bool kIsReference = std::is_same_v<T, const WString&> || std::is_same_v<T, const List&>;

TEST(PlatformPolicyTest, GettersAnswerCopiesOrReferencesAsPromised) {
#define EXPECT_REFERENCE(name) \
  static_assert(kIsReference<decltype(std::declval<const PlatformPolicy&>().name())>)
  EXPECT_REFERENCE(api_baseuri);
  EXPECT_REFERENCE(discover_uri);
  EXPECT_REFERENCE(api_mtls_uri);
  EXPECT_REFERENCE(mqtt_mtls_uri);
  EXPECT_REFERENCE(api_geo_baseuri);
  EXPECT_REFERENCE(jws_pubkey);
  EXPECT_REFERENCE(tls_rootca_thumbprint_list);
  EXPECT_REFERENCE(tls_leaf_cn_list);
  EXPECT_REFERENCE(device_subscription_list);
#undef EXPECT_REFERENCE
#define EXPECT_COPY(name) \
  static_assert(std::is_same_v<decltype(std::declval<const PlatformPolicy&>().name()), WString>)
  EXPECT_COPY(config_pull_triggers);
  EXPECT_COPY(enterprise_auth_baseuri);
  EXPECT_COPY(consumer_auth_baseuri);
  EXPECT_COPY(mqtt_baseuri);
  EXPECT_COPY(mqtt_chain_pem64);
  EXPECT_COPY(device_auth_type);
#undef EXPECT_COPY
  const PlatformPolicy policy = Filled();
  EXPECT_EQ(&policy.api_baseuri(), &policy.api_baseuri());
}

}  // namespace
