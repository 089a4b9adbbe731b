#pragma once

#include <atomic>

#include "yox/notifications/SendTelemetryCommandHandler.h"
#include "yox/notifications/YOXNotificationData.h"
#include "yox/platform/waits/Event.h"

namespace yoxd {

// The sendTelemetry command, from the thread that receives it to the service's.
class Telemetry {
 public:
  // `changed` is set when a command is to be carried out.
  explicit Telemetry(yox::platform::Event& changed);

  // Handles a record that may be the command. Safe from any thread.
  void Receive(const YOXNotificationData& record);

  // Each returns whether that is to be done now, once: read the device again, which is reported by
  // Collected afterwards; send its documents again.
  bool TakeCollect() { return collect_.exchange(false); }
  bool TakeSend() { return send_.exchange(false); }
  // The device was read again: the documents are sent, and a thread that waits for them goes on
  // (SendTelemetryCommandHandler::WaitForCollectionToComplete).
  void Collected();

 private:
  YOX::SendTelemetryCommandHandler handler_;
  std::atomic<bool> collect_{false};
  std::atomic<bool> send_{false};
};

}  // namespace yoxd
