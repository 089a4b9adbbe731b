#include <gtest/gtest.h>
#include <json/value.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "yox/base/StrictJson.h"
#include "yox/base/String.h"
#include "yox/policy/PlatformPolicy.h"

#include "tests/support/Rows.h"
#include "tests/support/SchemaPaths.h"

namespace {

using YOX::String;
using yox::WString;
using namespace yox::literals;
using List = PlatformPolicy::List;

PlatformPolicy Flat(std::string_view json) {
  return PlatformPolicy::DeSerialize(String::UTF8ToUTF16(json), false);
}
PlatformPolicy Wrapped(std::string_view fields) {
  const std::string json = R"({"yox_config": {"platform_policy": )" + std::string(fields) + "}}";
  return PlatformPolicy::DeSerialize(String::UTF8ToUTF16(json), true);
}
PlatformPolicy Response(std::string_view fields) {
  const std::string json = R"({"yox_config": {"platform_policy": )" + std::string(fields) + "}}";
  return PlatformPolicy::DeSerializePlatformPolicyResponse(String::UTF8ToUTF16(json));
}

constexpr const char* kFields = R"({
  "config_pull_triggers": "pull",
  "uri": {
    "enterprise_auth_baseuri": "enterprise", "consumer_auth_baseuri": "consumer",
    "api_baseuri": "api", "mqtt_baseuri": "mqtt", "api_mtls_uri": "api-mtls",
    "api_geo_baseuri": "api-geo", "mqtt_mtls_uri": "mqtt-mtls", "discover_uri": "größe"
  },
  "validation": {
    "mqtt_chain_pem64": "chain", "jws_pubkey": ["key 1", "key 2"],
    "tls_rootca_thumbprint_list": ["thumb"], "tls_leaf_cn_list": ["leaf"],
    "tls_thumbprint_list": ["response"], "allow_self_signed_cert": true
  },
  "device_subscription_list": ["subscription", "subscription"],
  "device_auth_type": "type"
})";

void ExpectFilled(const PlatformPolicy& policy) {
  EXPECT_EQ(policy.config_pull_triggers(), "pull"_w);
  EXPECT_EQ(policy.enterprise_auth_baseuri(), "enterprise"_w);
  EXPECT_EQ(policy.consumer_auth_baseuri(), "consumer"_w);
  EXPECT_EQ(policy.api_baseuri(), "api"_w);
  EXPECT_EQ(policy.discover_uri(), "größe"_w);
  EXPECT_EQ(policy.mqtt_baseuri(), "mqtt"_w);
  EXPECT_EQ(policy.api_mtls_uri(), "api-mtls"_w);
  EXPECT_EQ(policy.api_geo_baseuri(), "api-geo"_w);
  EXPECT_EQ(policy.mqtt_mtls_uri(), "mqtt-mtls"_w);
  EXPECT_EQ(policy.mqtt_chain_pem64(), "chain"_w);
  EXPECT_EQ(policy.device_auth_type(), "type"_w);
  EXPECT_EQ(policy.jws_pubkey(), (List{"key 1"_w, "key 2"_w}));
  EXPECT_EQ(policy.tls_rootca_thumbprint_list(), List{"thumb"_w});
  EXPECT_EQ(policy.tls_leaf_cn_list(), List{"leaf"_w});
  EXPECT_TRUE(policy.allow_self_signed_cert());
}

List Texts(const PlatformPolicy& policy) {
  return {policy.config_pull_triggers(),  policy.enterprise_auth_baseuri(),
          policy.consumer_auth_baseuri(), policy.api_baseuri(),
          policy.discover_uri(),          policy.mqtt_baseuri(),
          policy.api_mtls_uri(),          policy.api_geo_baseuri(),
          policy.mqtt_mtls_uri(),         policy.mqtt_chain_pem64(),
          policy.device_auth_type()};
}
std::vector<List> Lists(const PlatformPolicy& policy) {
  return {policy.jws_pubkey(), policy.tls_rootca_thumbprint_list(), policy.tls_leaf_cn_list(),
          policy.device_subscription_list()};
}

void ExpectEmpty(const PlatformPolicy& policy) {
  for (const WString& text : Texts(policy)) EXPECT_EQ(text, ""_w);
  for (const List& list : Lists(policy)) EXPECT_TRUE(list.empty());
  EXPECT_FALSE(policy.allow_self_signed_cert());
  EXPECT_EQ(policy.get_platform_policy_url(), "/configuration-service/v1/platform-policy"_w);
}

TEST(PolicyReadersTest, EmptyTextGivesADefaultRecordWithItsUrl) {
  ExpectEmpty(Flat(""));
  ExpectEmpty(PlatformPolicy::DeSerialize(""_w, true));
  ExpectEmpty(PlatformPolicy::DeSerializePlatformPolicyResponse(""_w));
}

TEST(PolicyReadersTest, WrappedFormFillsEveryField) {
  const PlatformPolicy policy = Wrapped(kFields);
  ExpectFilled(policy);
  EXPECT_EQ(policy.device_subscription_list(), (List{"subscription"_w, "subscription"_w}));
}

TEST(PolicyReadersTest, FlatFormIgnoresSubscriptionsInTheRoot) {
  const PlatformPolicy policy = Flat(kFields);
  ExpectFilled(policy);
  EXPECT_TRUE(policy.device_subscription_list().empty());
}

TEST(PolicyReadersTest, FlatFormReadsSubscriptionsInTheWrappedPosition) {
  const PlatformPolicy policy = Flat(R"({
    "device_subscription_list": ["ignored"], "device_auth_type": "type",
    "yox_config": {"platform_policy": {"device_subscription_list": ["a", "b"]}}})");
  EXPECT_EQ(policy.device_subscription_list(), (List{"a"_w, "b"_w}));
  EXPECT_EQ(policy.device_auth_type(), "type"_w);
}

TEST(PolicyReadersTest, WrappedReaderFindsNothingInAFlatDocument) {
  ExpectEmpty(PlatformPolicy::DeSerialize(String::UTF8ToUTF16(kFields), true));
}

TEST(PolicyReadersTest, SelfSignedSettingIsTakenFromABooleanAlone) {
  const auto setting = [](const std::string& value) {
    return Flat(R"({"validation": {"allow_self_signed_cert": )" + value + "}}")
        .allow_self_signed_cert();
  };
  EXPECT_TRUE(setting("true"));
  EXPECT_FALSE(setting("false"));
  EXPECT_FALSE(setting(R"("true")"));
  EXPECT_FALSE(setting("1"));
  EXPECT_FALSE(setting("null"));
  EXPECT_FALSE(setting("[true]"));
}

TEST(PolicyReadersTest, ListThatIsNoArrayIsEmpty) {
  EXPECT_TRUE(Flat(R"({"validation": {"jws_pubkey": "abc"}})").jws_pubkey().empty());
  EXPECT_TRUE(Flat(R"({"validation": {"jws_pubkey": []}})").jws_pubkey().empty());
  EXPECT_TRUE(Flat(R"({"validation": {"jws_pubkey": {"a": "b"}}})").jws_pubkey().empty());
}

TEST(PolicyReadersTest, NumbersAndBooleansBecomeText) {
  const PlatformPolicy policy = Flat(
      R"({"config_pull_triggers": 7, "device_auth_type": true, "uri": null,
          "validation": {"tls_leaf_cn_list": ["a", 1, null]}})");
  EXPECT_EQ(policy.config_pull_triggers(), "7"_w);
  EXPECT_EQ(policy.device_auth_type(), "true"_w);
  EXPECT_EQ(policy.tls_leaf_cn_list(), (List{"a"_w, "1"_w, ""_w}));
}

// The fields in the order in which they are read: do not edit.
struct ReadField {
  const char* path;  // below "platform_policy"
  bool (*filled)(const PlatformPolicy&);
};
#define FILLED(name) [](const PlatformPolicy& policy) { return !policy.name().empty(); }
constexpr ReadField kReadingOrder[] = {
    {"config_pull_triggers", FILLED(config_pull_triggers)},
    {"uri.enterprise_auth_baseuri", FILLED(enterprise_auth_baseuri)},
    {"uri.consumer_auth_baseuri", FILLED(consumer_auth_baseuri)},
    {"uri.api_baseuri", FILLED(api_baseuri)},
    {"uri.mqtt_baseuri", FILLED(mqtt_baseuri)},
    {"uri.api_mtls_uri", FILLED(api_mtls_uri)},
    {"uri.api_geo_baseuri", FILLED(api_geo_baseuri)},
    {"uri.mqtt_mtls_uri", FILLED(mqtt_mtls_uri)},
    {"validation.mqtt_chain_pem64", FILLED(mqtt_chain_pem64)},
    {"uri.discover_uri", FILLED(discover_uri)},
    {"validation.jws_pubkey", FILLED(jws_pubkey)},
    {"validation.tls_rootca_thumbprint_list", FILLED(tls_rootca_thumbprint_list)},
    {"validation.tls_leaf_cn_list", FILLED(tls_leaf_cn_list)},
    {"device_subscription_list", FILLED(device_subscription_list)},
    {"validation.allow_self_signed_cert",
     [](const PlatformPolicy& policy) { return policy.allow_self_signed_cert(); }},
    {"device_auth_type", FILLED(device_auth_type)},
};
#undef FILLED

TEST(PolicyReadersTest, FieldsAreReadInTheirOrderUntilOneCannotBeConverted) {
  for (std::size_t bad = 0; bad < std::size(kReadingOrder); ++bad) {
    Json::Value fields = yox::ParseDocument(kFields);
    Json::Value& value = Json::Path(std::string(".") + kReadingOrder[bad].path).make(fields);
    if (value.isBool()) continue;  // a flag takes any value
    (value.isArray() ? value[0] : value) = Json::Value(Json::objectValue);
    const PlatformPolicy policy = Wrapped(fields.toStyledString());
    for (std::size_t i = 0; i < std::size(kReadingOrder); ++i) {
      EXPECT_EQ(kReadingOrder[i].filled(policy), i < bad)
          << kReadingOrder[i].path << " when " << kReadingOrder[bad].path << " is an object";
    }
  }
}

TEST(PolicyReadersTest, ValueThatCannotBeConvertedEndsTheReading) {
  const PlatformPolicy number = Flat(R"({"config_pull_triggers": "read", "uri": 5,
                                         "device_auth_type": "not reached"})");
  EXPECT_EQ(number.config_pull_triggers(), "read"_w);
  EXPECT_EQ(number.device_auth_type(), ""_w);
  const PlatformPolicy object = Flat(R"({"uri": {"api_baseuri": "read", "mqtt_baseuri": {}},
                                         "device_auth_type": "not reached"})");
  EXPECT_EQ(object.api_baseuri(), "read"_w);
  EXPECT_EQ(object.device_auth_type(), ""_w);
}

TEST(PolicyReadersTest, ResponseReadsItsOwnKeyAlone) {
  const PlatformPolicy policy = Response(kFields);
  EXPECT_EQ(policy.tls_rootca_thumbprint_list(), List{"response"_w});
  EXPECT_EQ(policy.api_baseuri(), ""_w);
  EXPECT_EQ(policy.mqtt_chain_pem64(), ""_w);
  EXPECT_TRUE(policy.jws_pubkey().empty());
  EXPECT_TRUE(policy.device_subscription_list().empty());
  EXPECT_FALSE(policy.allow_self_signed_cert());
}

TEST(PolicyReadersTest, ResponseIgnoresTheKeyOfTheStoredDocument) {
  ExpectEmpty(Response(R"({"validation": {"tls_rootca_thumbprint_list": ["thumb"]}})"));
}

TEST(PolicyReadersTest, ResponseIsReadInTheWrappedFormOnly) {
  ExpectEmpty(PlatformPolicy::DeSerializePlatformPolicyResponse(
      R"({"validation": {"tls_thumbprint_list": ["thumb"]}})"_w));
}

bool IsFilled(const PlatformPolicy& policy) {
  const auto filled = [](const auto& value) { return !value.empty(); };
  return std::ranges::any_of(Texts(policy), filled) || std::ranges::any_of(Lists(policy), filled) ||
         policy.allow_self_signed_cert();
}

// Adds the paths of the keys of kFields that some reader reads when the document contains nothing
// else, and of the objects around them, each with `prefix` before it. kFields has all keys.
void AddPathsThatAreRead(const std::string& prefix, const Json::Value& fields,
                         std::set<std::string>& paths) {
  for (const std::string& key : fields.getMemberNames()) {
    const std::string path = prefix + key;
    if (fields[key].isObject()) {
      AddPathsThatAreRead(path + ".", fields[key], paths);
      continue;
    }
    Json::Value document;
    Json::Path("." + path).make(document) = fields[key];
    const WString json = String::UTF8ToUTF16(document.toStyledString());
    if (IsFilled(PlatformPolicy::DeSerialize(json, true)) ||
        IsFilled(PlatformPolicy::DeSerialize(json, false)) ||
        IsFilled(PlatformPolicy::DeSerializePlatformPolicyResponse(json))) {
      for (std::size_t end = 0; end != std::string::npos;) {
        end = path.find('.', end + 1);
        paths.insert(path.substr(0, end));
      }
    }
  }
}

TEST(PolicyReadersTest, TheSchemaHasTheKeysThatAreRead) {
  const Json::Value fields = yox::ParseDocument(kFields);
  std::set<std::string> paths;
  AddPathsThatAreRead("", fields, paths);
  AddPathsThatAreRead("yox_config.platform_policy.", fields, paths);
  EXPECT_EQ(yox_test::SchemaPaths("schemas/policy.schema.json"),
            std::vector<std::string>(paths.begin(), paths.end()));
}

struct Hostile {
  const char* name;
  std::string json;
};

class HostilePolicyTest : public testing::TestWithParam<Hostile> {};

TEST_P(HostilePolicyTest, GivesADefaultRecord) {
  const WString json = String::UTF8ToUTF16(GetParam().json);
  ExpectEmpty(PlatformPolicy::DeSerialize(json, false));
  ExpectEmpty(PlatformPolicy::DeSerialize(json, true));
  ExpectEmpty(PlatformPolicy::DeSerializePlatformPolicyResponse(json));
}

INSTANTIATE_TEST_SUITE_P(Rows, HostilePolicyTest,
                         testing::Values(Hostile{"CutShort", R"({"config_pull_triggers": "pull")"},
                                         Hostile{"Number", "17"}, Hostile{"Text", R"("text")"},
                                         Hostile{"Array", "[1]"}, Hostile{"Null", "null"},
                                         Hostile{"WrapperIsANumber", R"({"yox_config": 1})"},
                                         Hostile{"DeeplyNested", std::string(100000, '[')},
                                         Hostile{"ManyObjects",
                                                 [] {
                                                   std::string deep;
                                                   for (int i = 0; i < 5000; ++i)
                                                     deep += R"({"uri":)";
                                                   return deep;
                                                 }()}),
                         yox_test::RowName());

}  // namespace
