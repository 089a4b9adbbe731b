#include "yox/notifications/YOXNotificationData.h"

#include <json/value.h>

#include <optional>
#include <utility>

#include "yox/base/Json.h"
#include "yox/base/String.h"

using namespace yox::literals;
using YOX::String;
using yox::ToJson;
using yox::ToText;
using yox::WString;

YOXNotificationData::YOXNotificationData(int topicId, int eventState, WString payload) {
  Fields& fields = fields_.Mutable();
  fields.notificationType = "yox"_w;
  fields.topicId = topicId;
  fields.eventState = eventState;
  fields.payload = std::move(payload);
}

YOXNotificationData::YOXNotificationData(WString message, bool isKXP) {
  Fields& fields = fields_.Mutable();
  fields.notificationType = isKXP ? "kxp"_w : "yox"_w;
  if (isKXP) {
    fields.payload = std::move(message);
    DeserializeKXPNotification(fields.payload);
  } else {
    DeserializeInternalNotification(message);
  }
}

bool YOXNotificationData::isKXPNotification() const {
  return fields_->notificationType == "kxp"_wv;
}

bool YOXNotificationData::isExtensionNotification() const {
  return fields_->topic.find("/app/"_wv) != WString::npos;
}

WString YOXNotificationData::getFieldValue(const WString& key) const {
  try {
    const auto found = fields_->fieldMap.find(key);
    return found != fields_->fieldMap.end() ? found->second : WString();
  } catch (...) {
    return {};
  }
}

Json::Value YOXNotificationData::Serialize() const {
  const bool channel = isKXPNotification();
  Json::Value root;
  if (channel) {
    try {
      root = yox::ParseLenientJson(fields_->messageForKXP).value_or(Json::Value());
    } catch (...) {
      // The envelope is written without the message.
    }
  } else {
    root["cmd_type"] = Json::Value::nullSingleton();
    root["cmd"] = Json::Value::nullSingleton();
  }
  root["notification_type"] = ToJson(fields_->notificationType);
  root["topicId"] = channel ? 0 : fields_->topicId;
  root["eventState"] = channel ? 0 : fields_->eventState;
  root["payload"] = channel ? Json::Value("") : ToJson(fields_->payload);
  return root;
}

WString YOXNotificationData::getJsonMessage() const {
  try {
    return String::UTF8ToUTF16(Serialize().toStyledString());
  } catch (...) {
    return {};
  }
}

void YOXNotificationData::DeserializeInternalNotification(const WString& text) {
  try {
    const std::optional<Json::Value> parsed = yox::ParseLenientJson(text);
    if (!parsed) return;
    const Json::Value& root = *parsed;
    Fields& fields = fields_.Mutable();
    fields.topicId = root["topicId"].asInt();
    fields.eventState = root["eventState"].asInt();
    fields.payload = ToText(root["payload"]);
  } catch (...) {
    // What was set stays.
  }
}
