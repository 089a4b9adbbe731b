// Channel notifications, read and written by the record.
#include <gtest/gtest.h>

#include <chrono>
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

YOXNotificationData Channel(const std::string& text) { return {String::UTF8ToUTF16(text), true}; }

struct MessageRow {
  const char* name;
  const char* text;
  const char* type = "";
  const char* action = "";
  const char* status = "";
  const char* level = "";
  const char* state = "";
};

class ChannelMessageTest : public testing::TestWithParam<MessageRow> {};

TEST_P(ChannelMessageTest, FillsTheRecord) {
  const YOXNotificationData record = Channel(GetParam().text);
  EXPECT_TRUE(record.isKXPNotification());
  EXPECT_EQ(Utf8(record.getMessageType()), GetParam().type);
  EXPECT_EQ(Utf8(record.getActionType()), GetParam().action);
  EXPECT_EQ(Utf8(record.getLogStatus()), GetParam().status);
  EXPECT_EQ(Utf8(record.getLogLevel()), GetParam().level);
  EXPECT_EQ(Utf8(record.getDeviceActionState()), GetParam().state);
  EXPECT_EQ(record.getPayload(), String::UTF8ToUTF16(GetParam().text));
  EXPECT_EQ(record.getTopicId(), -1);
  EXPECT_EQ(record.getEventState(), -1);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ChannelMessageTest,
    testing::Values(
        MessageRow{"Alert", R"({"kxp-message": {"alert": {"notify": "hello"}}})", "hello"},
        MessageRow{"AnotherWrapperIsTheSame", R"({"x": {"alert": {"notify": "hello"}}})", "hello"},
        MessageRow{"NoWrapperIsTheSame", R"({"alert": {"notify": "hello"}})", "hello"},
        MessageRow{"TheKeysMayStandAnywhere", R"({"alert": {}, "z": {"notify": "hello"}})",
                   "hello"},
        MessageRow{"AnAlertThatIsATextIsNone", R"({"alert": "yes", "notify": "hello"})"},
        MessageRow{"AnAlertThatIsAnEmptyTextIsOne", R"({"alert": "", "notify": "hello"})", "hello"},
        MessageRow{"AnAlertThatIsAnArrayIsNone", R"({"alert": [], "notify": "hello"})"},
        MessageRow{"AnAlertWithoutNotify", R"({"alert": {"param": {"a": "b"}}})"},
        MessageRow{"KeysAreExact", R"({"alert": {"Notify": "hello"}})"},
        MessageRow{"ADeviceActionState",
                   R"({"alert": {"notify": "deviceactionstate", "param": {"value": "3"}}})",
                   "deviceactionstate", "", "", "", "3"},
        MessageRow{"AStateThatIsANumberIsNotFound",
                   R"({"alert": {"notify": "deviceactionstate", "param": {"value": 3}}})",
                   "deviceactionstate"},
        MessageRow{"AValueOfAnotherAlertIsNoState",
                   R"({"alert": {"notify": "DeviceActionState", "param": {"value": "3"}}})",
                   "DeviceActionState"},
        MessageRow{"Action",
                   R"({"kxp-message": {"action": {"cmd": "c", "cmd_type": "t", "Log": "on",
                       "Loglevel": "5"}}})",
                   "c", "t", "on", "5"},
        MessageRow{"AnActionWithALogButNoLevelHasNeither",
                   R"({"action": {"cmd": "c", "Log": "on"}})", "c"},
        MessageRow{"AnActionWithALevelButNoLogHasNeither",
                   R"({"action": {"cmd": "c", "Loglevel": "5"}})", "c"},
        MessageRow{"AnActionWithoutACommand", R"({"action": {"cmd_type": "t"}})", "", "t"},
        MessageRow{"AlertAndActionTogetherAreNeither",
                   R"({"alert": {"notify": "n"}, "action": {"cmd": "c"}})"},
        MessageRow{"NeitherAlertNorAction", R"({"notify": "n", "cmd": "c"})"},
        MessageRow{"NoJson", "hello"}, MessageRow{"Empty", ""},
        MessageRow{"AnArray", R"([{"alert": {"notify": "n"}}])"}, MessageRow{"ANumber", "12"}),
    yox_test::RowName());

TEST(ChannelNotificationTest, ObjectsLeaveTheirKeyAndOtherValuesNone) {
  const YOXNotificationData record =
      Channel(R"({"o": {"s": "text"}, "n": 1, "b": true, "a": ["x"], "z": null, "e": ""})");
  EXPECT_EQ(Utf8(record.getMessageForKXP()),
            "{\n\t\"a\" : \n\t[\n\t\t\"x\"\n\t],\n\t\"b\" : true,\n\t\"e\" : \"\",\n\t\"n\" : "
            "1,\n\t\"o\" : \n\t{\n\t\t\"s\" : \"text\"\n\t},\n\t\"z\" : null\n}\n");
  EXPECT_EQ(record.getFieldValue("s"_w), "text"_w);
  for (const auto& key : {"o"_w, "n"_w, "b"_w, "a"_w, "x"_w, "z"_w, "e"_w}) {
    EXPECT_EQ(record.getFieldValue(key), WString()) << Utf8(key);
  }
}

struct RepeatRow {
  const char* name;
  const char* text;
  const char* value;  // of the key "k"
};

class RepeatedKeyTest : public testing::TestWithParam<RepeatRow> {};

TEST_P(RepeatedKeyTest, IsSettledByPlaceAndKind) {
  EXPECT_EQ(Utf8(Channel(GetParam().text).getFieldValue("k"_w)), GetParam().value);
}

// Members come in the order of their keys.
INSTANTIATE_TEST_SUITE_P(
    Rows, RepeatedKeyTest,
    testing::Values(
        RepeatRow{"TheFirstObjectsValueStays", R"({"a": {"k": "1"}, "b": {"k": "2"}})", "1"},
        RepeatRow{"ALaterTextOverwrites", R"({"a": {"k": "1"}, "k": "2"})", "2"},
        RepeatRow{"AnEarlierTextStays", R"({"k": "1", "l": {"k": "2"}})", "1"},
        RepeatRow{"ALaterObjectOfTheNameEmpties", R"({"a": {"k": "1"}, "k": {}})", ""},
        RepeatRow{"AnObjectsOwnNameStaysAgainstItsMember", R"({"k": {"k": "1"}})", ""},
        RepeatRow{"ALaterNumberLeavesIt", R"({"a": {"k": "1"}, "k": 2})", "1"},
        RepeatRow{"ALargeLaterObjectChangesNothing",
                  R"({"a": {"k": "1"}, "b": {"k": "2", "c": "", "d": "", "e": "", "f": ""}})",
                  "1"}),
    yox_test::RowName());

TEST(ChannelNotificationTest, ADeepAndWideDocumentIsFlattenedInTime) {
  std::string text;
  constexpr int kDepth = 900;
  for (int i = 0; i < kDepth; ++i) {
    text += "{";
    for (int k = 0; k < 20; ++k) {
      text += "\"k" + std::to_string(i * 20 + k) + "\": \"v\", ";
    }
    text += "\"o" + std::to_string(i) + "\": ";
  }
  text += "\"end\"" + std::string(kDepth, '}');
  const auto begin = std::chrono::steady_clock::now();
  const YOXNotificationData record = Channel(text);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
  EXPECT_EQ(record.getFieldValue("k17999"_w), "v"_w);
  EXPECT_EQ(record.getFieldValue("o899"_w), "end"_w);
}

TEST(ChannelNotificationTest, APayloadForTheChannelIsAnAlertOfTheMessageType) {
  YOXNotificationData record(3, 4, "payload"_w);
  record.setMessageType("kind"_w);
  record.makeKXPpayload({{"b"_w, "2"_w}, {"a"_w, "1"_w}});
  EXPECT_EQ(Utf8(record.getMessageForKXP()),
            "{\n\t\"kxp-message\" : \n\t{\n\t\t\"alert\" : \n\t\t{\n\t\t\t\"notify\" : \"kind\",\n"
            "\t\t\t\"param\" : \n\t\t\t{\n\t\t\t\t\"a\" : \"1\",\n\t\t\t\t\"b\" : \"2\"\n\t\t\t}\n"
            "\t\t}\n\t}\n}");
  EXPECT_EQ(record.getPayload(), "payload"_w);
  EXPECT_EQ(record.getFieldValue("a"_w), WString());
  EXPECT_FALSE(record.isKXPNotification());
}

TEST(ChannelNotificationTest, WithoutParametersThereIsNoParam) {
  YOXNotificationData record;
  record.setMessageType("kind"_w);
  record.makeKXPpayload({});
  EXPECT_EQ(Utf8(record.getMessageForKXP()).find("param"), std::string::npos);
}

// Styled text indents each value by its depth.
std::string DeepDocument(std::size_t depth, std::size_t values) {
  std::string numbers = "1";
  for (std::size_t i = 1; i < values; ++i) numbers += ",1";
  return R"({"alert": {"notify": "deep", "list": )" + std::string(depth, '[') + numbers +
         std::string(depth, ']') + "}}";
}

TEST(ChannelNotificationTest, WhatWouldExpandTooMuchIsReadButNotWritten) {
  const auto read = [](const std::string& text) {
    return YOXNotificationData(YOX::String::UTF8ToUTF16(text), true);
  };
  const YOXNotificationData deep = read(DeepDocument(900, 20'000));
  EXPECT_EQ(deep.getMessageType(), "deep"_w);
  EXPECT_EQ(deep.getMessageForKXP(), ""_w);
  EXPECT_NE(read(DeepDocument(900, 100)).getMessageForKXP(), ""_w) << "deep, but small";
  EXPECT_NE(read(DeepDocument(10, 200'000)).getMessageForKXP(), ""_w) << "large, but flat";
  // Sixteen levels for each value are the limit.
  EXPECT_NE(read(DeepDocument(14, 100'000)).getMessageForKXP(), ""_w);
  EXPECT_EQ(read(DeepDocument(15, 100'000)).getMessageForKXP(), ""_w);
}

}  // namespace
