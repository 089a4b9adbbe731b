#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>

#include "yox/base/String.h"
#include "yox/policy/BuiltInTrust.h"
#include "yox/policy/PlatformPolicy.h"

#include "tests/support/CapturedLog.h"

namespace {

using yox::WString;
using namespace yox::literals;
using List = PlatformPolicy::List;

YOX::Log g_test_log{"test"};

WString Pem(const WString& base64) {
  return "-----BEGIN PUBLIC KEY-----\n"_w + base64 + "\n-----END PUBLIC KEY-----"_w;
}

PlatformPolicy Base() {
  return PlatformPolicy("pull"_w, "enterprise"_w, "consumer"_w, "api"_w, "api-mtls"_w, "api-geo"_w,
                        "mqtt-mtls"_w, "discover"_w, "mqtt"_w, {}, {"aa"_w}, {"leaf"_w},
                        {"subscription"_w}, false, "type"_w, &g_test_log);
}
PlatformPolicy Other() {
  PlatformPolicy other("pull 2"_w, "enterprise 2"_w, "consumer 2"_w, "api 2"_w, "api-mtls 2"_w,
                       "api-geo 2"_w, "mqtt-mtls 2"_w, "discover 2"_w, "mqtt 2"_w,
                       {"key 1"_w, "key 2"_w}, {"AA"_w, "aa"_w, "bb"_w}, {"leaf 2"_w},
                       {"subscription 2"_w}, true, "type 2"_w, nullptr);
  other.set_mqtt_chain_pem64("chain 2"_w);
  return other;
}

List Uris(const PlatformPolicy& policy) {
  return {policy.api_baseuri(),     policy.discover_uri(), policy.consumer_auth_baseuri(),
          policy.mqtt_baseuri(),    policy.api_mtls_uri(), policy.enterprise_auth_baseuri(),
          policy.api_geo_baseuri(), policy.mqtt_mtls_uri()};
}

TEST(PolicyAccumulationTest, WithoutOverrideAllUrisStay) {
  PlatformPolicy policy = Base();
  policy.accumulatePlatformPolicy(Other(), false);
  EXPECT_EQ(Uris(policy), Uris(Base()));
}

TEST(PolicyAccumulationTest, OverrideReplacesEveryUri) {
  PlatformPolicy policy = Base();
  policy.accumulatePlatformPolicy(Other(), true);
  EXPECT_EQ(Uris(policy), Uris(Other()));
}

TEST(PolicyAccumulationTest, OverrideWithEmptyUrisEmptiesThem) {
  PlatformPolicy policy = Base();
  policy.accumulatePlatformPolicy(PlatformPolicy(), true);
  EXPECT_EQ(Uris(policy), List(8));
}

TEST(PolicyAccumulationTest, IntoItselfWrapsEachKeyOnceAndAddsNothingElse) {
  // Many of each, so that a list that grew while it is read would be moved.
  List keys, wrapped, others;
  for (int i = 0; i < 1000; ++i) {
    keys.push_back("key "_w + YOX::String::UTF8ToUTF16(std::to_string(i)));
    wrapped.push_back(Pem(keys.back()));
    others.push_back("entry "_w + YOX::String::UTF8ToUTF16(std::to_string(i)));
  }
  PlatformPolicy policy = Base();
  policy.set_jws_pubkey(keys);
  policy.set_tls_rootca_thumbprint_list(others);
  policy.set_tls_leaf_cn_list(others);
  policy.set_device_subscription_list(others);
  policy.accumulatePlatformPolicy(policy, true);
  List all = keys;
  all.insert(all.end(), wrapped.begin(), wrapped.end());
  EXPECT_EQ(policy.jws_pubkey(), all);
  EXPECT_EQ(policy.tls_rootca_thumbprint_list(), others);
  EXPECT_EQ(policy.tls_leaf_cn_list(), others);
  EXPECT_EQ(policy.device_subscription_list(), others);
  EXPECT_EQ(Uris(policy), Uris(Base()));
}

TEST(PolicyAccumulationTest, EntryThatTheOtherHasTwiceIsAddedOnce) {
  PlatformPolicy other;
  other.set_tls_leaf_cn_list({"b"_w, "a"_w, "b"_w, "leaf"_w, "a"_w});
  PlatformPolicy policy = Base();
  policy.accumulatePlatformPolicy(other, false);
  EXPECT_EQ(policy.tls_leaf_cn_list(), (List{"leaf"_w, "b"_w, "a"_w}));
}

TEST(PolicyAccumulationTest, RepeatsThatTheListHasStay) {
  PlatformPolicy policy = Base();
  policy.set_tls_leaf_cn_list({"a"_w, "a"_w});
  policy.accumulatePlatformPolicy(policy, false);
  EXPECT_EQ(policy.tls_leaf_cn_list(), (List{"a"_w, "a"_w}));
}

TEST(PolicyAccumulationTest, SelfSignedSettingIsTakenBackByOverrideAlone) {
  for (const bool mine : {false, true}) {
    for (const bool others : {false, true}) {
      PlatformPolicy other = Other();
      other.set_allow_self_signed_cert(others);
      PlatformPolicy added = Base();
      added.set_allow_self_signed_cert(mine);
      PlatformPolicy overridden = added;
      added.accumulatePlatformPolicy(other, false);
      overridden.accumulatePlatformPolicy(other, true);
      EXPECT_EQ(added.allow_self_signed_cert(), mine || others);
      EXPECT_EQ(overridden.allow_self_signed_cert(), others);
    }
  }
}

TEST(PolicyAccumulationTest, ListsGrowByTheEntriesTheyMiss) {
  PlatformPolicy policy = Base();
  policy.accumulatePlatformPolicy(Other(), false);
  EXPECT_EQ(policy.jws_pubkey(), (List{Pem("key 1"_w), Pem("key 2"_w)}));
  EXPECT_EQ(policy.tls_leaf_cn_list(), (List{"leaf"_w, "leaf 2"_w}));
  EXPECT_EQ(policy.device_subscription_list(), (List{"subscription"_w, "subscription 2"_w}));
}

TEST(PolicyAccumulationTest, ThumbprintThatDiffersInCaseIsNew) {
  PlatformPolicy policy = Base();
  policy.accumulatePlatformPolicy(Other(), false);
  EXPECT_EQ(policy.tls_rootca_thumbprint_list(), (List{"aa"_w, "AA"_w, "bb"_w}));
}

TEST(PolicyAccumulationTest, SecondTimeAddsNothing) {
  PlatformPolicy once = Base();
  once.accumulatePlatformPolicy(Other(), false);
  PlatformPolicy twice = once;
  twice.accumulatePlatformPolicy(Other(), false);
  EXPECT_EQ(twice.jws_pubkey(), once.jws_pubkey());
  EXPECT_EQ(twice.tls_rootca_thumbprint_list(), once.tls_rootca_thumbprint_list());
  EXPECT_EQ(twice.tls_leaf_cn_list(), once.tls_leaf_cn_list());
  EXPECT_EQ(twice.device_subscription_list(), once.device_subscription_list());
}

TEST(PolicyAccumulationTest, KeyThatIsPemAlreadyIsWrappedOnceMore) {
  PlatformPolicy other;
  other.set_jws_pubkey({Pem("key"_w)});
  PlatformPolicy policy;
  policy.accumulatePlatformPolicy(other, false);
  EXPECT_EQ(policy.jws_pubkey(), List{Pem(Pem("key"_w))});
}

TEST(PolicyAccumulationTest, EmptyTextsEmptyTheAuthenticationTypeAlone) {
  PlatformPolicy policy = Base();
  policy.set_mqtt_chain_pem64("chain"_w);
  policy.accumulatePlatformPolicy(PlatformPolicy(), false);
  EXPECT_EQ(policy.device_auth_type(), ""_w);
  EXPECT_EQ(policy.config_pull_triggers(), "pull"_w);
  EXPECT_EQ(policy.mqtt_chain_pem64(), "chain"_w);
  policy.accumulatePlatformPolicy(Other(), false);
  EXPECT_EQ(policy.device_auth_type(), "type 2"_w);
  EXPECT_EQ(policy.config_pull_triggers(), "pull 2"_w);
  EXPECT_EQ(policy.mqtt_chain_pem64(), "chain 2"_w);
}

TEST(PolicyAccumulationTest, LogsWhatItDoes) {
  const yox_test::CapturedLog log;
  PlatformPolicy policy = Base();
  policy.accumulatePlatformPolicy(Other(), true);
  policy.accumulatePlatformPolicy(Other(), false);
  EXPECT_EQ(
      log.Text(),
      "test D PlatformPolicy::accumulatePlatformPolicy, accumulatePlatformPolicy with "
      "overrideBaseUris :: 1\n"
      "test D PlatformPolicy::accumulatePlatformPolicy, accumulatePlatformPolicy updated mtls "
      "base uri :: api-mtls 2\n"
      "test D PlatformPolicy::accumulatePlatformPolicy allow self signed cert set to 1 \n"
      "test D PlatformPolicy::accumulatePlatformPolicy, accumulatePlatformPolicy with "
      "overrideBaseUris :: 0\n"
      "test D PlatformPolicy::accumulatePlatformPolicy allow self signed cert set to 1 \n");
}

TEST(PolicyAccumulationTest, WithoutALogNothingIsLogged) {
  const yox_test::CapturedLog log;
  PlatformPolicy policy;
  policy.accumulatePlatformPolicy(Other(), true);
  policy.accumulateServerValidationConstants();
  EXPECT_EQ(log.Text(), "");
}

TEST(PolicyAccumulationTest, FailureIsLoggedAndLeavesWhatWasMerged) {
  std::string errors;
  YOX::Log::SetSink([&](std::string_view, YOX::LogLevel level, std::string_view line) {
    if (level == YOX::LogLevel::Error) errors += line;
    if (line.find("allow self signed") != std::string_view::npos) throw std::runtime_error("boom");
  });
  PlatformPolicy policy = Base();
  policy.accumulatePlatformPolicy(Other(), true);
  YOX::Log::SetSink({});
  EXPECT_EQ(errors, "PlatformPolicy::accumulatePlatformPolicy, Exception: boom");
  EXPECT_EQ(policy.api_baseuri(), "api 2"_w);
  EXPECT_EQ(policy.mqtt_chain_pem64(), "chain 2"_w);
  EXPECT_EQ(policy.config_pull_triggers(), "pull"_w);
  EXPECT_TRUE(policy.jws_pubkey().empty());
}

TEST(BuiltInTrustTest, ComesAfterTheEntriesOfDocuments) {
  PlatformPolicy policy = Base();
  policy.accumulatePlatformPolicy(Other(), false);
  const auto before = policy.tls_rootca_thumbprint_list().size();
  policy.accumulateServerValidationConstants();
  const List& thumbprints = policy.tls_rootca_thumbprint_list();
  const auto roots = yox::policy::TrustedRoots();
  ASSERT_EQ(thumbprints.size(), before + 33);
  for (std::size_t i = 0; i < 33; ++i) EXPECT_EQ(thumbprints[before + i], roots[i].thumbprint);
  ASSERT_EQ(policy.jws_pubkey().size(), 3U);
  EXPECT_EQ(policy.jws_pubkey().back(), Pem(WString(yox::policy::PublicKey())));
}

TEST(BuiltInTrustTest, SecondTimeAddsNothing) {
  PlatformPolicy policy;
  policy.accumulateServerValidationConstants();
  policy.accumulateServerValidationConstants();
  EXPECT_EQ(policy.tls_rootca_thumbprint_list().size(), 33U);
  EXPECT_EQ(policy.jws_pubkey().size(), 1U);
}

TEST(BuiltInTrustTest, ThumbprintsAreAllDifferent) {
  std::set<WString> different;
  for (const auto& root : yox::policy::TrustedRoots()) different.emplace(root.thumbprint);
  EXPECT_EQ(different.size(), 33U);
}

}  // namespace
