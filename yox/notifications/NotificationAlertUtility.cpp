#include "yox/notifications/NotificationAlertUtility.h"

#include <string>

#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/notifications/StyledSize.h"

using namespace yox::literals;
using YOX::String;
using yox::ToJson;
using yox::WString;

void NotificationAlertUtility::ConstructKXPPayload(const WString& notify, const Json::Value& param,
                                                   YOXNotificationData& out) {
  Json::Value root;
  Json::Value& alert = root["kxp-message"]["alert"];
  alert["notify"] = ToJson(notify);
  alert["param"] = param;
  yox::notifications::RequireBoundedStyledSize(root);
  out =
      YOXNotificationData(String::UTF8ToUTF16(yox::JsonText(root, yox::JsonStyle::kTabbed)), true);
}

void NotificationAlertUtility::ConstructKXPPayloadForDeviceActionState(
    std::int32_t value, const WString& actionCmd, const WString& failureReason,
    const WString& actionParam, const WString& at, YOXNotificationData& out) {
  try {
    Json::Value param;
    param["value"] = std::to_string(value);
    param["failure_reason"] = ToJson(failureReason);
    param["action_cmd"] = ToJson(actionCmd);
    param["action_param"] = ToJson(actionParam);
    param["at"] = ToJson(at);
    ConstructKXPPayload("deviceactionstate"_w, param, out);
  } catch (...) {
    // `out` stays as it was.
  }
}
