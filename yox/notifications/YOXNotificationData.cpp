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

YOXNotificationData::YOXNotificationData(int topic_id, int event_state, WString payload_text)
    : notificationType("yox"_w),
      topicId(topic_id),
      eventState(event_state),
      payload(std::move(payload_text)) {}

YOXNotificationData::YOXNotificationData(WString message, bool isKXP)
    : notificationType(isKXP ? "kxp"_w : "yox"_w) {
  if (isKXP) {
    payload = std::move(message);
    DeserializeKXPNotification(payload);
  } else {
    DeserializeInternalNotification(message);
  }
}

bool YOXNotificationData::isKXPNotification() const { return notificationType == "kxp"_wv; }

bool YOXNotificationData::isExtensionNotification() const {
  return topic.find("/app/"_wv) != WString::npos;
}

WString YOXNotificationData::getFieldValue(const WString& key) const {
  try {
    const auto found = fieldMap.find(key);
    return found != fieldMap.end() ? found->second : WString();
  } catch (...) {
    return {};
  }
}

Json::Value YOXNotificationData::Serialize() const {
  const bool channel = isKXPNotification();
  Json::Value root;
  if (channel) {
    try {
      root = yox::ParseLenientJson(messageForKXP).value_or(Json::Value());
    } catch (...) {
      // The envelope is written without the message.
    }
  } else {
    root["cmd_type"] = Json::Value::nullSingleton();
    root["cmd"] = Json::Value::nullSingleton();
  }
  root["notification_type"] = ToJson(notificationType);
  root["topicId"] = channel ? 0 : topicId;
  root["eventState"] = channel ? 0 : eventState;
  root["payload"] = channel ? Json::Value("") : ToJson(payload);
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
    topicId = root["topicId"].asInt();
    eventState = root["eventState"].asInt();
    payload = ToText(root["payload"]);
  } catch (...) {
    // What was set stays.
  }
}
