#pragma once

#include <json/value.h>

#include <cstdint>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/notifications/YOXNotificationData.h"

// Builds alerts for the KXP channel. `out` is replaced by the channel record that results from
// reading the alert's text. Safe from any thread, but no other thread may use `out` meanwhile.
class YOX_API NotificationAlertUtility {
 public:
  NotificationAlertUtility() = delete;

  // Builds an alert of the kind `notify` with the parameters `param`. Throws std::exception if it
  // cannot be built; `out` is then unchanged.
  static void ConstructKXPPayload(const yox::WString& notify, const Json::Value& param,
                                  YOXNotificationData& out);

  // Builds the alert "deviceactionstate". Leaves `out` unchanged if it cannot be built; throws
  // nothing.
  static void ConstructKXPPayloadForDeviceActionState(
      std::int32_t value, const yox::WString& actionCmd, const yox::WString& failureReason,
      const yox::WString& actionParam, const yox::WString& at, YOXNotificationData& out);
};
