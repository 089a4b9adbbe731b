#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/value.h>

#include <sstream>
#include <string>
#include <utility>

#include "yox/base/String.h"
#include "yox/notifications/YOXNotificationData.h"

#include "tests/support/Rows.h"

namespace {

using namespace yox::literals;
using YOX::String;
using yox::WString;

Json::Value ReadWithJsonCpp(const WString& text) {
  Json::Value root;
  std::istringstream stream(String::UTF16ToUTF8(text));
  stream >> root;
  return root;
}

TEST(NotificationDataTest, ADefaultRecordIsOfNeitherKind) {
  const YOXNotificationData record;
  EXPECT_EQ(record.getTopicId(), -1);
  EXPECT_EQ(record.getEventState(), -1);
  EXPECT_EQ(record.getNotificationProvider(), NotificationProvider{0});
  EXPECT_FALSE(record.isKXPNotification());
  EXPECT_FALSE(record.isExtensionNotification());
}

TEST(NotificationDataTest, RecordsOfOneTopicAreEqualAndUnequalAtOnce) {
  const YOXNotificationData one(30, 307, "a"_w);
  const YOXNotificationData two(30, 1, "b"_w);
  EXPECT_TRUE(one.isEqual(two));
  EXPECT_TRUE(one == two);
  EXPECT_TRUE(one != two);
}

TEST(NotificationDataTest, RecordsOfDifferentTopicsAreNeitherEqualNorUnequal) {
  const YOXNotificationData one(30, 307, ""_w);
  const YOXNotificationData two(31, 307, ""_w);
  EXPECT_FALSE(one.isEqual(two));
  EXPECT_FALSE(one == two);
  EXPECT_FALSE(one != two);
}

TEST(NotificationDataTest, ATopicWithAppInItsMiddleIsAnExtensions) {
  YOXNotificationData record;
  for (const auto& [topic, expected] : {std::pair{"device/app/7"_w, true},
                                        {"device/APP/7"_w, false},
                                        {"/app"_w, false},
                                        {"/app/"_w, true},
                                        {""_w, false}}) {
    record.setTopic(topic);
    EXPECT_EQ(record.isExtensionNotification(), expected) << String::UTF16ToUTF8(topic);
  }
}

TEST(NotificationDataTest, AnInternalRecordHasNoFields) {
  const YOXNotificationData record(30, 307, R"({"key": "value"})"_w);
  EXPECT_EQ(record.getFieldValue("key"_w), WString());
  EXPECT_EQ(record.getFieldValue(""_w), WString());
}

TEST(NotificationDataTest, SettersAndGettersAreOfTheSameField) {
  YOXNotificationData record;
  record.setTopicId(1);
  record.setEventState(2);
  record.setPayload("p"_w);
  record.setMessageType("m"_w);
  record.setActionType("a"_w);
  record.setLogStatus("s"_w);
  record.setLogLevel("l"_w);
  record.setTopic("t"_w);
  record.setDeviceActionState("d"_w);
  EXPECT_EQ(record.setNotificationProvider(NotificationProvider{5}), NotificationProvider{5});
  EXPECT_EQ(record.getTopicId(), 1);
  EXPECT_EQ(record.getEventState(), 2);
  EXPECT_EQ(record.getPayload(), "p"_w);
  EXPECT_EQ(record.getMessageType(), "m"_w);
  EXPECT_EQ(record.getActionType(), "a"_w);
  EXPECT_EQ(record.getLogStatus(), "s"_w);
  EXPECT_EQ(record.getLogLevel(), "l"_w);
  EXPECT_EQ(record.getTopic(), "t"_w);
  EXPECT_EQ(record.getDeviceActionState(), "d"_w);
  EXPECT_EQ(record.getNotificationProvider(), NotificationProvider{5});
}

YOXNotificationData FullRecord() {
  YOXNotificationData record(
      R"({"kxp-message": {"alert": {"notify": "deviceactionstate", "param": {"value": "3"}}}})"_w,
      true);
  record.setTopicId(4);
  record.setEventState(5);
  record.setActionType("action"_w);
  record.setLogStatus("status"_w);
  record.setLogLevel("level"_w);
  record.setTopic("a/app/b"_w);
  record.setNotificationProvider(NotificationProvider{6});
  return record;
}

void ExpectFull(const YOXNotificationData& record) {
  const YOXNotificationData full = FullRecord();
  EXPECT_TRUE(record.isKXPNotification());
  EXPECT_EQ(record.getTopicId(), 4);
  EXPECT_EQ(record.getEventState(), 5);
  EXPECT_EQ(record.getPayload(), full.getPayload());
  EXPECT_EQ(record.getMessageType(), "deviceactionstate"_w);
  EXPECT_EQ(record.getActionType(), "action"_w);
  EXPECT_EQ(record.getMessageForKXP(), full.getMessageForKXP());
  EXPECT_EQ(record.getLogStatus(), "status"_w);
  EXPECT_EQ(record.getLogLevel(), "level"_w);
  EXPECT_EQ(record.getFieldValue("value"_w), "3"_w);
  EXPECT_EQ(record.getTopic(), "a/app/b"_w);
  EXPECT_EQ(record.getDeviceActionState(), "3"_w);
  EXPECT_EQ(record.getNotificationProvider(), NotificationProvider{6});
}

TEST(NotificationDataTest, EveryWayOfCopyingKeepsEveryField) {
  YOXNotificationData record = FullRecord();
  YOXNotificationData copy(record);
  ExpectFull(copy);
  YOXNotificationData assigned;
  assigned = record;
  ExpectFull(assigned);
  const YOXNotificationData moved(std::move(copy));
  ExpectFull(moved);
  YOXNotificationData move_assigned;
  move_assigned = std::move(assigned);
  ExpectFull(move_assigned);
}

TEST(NotificationDataTest, AnInternalEnvelopeHasItsCommandsAsNulls) {
  const Json::Value root =
      ReadWithJsonCpp(YOXNotificationData(30, 307, "text \xC3\xA9"_w).getJsonMessage());
  EXPECT_EQ(root.size(), 6U);
  EXPECT_TRUE(root.isMember("cmd") && root["cmd"].isNull());
  EXPECT_TRUE(root.isMember("cmd_type") && root["cmd_type"].isNull());
  EXPECT_EQ(root["notification_type"], Json::Value("yox"));
  EXPECT_EQ(root["topicId"], Json::Value(30));
  EXPECT_EQ(root["eventState"], Json::Value(307));
  EXPECT_EQ(root["payload"], Json::Value("text \xC3\xA9"));
}

TEST(NotificationDataTest, TheEnvelopeIsStyledText) {
  EXPECT_EQ(String::UTF16ToUTF8(YOXNotificationData(30, 307, ""_w).getJsonMessage()),
            "{\n\t\"cmd\" : null,\n\t\"cmd_type\" : null,\n\t\"eventState\" : 307,\n"
            "\t\"notification_type\" : \"yox\",\n\t\"payload\" : \"\",\n\t\"topicId\" : 30\n}\n");
}

TEST(NotificationDataTest, AChannelEnvelopeIsItsMessageAndFourKeys) {
  YOXNotificationData record(R"({"kxp-message": {"alert": {"notify": "x"}}})"_w, true);
  record.setTopicId(30);
  record.setEventState(307);
  const Json::Value root = ReadWithJsonCpp(record.getJsonMessage());
  EXPECT_EQ(root.size(), 5U);
  EXPECT_EQ(root["kxp-message"]["alert"]["notify"], Json::Value("x"));
  EXPECT_EQ(root["notification_type"], Json::Value("kxp"));
  EXPECT_EQ(root["topicId"], Json::Value(0));
  EXPECT_EQ(root["eventState"], Json::Value(0));
  EXPECT_EQ(root["payload"], Json::Value(""));
}

TEST(NotificationDataTest, AChannelEnvelopeWithoutAMessageHasTheFourKeysAlone) {
  const Json::Value root =
      ReadWithJsonCpp(YOXNotificationData("not JSON"_w, true).getJsonMessage());
  EXPECT_EQ(root.size(), 4U);
  EXPECT_EQ(root["notification_type"], Json::Value("kxp"));
}

TEST(NotificationDataTest, AnEnvelopeThatCannotBeWrittenIsEmpty) {
  // The message is an array, which takes no keys beside it.
  EXPECT_EQ(YOXNotificationData("[1]"_w, true).getJsonMessage(), WString());
}

TEST(NotificationDataTest, ADefaultRecordsEnvelopeHasNoType) {
  const Json::Value root = ReadWithJsonCpp(YOXNotificationData().getJsonMessage());
  EXPECT_EQ(root["notification_type"], Json::Value(""));
  EXPECT_EQ(root["topicId"], Json::Value(-1));
  EXPECT_EQ(root["eventState"], Json::Value(-1));
}

TEST(NotificationDataTest, AnEnvelopeGivesBackTopicEventAndPayloadAndNothingElse) {
  YOXNotificationData record(30, 307, "payload \xF0\x9F\x98\x80"_w);
  record.setTopic("topic"_w);
  record.setMessageType("type"_w);
  record.setNotificationProvider(NotificationProvider{3});
  const YOXNotificationData read(record.getJsonMessage(), false);
  EXPECT_EQ(read.getTopicId(), 30);
  EXPECT_EQ(read.getEventState(), 307);
  EXPECT_EQ(read.getPayload(), record.getPayload());
  EXPECT_EQ(read.getTopic(), WString());
  EXPECT_EQ(read.getMessageType(), WString());
  EXPECT_EQ(read.getNotificationProvider(), NotificationProvider{0});
  EXPECT_FALSE(read.isKXPNotification());
}

struct EnvelopeRow {
  const char* name;
  const char* text;
  int topic;
  int event;
  const char* payload;
};

class EnvelopeTest : public testing::TestWithParam<EnvelopeRow> {};

TEST_P(EnvelopeTest, IsReadAsFarAsItGoes) {
  const YOXNotificationData record(String::UTF8ToUTF16(GetParam().text), false);
  EXPECT_EQ(record.getTopicId(), GetParam().topic);
  EXPECT_EQ(record.getEventState(), GetParam().event);
  EXPECT_EQ(String::UTF16ToUTF8(record.getPayload()), GetParam().payload);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, EnvelopeTest,
    testing::Values(
        EnvelopeRow{"AnEmptyObjectIsAllZero", "{}", 0, 0, ""},
        EnvelopeRow{"NullIsAllZero", "null", 0, 0, ""},
        EnvelopeRow{"NoJsonChangesNothing", "{\"topicId\": 5", -1, -1, ""},
        EnvelopeRow{"NothingChangesNothing", "", -1, -1, ""},
        EnvelopeRow{"AnArrayChangesNothing", "[1, 2]", -1, -1, ""},
        EnvelopeRow{"AnEventOfTheWrongTypeEndsTheReading",
                    R"({"topicId": 5, "eventState": "6", "payload": "p"})", 5, -1, ""},
        EnvelopeRow{"ATopicOfTheWrongTypeEndsTheReading",
                    R"({"topicId": [], "eventState": 6, "payload": "p"})", -1, -1, ""},
        EnvelopeRow{"ATopicTooLargeEndsTheReading", R"({"topicId": 4294967296})", -1, -1, ""},
        EnvelopeRow{"APayloadOfTheWrongTypeStaysEmpty",
                    R"({"topicId": 5, "eventState": 6, "payload": {}})", 5, 6, ""},
        EnvelopeRow{"ABooleanIsANumber", R"({"topicId": true})", 1, 0, ""},
        EnvelopeRow{"ANumberIsAText", R"({"payload": 12})", 0, 0, "12"},
        EnvelopeRow{"TheTypeIsNotRead", R"({"notification_type": "kxp", "topicId": 5})", 5, 0, ""},
        EnvelopeRow{"TheLastOfARepeatedKeyCounts", R"({"topicId": 5, "topicId": 6})", 6, 0, ""},
        EnvelopeRow{"CommentsAreAccepted", "/* c */ {\"topicId\": 5} // d", 5, 0, ""},
        EnvelopeRow{"ALoneSurrogateChangesNothing", R"({"topicId": 5, "payload": "\uD800"})", -1,
                    -1, ""},
        EnvelopeRow{"AHugeNumberEndsTheReading", R"({"topicId": 1e300})", -1, -1, ""}),
    yox_test::RowName());

TEST(NotificationDataTest, NestingIsBounded) {
  for (const bool channel : {false, true}) {
    for (const char* const bracket : {"[", "{\"a\":"}) {
      WString text;
      for (int i = 0; i < 200'000; ++i) text += String::UTF8ToUTF16(bracket);
      const YOXNotificationData record(text, channel);
      EXPECT_EQ(record.getTopicId(), -1);
      EXPECT_EQ(record.getMessageForKXP(), WString());
    }
  }
}

}  // namespace
