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

// Hosts define further values of all three; the library passes them on unchanged.
enum class TopicId : std::int32_t { NotSet = -1, NoTopic = 0, TagsUpdated = 30 };
enum class EventState : std::int32_t { NotSet = -1, NoEvent = 0, TagsUpdated = 307 };
enum class NotificationProvider : std::int32_t { Default = 0 };

// A record of the bus (YOXPublisherSubscriber): an internal notification, which has a topic, an
// event and a payload document; or a channel notification, which is a JSON message of the KXP
// channel with the values found in it. A plain value; copies share their texts until one is
// changed. One object must not be used by several threads at once. Texts are UTF-16.
class YOX_API YOXNotificationData {
 public:
  // Constructs a record of neither kind: all numbers are -1, all texts empty.
  YOXNotificationData() = default;
  // Constructs an internal notification.
  YOXNotificationData(int topicId, int eventState, yox::WString payload);
  // Reads a notification: an envelope as getJsonMessage writes it or, if `isKXP` is true, an alert
  // or action document of the channel. Throws nothing: if the text cannot be read, the members up
  // to the error are set.
  YOXNotificationData(yox::WString message, bool isKXP);

  // All three return whether the topics are equal. This is required of != as well.
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
  // The state of the action that a channel message asks for, as the channel spells it.
  void setDeviceActionState(const yox::WString& value) {
    fields_.Mutable().deviceActionState = value;
  }
  NotificationProvider getNotificationProvider() const { return fields_->notificationProvider; }
  // Returns the new value.
  NotificationProvider setNotificationProvider(NotificationProvider value) {
    return fields_.Mutable().notificationProvider = value;
  }
  // Returns the channel message as JSON.
  yox::WString getMessageForKXP() const { return fields_->messageForKXP; }

  // Returns whether the record was read as a channel notification.
  bool isKXPNotification() const;
  // Returns whether the topic's text contains "/app/".
  bool isExtensionNotification() const;
  // Returns a value of the channel message by its exact key; empty if there is none.
  yox::WString getFieldValue(const yox::WString& key) const;

  // Returns the envelope as JSON with line breaks; empty if it cannot be written.
  yox::WString getJsonMessage() const;

  // Return documents for the payload: compact JSON, empty if it cannot be written. They do not use
  // the record.
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
  // Unlike the others, JSON with line breaks in UTF-8, from UTF-8.
  std::string constructPayloadForInvokeCommand(
      const std::unordered_map<std::string, std::string>& params) const;

  // Read these documents: the first function from `text`, the others from this record's payload.
  // Each value is stored as soon as it is read. Text that is not JSON changes no argument; a value
  // of the wrong type ends the reading, so that its argument and those after it are unchanged. A
  // missing value is read as false, 0 or empty; a missing delay counts as one of the wrong type.
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

  // Replaces the channel message by an alert of the kind getMessageType(), with these parameters.
  void makeKXPpayload(const std::map<yox::WString, yox::WString>& params);

 private:
  Json::Value Serialize() const;
  void DeserializeInternalNotification(const yox::WString& text);
  void DeserializeKXPNotification(const yox::WString& text);
  static std::map<yox::WString, yox::WString> JSONtoMap(const Json::Value& value);

  struct Fields {
    yox::WString notificationType;  // "yox": internal, "kxp": channel
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
