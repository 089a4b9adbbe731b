// The payload documents of internal notifications.
#include <gtest/gtest.h>

#include <string>

#include "yox/base/String.h"
#include "yox/notifications/YOXNotificationData.h"

#include "tests/support/Encodings.h"
#include "tests/support/Rows.h"

namespace {

using namespace yox::literals;
using YOX::String;
using yox::WString;
using yox_test::Utf8;

YOXNotificationData WithPayload(WString payload) { return {1, 1, std::move(payload)}; }
YOXNotificationData WithPayload(const char* payload) {
  return WithPayload(String::UTF8ToUTF16(payload));
}

TEST(NotificationPayloadsTest, DocumentsAreCompactAndWrapped) {
  const YOXNotificationData record;
  EXPECT_EQ(Utf8(record.constructPayloadOnYOXPolicyChange(true, false, true, false, "a"_w, "b"_w,
                                                          "c"_w, "d"_w)),
            R"({"policy_change":{"device_path_change":true,"device_path_value":"a",)"
            R"("device_subscription_change":false,"device_subscription_value":"b",)"
            R"("mqtt_connect_frequency_change":false,"mqtt_connect_frequency_value":"d",)"
            R"("mqtt_scope_change":true,"mqtt_scope_value":"c"}})");
  EXPECT_EQ(Utf8(record.constructPayloadOnDeviceRegistration(true, "type"_w, "source"_w,
                                                             "d\xC3\xA9", -5)),
            R"({"device_registration":{"delay":-5,"device_id":"d\u00e9",)"
            R"("has_registration_attempted_success":true,"registration_trigger_source":"source",)"
            R"("registration_trigger_type":"type"}})");
  EXPECT_EQ(Utf8(record.constructPayloadOnConfigChangeDuringStartup(true)),
            R"({"config_change":{"is_trigger_source_startup":true}})");
  EXPECT_EQ(Utf8(record.constructPayloadForForceConfigFetch(4294967295)),
            R"({"config_fetch":{"pull_trigger_in_minutes":4294967295}})");
}

TEST(NotificationPayloadsTest, APackageEventHasNoWrapper) {
  const WString text = YOXNotificationData().serializePayloadForPackageEvent(
      "id"_w, "type"_w, "name"_w, "version"_w, "trigger"_w);
  EXPECT_EQ(Utf8(text), R"({"PackageId":"id","PackageName":"name","PackageTrigger":"trigger",)"
                        R"("PackageType":"type","PackageVersion":"version"})");
  WString id, type, name, version, trigger;
  WithPayload(text).deserializePayloadForPackageEvent(id, type, name, version, trigger);
  EXPECT_EQ(id, "id"_w);
  EXPECT_EQ(type, "type"_w);
  EXPECT_EQ(name, "name"_w);
  EXPECT_EQ(version, "version"_w);
  EXPECT_EQ(trigger, "trigger"_w);
}

TEST(NotificationPayloadsTest, AnInvokeCommandIsStyledText) {
  const YOXNotificationData record;
  EXPECT_EQ(record.constructPayloadForInvokeCommand({{"key", "v\xC3\xA9"}}),
            "{\n\t\"key\" : \"v\\u00e9\"\n}");
  EXPECT_EQ(record.constructPayloadForInvokeCommand({}), "{}");
}

TEST(NotificationPayloadsTest, BuildingDoesNotTouchTheRecord) {
  YOXNotificationData record(3, 4, "payload"_w);
  record.constructPayloadForForceConfigFetch(5);
  record.serializePayloadForPackageEvent("a"_w, "b"_w, "c"_w, "d"_w, "e"_w);
  EXPECT_EQ(record.getTopicId(), 3);
  EXPECT_EQ(record.getPayload(), "payload"_w);
}

TEST(NotificationPayloadsTest, APolicyChangeGivesBackPathAndSubscription) {
  const YOXNotificationData record;
  const WString text = record.constructPayloadOnYOXPolicyChange(
      true, true, true, true, "path"_w, "subscription"_w, "scope"_w, "frequency"_w);
  bool path_changed = false, subscription_changed = false;
  WString path, subscription;
  record.deserializePayloadForYoxPolicy(text, path_changed, subscription_changed, path,
                                        subscription);
  EXPECT_TRUE(path_changed);
  EXPECT_TRUE(subscription_changed);
  EXPECT_EQ(path, "path"_w);
  EXPECT_EQ(subscription, "subscription"_w);
}

TEST(NotificationPayloadsTest, ThePolicyIsReadFromTheTextAndNotFromTheRecord) {
  bool path_changed = true, subscription_changed = true;
  WString path = "p"_w, subscription = "s"_w;
  WithPayload(R"({"policy_change": {"device_path_value": "own"}})")
      .deserializePayloadForYoxPolicy("{}"_w, path_changed, subscription_changed, path,
                                      subscription);
  EXPECT_FALSE(path_changed);
  EXPECT_FALSE(subscription_changed);
  EXPECT_EQ(path, WString());
  EXPECT_EQ(subscription, WString());
}

TEST(NotificationPayloadsTest, MqttKeysOfAnyKindAreIgnored) {
  bool path_changed = false, subscription_changed = false;
  WString path, subscription;
  YOXNotificationData().deserializePayloadForYoxPolicy(
      R"({"policy_change": {"device_path_change": true, "mqtt_scope_change": [1],
          "mqtt_scope_value": {}, "device_subscription_value": "s"}})"_w,
      path_changed, subscription_changed, path, subscription);
  EXPECT_TRUE(path_changed);
  EXPECT_EQ(subscription, "s"_w);
}

struct RegistrationRow {
  const char* name;
  const char* text;
  bool success;
  const char* type;
  const char* device;
  int delay;
};

class RegistrationTest : public testing::TestWithParam<RegistrationRow> {};

// The arguments begin as true, "t", "s", "d" and 77.
TEST_P(RegistrationTest, IsReadAsFarAsItGoes) {
  bool success = true;
  WString type = "t"_w, source = "s"_w, device = "d"_w;
  std::int32_t delay = 77;
  WithPayload(GetParam().text)
      .deserializePayloadForDeviceRegistration(success, type, source, device, delay);
  EXPECT_EQ(success, GetParam().success);
  EXPECT_EQ(Utf8(type), GetParam().type);
  EXPECT_EQ(Utf8(device), GetParam().device);
  EXPECT_EQ(delay, GetParam().delay);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RegistrationTest,
    testing::Values(
        RegistrationRow{"ADelayIsANumber",
                        R"({"device_registration": {"device_id": "x", "delay": 30}})", false, "",
                        "x", 30},
        RegistrationRow{"ADelayMayBeAText",
                        R"({"device_registration": {"device_id": "x", "delay": "30"}})", false, "",
                        "x", 30},
        RegistrationRow{"ADelayMayHaveMoreBehindIt",
                        R"({"device_registration": {"delay": " -12 min"}})", false, "", "", -12},
        RegistrationRow{"AFractionIsCut", R"({"device_registration": {"delay": 1.75}})", false, "",
                        "", 1},
        RegistrationRow{"AMissingDelayKeepsItsValue",
                        R"({"device_registration": {"has_registration_attempted_success": true,
                            "registration_trigger_type": "manual", "device_id": "x"}})",
                        true, "manual", "x", 77},
        RegistrationRow{"ADelayThatIsNoNumberKeepsItsValue",
                        R"({"device_registration": {"delay": "soon"}})", false, "", "", 77},
        RegistrationRow{"ADelayOutOfRangeKeepsItsValue",
                        R"({"device_registration": {"delay": 2147483648}})", false, "", "", 77},
        RegistrationRow{"AMissingWrapperReadsAsEmpty", "{}", false, "", "", 77},
        RegistrationRow{"AWrapperOfTheWrongTypeChangesNothing", R"({"device_registration": "x"})",
                        true, "t", "d", 77},
        RegistrationRow{"ATypeOfTheWrongTypeEndsTheReading",
                        R"({"device_registration": {"registration_trigger_type": {},
                            "device_id": "x"}})",
                        false, "t", "d", 77},
        RegistrationRow{"NoJsonChangesNothing", "registration", true, "t", "d", 77}),
    yox_test::RowName());

TEST(NotificationPayloadsTest, ARegistrationReadsBackWhole) {
  const WString text = YOXNotificationData().constructPayloadOnDeviceRegistration(
      true, "type"_w, "source"_w, "device", -2147483647 - 1);
  bool success = false;
  WString type, source, device;
  std::int32_t delay = 0;
  WithPayload(text).deserializePayloadForDeviceRegistration(success, type, source, device, delay);
  EXPECT_TRUE(success);
  EXPECT_EQ(type, "type"_w);
  EXPECT_EQ(source, "source"_w);
  EXPECT_EQ(device, "device"_w);
  EXPECT_EQ(delay, -2147483647 - 1);
}

TEST(NotificationPayloadsTest, TheDeviceIdIsReadByItself) {
  const auto id = [](const char* text) {
    return Utf8(WithPayload(text).getDeviceIdFromRegistrationPayload());
  };
  EXPECT_EQ(id(R"({"device_registration": {"device_id": "x"}})"), "x");
  EXPECT_EQ(id(R"({"device_registration": {}})"), "");
  EXPECT_EQ(id(R"({"device_registration": [1]})"), "");
  EXPECT_EQ(id(R"({"device_id": "x"})"), "");
  EXPECT_EQ(id("no"), "");
}

TEST(NotificationPayloadsTest, AFetchInZeroMinutesIsANumber) {
  const WString text = YOXNotificationData().constructPayloadForForceConfigFetch(0);
  EXPECT_EQ(Utf8(text), R"({"config_fetch":{"pull_trigger_in_minutes":0}})");
  for (const WString& payload : {text, R"({"config_fetch": {}})"_w, "{}"_w}) {
    std::uint32_t minutes = 9;
    WithPayload(payload).deserializePayloadForForceConfigFetch(minutes);
    EXPECT_EQ(minutes, 0U);
  }
}

TEST(NotificationPayloadsTest, AFetchThatCannotBeReadKeepsItsValue) {
  for (const char* payload :
       {"no", R"({"config_fetch": {"pull_trigger_in_minutes": -1}})",
        R"({"config_fetch": {"pull_trigger_in_minutes": "5"}})", R"({"config_fetch": 5})"}) {
    std::uint32_t minutes = 9;
    WithPayload(payload).deserializePayloadForForceConfigFetch(minutes);
    EXPECT_EQ(minutes, 9U) << payload;
  }
}

TEST(NotificationPayloadsTest, AConfigChangeReadsBack) {
  const YOXNotificationData record;
  for (const bool startup : {true, false}) {
    bool read = !startup;
    WithPayload(record.constructPayloadOnConfigChangeDuringStartup(startup))
        .deserializePayloadForConfigChangeDuringStartup(read);
    EXPECT_EQ(read, startup);
  }
  bool read = true;
  WithPayload("{}").deserializePayloadForConfigChangeDuringStartup(read);
  EXPECT_FALSE(read);
}

TEST(NotificationPayloadsTest, LoneSurrogatesAndZerosAreWrittenAndRead) {
  WString odd = "a"_w;
  odd += yox::WChar{0xD800};
  odd += yox::WChar{0};
  odd += yox::WChar{'b'};
  const WString text =
      YOXNotificationData().serializePayloadForPackageEvent(odd, ""_w, ""_w, ""_w, ""_w);
  WString id, other;
  WithPayload(text).deserializePayloadForPackageEvent(id, other, other, other, other);
  odd[1] = yox::WChar{0xFFFD};
  EXPECT_EQ(id, odd);
}

}  // namespace
