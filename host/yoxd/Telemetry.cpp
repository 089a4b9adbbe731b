#include "host/yoxd/Telemetry.h"

#include "yox/base/Log.h"

#include "host/yoxd/Text.h"

namespace yoxd {

Telemetry::Telemetry(yox::platform::Event& changed) : handler_(YOX::g_log) {
  const auto wanted = [&changed](std::atomic<bool>& flag) {
    return [&changed, &flag](YOX::SendTelemetryCommandParams&) {
      flag = true;
      changed.Set();
    };
  };
  handler_.RegisterRecollectTelemetryHandler(wanted(collect_));
  handler_.RegisterDuplicateTelemetryHandler(wanted(send_));
}

void Telemetry::Receive(const YOXNotificationData& record) {
  if (record.isKXPNotification() && Narrow(record.getMessageType()) == "sendTelemetry") {
    handler_.ProcessCommand(record);
  }
}

void Telemetry::Collected() {
  send_ = true;
  YOX::SendTelemetryCommandHandler::Notify();
}

}  // namespace yoxd
