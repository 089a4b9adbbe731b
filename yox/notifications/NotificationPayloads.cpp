#include "yox/base/Json.h"
#include "yox/notifications/PayloadDocuments.h"
#include "yox/notifications/YOXNotificationData.h"

using namespace yox::notifications;
using yox::ToJson;
using yox::WString;

WString YOXNotificationData::constructPayloadOnYOXPolicyChange(
    bool devicePathChange, bool deviceSubscriptionChange, bool mqttScopeChange,
    bool mqttConnectFrequencyChange, const WString& devicePathValue,
    const WString& deviceSubscriptionValue, const WString& mqttScopeValue,
    const WString& mqttConnectFrequencyValue) const {
  return BuildPayload(kPolicyChange, {devicePathChange, deviceSubscriptionChange, mqttScopeChange,
                                      mqttConnectFrequencyChange, ToJson(devicePathValue),
                                      ToJson(deviceSubscriptionValue), ToJson(mqttScopeValue),
                                      ToJson(mqttConnectFrequencyValue)});
}

WString YOXNotificationData::constructPayloadOnDeviceRegistration(
    bool hasRegistrationAttemptedSuccess, const WString& triggerType, const WString& triggerSource,
    const std::string& deviceId, const std::int32_t& delay) const {
  return BuildPayload(kRegistration, {hasRegistrationAttemptedSuccess, ToJson(triggerType),
                                      ToJson(triggerSource), deviceId, delay});
}

WString YOXNotificationData::constructPayloadOnConfigChangeDuringStartup(
    bool isTriggerSourceStartup) const {
  return BuildPayload(kConfigChange, {isTriggerSourceStartup});
}

WString YOXNotificationData::constructPayloadForForceConfigFetch(
    std::uint32_t pullTriggerInMinutes) const {
  return BuildPayload(kConfigFetch, {pullTriggerInMinutes});
}

WString YOXNotificationData::serializePayloadForPackageEvent(const WString& id, const WString& type,
                                                             const WString& name,
                                                             const WString& version,
                                                             const WString& trigger) const {
  return BuildPayload(kPackageEvent,
                      {ToJson(id), ToJson(type), ToJson(name), ToJson(version), ToJson(trigger)});
}

std::string YOXNotificationData::constructPayloadForInvokeCommand(
    const std::unordered_map<std::string, std::string>& params) const {
  try {
    Json::Value root(Json::objectValue);
    for (const auto& [key, value] : params) root[key] = value;
    return yox::JsonText(root, yox::JsonStyle::kTabbed);
  } catch (...) {
    return {};
  }
}

void YOXNotificationData::deserializePayloadForYoxPolicy(const WString& text,
                                                         bool& devicePathChange,
                                                         bool& deviceSubscriptionChange,
                                                         WString& devicePathValue,
                                                         WString& deviceSubscriptionValue) const {
  ReadPayload(
      kPolicyChange, text,
      {&devicePathChange, &deviceSubscriptionChange, &devicePathValue, &deviceSubscriptionValue});
}

void YOXNotificationData::deserializePayloadForDeviceRegistration(
    bool& hasRegistrationAttemptedSuccess, WString& triggerType, WString& triggerSource,
    WString& deviceId, std::int32_t& delay) const {
  ReadPayload(kRegistration, fields_->payload,
              {&hasRegistrationAttemptedSuccess, &triggerType, &triggerSource, &deviceId, &delay});
}

WString YOXNotificationData::getDeviceIdFromRegistrationPayload() const {
  return ReadPayloadText(kRegistration, fields_->payload, "device_id");
}

void YOXNotificationData::deserializePayloadForConfigChangeDuringStartup(
    bool& isTriggerSourceStartup) const {
  ReadPayload(kConfigChange, fields_->payload, {&isTriggerSourceStartup});
}

void YOXNotificationData::deserializePayloadForForceConfigFetch(
    std::uint32_t& pullTriggerInMinutes) const {
  ReadPayload(kConfigFetch, fields_->payload, {&pullTriggerInMinutes});
}

void YOXNotificationData::deserializePayloadForPackageEvent(WString& id, WString& type,
                                                            WString& name, WString& version,
                                                            WString& trigger) const {
  ReadPayload(kPackageEvent, fields_->payload, {&id, &type, &name, &version, &trigger});
}
