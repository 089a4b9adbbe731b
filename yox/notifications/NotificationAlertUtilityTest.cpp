#include <gtest/gtest.h>

#include <utility>

#include "yox/base/String.h"
#include "yox/notifications/NotificationAlertUtility.h"

namespace {

using namespace yox::literals;
using YOX::String;
using yox::WString;

TEST(NotificationAlertUtilityTest, ADeviceActionStateArrivesWithItsArguments) {
  YOXNotificationData record;
  NotificationAlertUtility::ConstructKXPPayloadForDeviceActionState(
      3, "command"_w, "reason \xC3\xA9"_w, "parameter"_w, "2026-03-01"_w, record);
  EXPECT_TRUE(record.isKXPNotification());
  EXPECT_EQ(record.getMessageType(), "deviceactionstate"_w);
  EXPECT_EQ(record.getDeviceActionState(), "3"_w);
  EXPECT_EQ(record.getFieldValue("value"_w), "3"_w);
  EXPECT_EQ(record.getFieldValue("failure_reason"_w), "reason \xC3\xA9"_w);
  EXPECT_EQ(record.getFieldValue("action_cmd"_w), "command"_w);
  EXPECT_EQ(record.getFieldValue("action_param"_w), "parameter"_w);
  EXPECT_EQ(record.getFieldValue("at"_w), "2026-03-01"_w);
}

TEST(NotificationAlertUtilityTest, TheRecordIsReplacedAsAWhole) {
  YOXNotificationData record(30, 307, "payload"_w);
  record.setTopic("a/app/b"_w);
  record.setNotificationProvider(NotificationProvider{4});
  NotificationAlertUtility::ConstructKXPPayloadForDeviceActionState(-7, ""_w, ""_w, ""_w, ""_w,
                                                                    record);
  EXPECT_EQ(record.getTopicId(), -1);
  EXPECT_EQ(record.getTopic(), WString());
  EXPECT_EQ(record.getNotificationProvider(), NotificationProvider{0});
  EXPECT_EQ(record.getDeviceActionState(), "-7"_w);
}

TEST(NotificationAlertUtilityTest, AnAlertThatWouldBecomeVeryLargeIsRefused) {
  Json::Value param;
  for (int depth = 0; depth < 900; ++depth) {
    Json::Value outer;
    outer["a"] = std::move(param);
    param = std::move(outer);
  }
  Json::Value params(Json::arrayValue);
  for (int i = 0; i < 10; ++i) params.append(param);
  YOXNotificationData record(30, 307, "payload"_w);
  EXPECT_THROW(NotificationAlertUtility::ConstructKXPPayload("kind"_w, params, record),
               Json::RuntimeError);
  EXPECT_EQ(record.getPayload(), "payload"_w);
}

TEST(NotificationAlertUtilityTest, AnAlertTakesAnyParameters) {
  Json::Value param;
  param["number"] = 5;
  param["text"] = "t";
  YOXNotificationData record;
  NotificationAlertUtility::ConstructKXPPayload("kind"_w, param, record);
  EXPECT_EQ(record.getMessageType(), "kind"_w);
  EXPECT_EQ(record.getFieldValue("text"_w), "t"_w);
  EXPECT_EQ(String::UTF16ToUTF8(record.getPayload()),
            "{\n\t\"kxp-message\" : \n\t{\n\t\t\"alert\" : \n\t\t{\n\t\t\t\"notify\" : \"kind\",\n"
            "\t\t\t\"param\" : \n\t\t\t{\n\t\t\t\t\"number\" : 5,\n\t\t\t\t\"text\" : \"t\"\n"
            "\t\t\t}\n\t\t}\n\t}\n}");
}

}  // namespace
