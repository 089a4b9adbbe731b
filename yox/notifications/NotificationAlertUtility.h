#pragma once

#include <json/value.h>

#include <cstdint>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/notifications/YOXNotificationData.h"

// Builds alerts for the KXP channel. `out` is replaced as a whole by a channel record read from the
// alert's own text; no other thread may use it meanwhile.
class YOX_API NotificationAlertUtility {
 public:
  NotificationAlertUtility() = delete;

  // Lets exceptions through; `out` is then unchanged.
  static void ConstructKXPPayload(const yox::WString& notify, const Json::Value& param,
                                  YOXNotificationData& out);

  // The alert "deviceactionstate". Leaves `out` as it was when it cannot be built.
  static void ConstructKXPPayloadForDeviceActionState(
      std::int32_t value, const yox::WString& actionCmd, const yox::WString& failureReason,
      const yox::WString& actionParam, const yox::WString& at, YOXNotificationData& out);
};
