// The schemas of the documents, compared with what writes and reads them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include <algorithm>
#include <string>
#include <vector>

#include "yox/base/StrictJson.h"
#include "yox/base/String.h"
#include "yox/notifications/NotificationAlertUtility.h"
#include "yox/notifications/PayloadDocuments.h"
#include "yox/notifications/YOXNotificationData.h"

#include "tests/support/SchemaPaths.h"

namespace {

using namespace yox::literals;
using namespace yox::notifications;
using YOX::String;
using yox::WString;

constexpr const char* kInternal = "schemas/notification.schema.json";
constexpr const char* kChannel = "schemas/channel-notification.schema.json";

constexpr const PayloadDocument* kDocuments[] = {&kPolicyChange, &kRegistration, &kConfigChange,
                                                 &kConfigFetch, &kPackageEvent};

Json::Value Parsed(const WString& text) { return yox::ParseDocument(String::UTF16ToUTF8(text)); }

void AddPaths(const Json::Value& value, const std::string& above, std::vector<std::string>& paths) {
  if (!value.isObject()) return;
  for (const std::string& key : value.getMemberNames()) {
    paths.push_back(above + key);
    AddPaths(value[key], above + key + ".", paths);
  }
}

// The schema of one key of a document, in whichever alternative has it.
Json::Value SchemaOf(const PayloadDocument& document, const char* key) {
  const Json::Value schema = yox::ParseDocument(yox_test::CheckoutFile(kInternal));
  for (const Json::Value& alternative : schema["$defs"]) {
    const Json::Value& wrapped = alternative["properties"];
    const Json::Value& keys =
        document.wrapper != nullptr ? wrapped[document.wrapper]["properties"] : wrapped;
    if (keys.isMember(key)) return keys[key];
  }
  return {};
}

TEST(NotificationSchemasTest, TheInternalSchemaHasTheKeysThatAreWritten) {
  std::vector<std::string> paths;
  AddPaths(Parsed(YOXNotificationData(1, 2, "payload"_w).getJsonMessage()), "", paths);
  for (const PayloadDocument* const document : kDocuments) {
    std::string above;
    if (document->wrapper != nullptr) {
      paths.emplace_back(document->wrapper);
      above = paths.back() + ".";
    }
    for (const PayloadField& field : document->fields) paths.push_back(above + field.key);
  }
  std::ranges::sort(paths);
  EXPECT_EQ(yox_test::SchemaPaths(kInternal), paths);
}

TEST(NotificationSchemasTest, TheInternalSchemaHasTheTypesOfThePayloads) {
  const auto expected = [](PayloadType type) -> Json::Value {
    switch (type) {
      case PayloadType::kBoolean:
        return "boolean";
      case PayloadType::kText:
        return "string";
      case PayloadType::kUnsigned:
        return "integer";
      case PayloadType::kDelay:
        break;
    }
    Json::Value either(Json::arrayValue);
    either.append("integer");
    either.append("string");
    return either;
  };
  for (const PayloadDocument* const document : kDocuments) {
    for (const PayloadField& field : document->fields) {
      const Json::Value schema = SchemaOf(*document, field.key);
      EXPECT_EQ(schema["type"], expected(field.type)) << field.key;
      EXPECT_EQ(schema["description"].asString() != "Written and never read", field.is_read)
          << field.key;
    }
  }
}

struct ActionKey {
  const char* key;
  WString (YOXNotificationData::*getter)() const;
};
constexpr ActionKey kActionKeys[] = {
    {"cmd", &YOXNotificationData::getMessageType},
    {"cmd_type", &YOXNotificationData::getActionType},
    {"Log", &YOXNotificationData::getLogStatus},
    {"Loglevel", &YOXNotificationData::getLogLevel},
};

TEST(NotificationSchemasTest, TheChannelSchemaHasTheKeysThatAreWrittenAndRead) {
  YOXNotificationData alert;
  NotificationAlertUtility::ConstructKXPPayloadForDeviceActionState(3, "a"_w, "b"_w, "c"_w, "d"_w,
                                                                    alert);
  std::vector<std::string> paths;
  AddPaths(Parsed(alert.getPayload()), "", paths);
  paths.emplace_back("kxp-message.action");
  Json::Value document;
  for (const ActionKey& action : kActionKeys) {
    paths.push_back("kxp-message.action." + std::string(action.key));
    document["kxp-message"]["action"][action.key] = action.key;
  }
  std::ranges::sort(paths);
  EXPECT_EQ(yox_test::SchemaPaths(kChannel), paths);

  const YOXNotificationData action(String::UTF8ToUTF16(document.toStyledString()), true);
  for (const auto& [key, getter] : kActionKeys) {
    EXPECT_EQ((action.*getter)(), String::UTF8ToUTF16(key));
  }
}

}  // namespace
