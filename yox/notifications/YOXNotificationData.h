#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>

#include "yox/base/CopyOnWrite.h"
#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace Json {
class Value;
}

// The hosts define further values of all three; the library carries them as they are.
enum class TopicId : std::int32_t { NotSet = -1, NoTopic = 0, TagsUpdated = 30 };
enum class EventState : std::int32_t { NotSet = -1, NoEvent = 0, TagsUpdated = 307 };
enum class NotificationProvider : std::int32_t { Default = 0 };

// What travels on the bus: an internal notification, which is a topic, an event and a payload
// document; or a channel notification, which is a JSON message of the KXP channel and what was
// found in it. A plain value without a lock: not to be shared between threads without one.
class YOX_API YOXNotificationData {
 public:
  // Of neither kind; all numbers -1, all texts empty.
  YOXNotificationData() = default;
  // An internal notification.
  YOXNotificationData(int topicId, int eventState, yox::WString payload);
  // A notification from its text: an envelope as getJsonMessage writes it, or, for the channel, an
  // alert or action document. Text that cannot be read leaves the record as far as it was filled.
  YOXNotificationData(yox::WString message, bool isKXP);

  // All three are one operation: whether the topics are equal. Meant so for != as well.
  bool isEqual(const YOXNotificationData& other) const {
    return fields_->topicId == other.fields_->topicId;
  }
  bool operator==(const YOXNotificationData& other) const { return isEqual(other); }
  bool operator!=(const YOXNotificationData& other) const { return isEqual(other); }

  int getTopicId() const { return fields_->topicId; }
  void setTopicId(int value) { fields_.Mutable().topicId = value; }
  int getEventState() const { return fields_->eventState; }
  void setEventState(int value) { fields_.Mutable().eventState = value; }
  yox::WString getPayload() const { return fields_->payload; }
  void setPayload(yox::WString value) { fields_.Mutable().payload = std::move(value); }
  yox::WString getMessageType() const { return fields_->messageType; }
  void setMessageType(yox::WString value) { fields_.Mutable().messageType = std::move(value); }
  yox::WString getActionType() const { return fields_->actionType; }
  void setActionType(yox::WString value) { fields_.Mutable().actionType = std::move(value); }
  yox::WString getLogStatus() const { return fields_->logStatus; }
  void setLogStatus(yox::WString value) { fields_.Mutable().logStatus = std::move(value); }
  yox::WString getLogLevel() const { return fields_->logLevel; }
  void setLogLevel(yox::WString value) { fields_.Mutable().logLevel = std::move(value); }
  yox::WString getTopic() const { return fields_->topic; }
  void setTopic(yox::WString value) { fields_.Mutable().topic = std::move(value); }
  yox::WString getDeviceActionState() const { return fields_->deviceActionState; }
  void setDeviceActionState(const yox::WString& value) {
    fields_.Mutable().deviceActionState = value;
  }
  NotificationProvider getNotificationProvider() const { return fields_->notificationProvider; }
  NotificationProvider setNotificationProvider(NotificationProvider value) {
    return fields_.Mutable().notificationProvider = value;
  }
  // The channel message as JSON text.
  yox::WString getMessageForKXP() const { return fields_->messageForKXP; }

  bool isKXPNotification() const;
  // Whether "/app/" stands anywhere in the topic's text.
  bool isExtensionNotification() const;
  // A value of the channel message by its exact key; empty for a key that is not there.
  yox::WString getFieldValue(const yox::WString& key) const;

  // The envelope as styled JSON text; empty when it cannot be written.
  yox::WString getJsonMessage() const;

  // Documents for the payload: compact JSON text, empty when it cannot be written. The record is
  // not touched.
  yox::WString constructPayloadOnYOXPolicyChange(
      bool devicePathChange, bool deviceSubscriptionChange, bool mqttScopeChange,
      bool mqttConnectFrequencyChange, const yox::WString& devicePathValue,
      const yox::WString& deviceSubscriptionValue, const yox::WString& mqttScopeValue,
      const yox::WString& mqttConnectFrequencyValue) const;
  // `deviceId` is UTF-8.
  yox::WString constructPayloadOnDeviceRegistration(bool hasRegistrationAttemptedSuccess,
                                                    const yox::WString& triggerType,
                                                    const yox::WString& triggerSource,
                                                    const std::string& deviceId,
                                                    const std::int32_t& delay) const;
  yox::WString constructPayloadOnConfigChangeDuringStartup(bool isTriggerSourceStartup) const;
  yox::WString constructPayloadForForceConfigFetch(std::uint32_t pullTriggerInMinutes) const;
  yox::WString serializePayloadForPackageEvent(const yox::WString& id, const yox::WString& type,
                                               const yox::WString& name,
                                               const yox::WString& version,
                                               const yox::WString& trigger) const;
  // Styled and narrow, unlike the others. UTF-8 in and out.
  std::string constructPayloadForInvokeCommand(
      const std::unordered_map<std::string, std::string>& params) const;

  // Reading them back, from this record's payload but for the first. Each value is stored as it is
  // read: text that is not JSON leaves all arguments as they were, a value of the wrong type leaves
  // itself and those behind it. A missing value reads as false, 0 or empty, but a missing delay as
  // wrong.
  void deserializePayloadForYoxPolicy(const yox::WString& text, bool& devicePathChange,
                                      bool& deviceSubscriptionChange, yox::WString& devicePathValue,
                                      yox::WString& deviceSubscriptionValue) const;
  void deserializePayloadForDeviceRegistration(bool& hasRegistrationAttemptedSuccess,
                                               yox::WString& triggerType,
                                               yox::WString& triggerSource, yox::WString& deviceId,
                                               std::int32_t& delay) const;
  yox::WString getDeviceIdFromRegistrationPayload() const;
  void deserializePayloadForConfigChangeDuringStartup(bool& isTriggerSourceStartup) const;
  void deserializePayloadForForceConfigFetch(std::uint32_t& pullTriggerInMinutes) const;
  void deserializePayloadForPackageEvent(yox::WString& id, yox::WString& type, yox::WString& name,
                                         yox::WString& version, yox::WString& trigger) const;

  // Makes the channel message an alert of the message type, with these parameters.
  void makeKXPpayload(const std::map<yox::WString, yox::WString>& params);

 private:
  Json::Value Serialize() const;
  void DeserializeInternalNotification(const yox::WString& text);
  void DeserializeKXPNotification(const yox::WString& text);
  static std::map<yox::WString, yox::WString> JSONtoMap(const Json::Value& value);

  struct Fields {
    yox::WString notificationType;  // "yox" internal, "kxp" channel
    std::int32_t topicId = -1;
    std::int32_t eventState = -1;
    std::int32_t spareCode = -1;  // copied, never read
    yox::WString payload;         // channel: the document as received
    // All below: channel only, except topic and notificationProvider.
    yox::WString messageType;
    yox::WString actionType;
    yox::WString messageForKXP;
    yox::WString logStatus;
    yox::WString logLevel;
    std::map<yox::WString, yox::WString> fieldMap;
    yox::WString topic;  // set by the host
    yox::WString deviceActionState;
    NotificationProvider notificationProvider = NotificationProvider::Default;
  };

  // The bus copies each record for each subscriber, and hardly any subscriber changes its copy.
  yox::CopyOnWrite<Fields> fields_;
};
