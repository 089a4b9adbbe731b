#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/Log.h"
#include "yox/base/ThreadSafety.h"
#include "yox/base/WString.h"
#include "yox/notifications/YOXNotificationData.h"

namespace YOX {

// A parsed sendTelemetry command. Texts are UTF-16.
struct SendTelemetryCommandParams {
  std::vector<WString> dataSets;  // without the word "all", in order of appearance
  bool reCollect = false;
  bool allDataSets = false;  // the word "all" was among the data sets
};

// Handles sendTelemetry commands: lets at most one through every five minutes, and passes one that
// asks for all data sets to one of two handlers of the host. It also offers a rendezvous, at which
// a thread waits until a collection has finished. The throttle and the rendezvous are shared by the
// whole process; the handlers and the log belong to the object.
class YOX_API SendTelemetryCommandHandler {
 public:
  using Handler = std::function<void(SendTelemetryCommandParams&)>;

  // `log` must outlive the object and its copies.
  explicit SendTelemetryCommandHandler(Log& log) : log_(log) {}

  // Each replaces its handler. They take no lock: call them before the first command.
  void RegisterRecollectTelemetryHandler(Handler handler) { recollectHandler = std::move(handler); }
  void RegisterDuplicateTelemetryHandler(Handler handler) { duplicateHandler = std::move(handler); }

  // Handles the command in the notification's payload. Safe from any thread. The handler runs on
  // the caller's thread, without a lock; its exceptions reach the caller. A command that passes the
  // throttle and is then ignored has used up its five minutes.
  void ProcessCommand(const YOXNotificationData& notification);

  // Parses a command, for example
  // {"yox-message": {"action": {"cmd_param": {"dataSet": ["all"], "reCollect": true}}}}.
  // Throws nothing: an error is logged, and `params` keeps what was read before it.
  static void DeserializeSendTelemetryCommand(Log& log, const WString& text,
                                              SendTelemetryCommandParams& params);

  // Lets the next command through, once the steady clock itself has reached five minutes.
  static void ResetThrottle();

  // WaitForCollectionToComplete waits until Notify is called, or was called before; several calls
  // count as one, and one call lets one waiter pass. After Cancel no wait blocks any more.
  static void WaitForCollectionToComplete();
  static void Notify();
  static void Cancel();

 private:
  static bool IsThrottled();

  Handler recollectHandler;
  Handler duplicateHandler;
  Log& log_;

  static constexpr std::chrono::duration<int, std::ratio<60>> cooldown_{5};
  // Nanoseconds of the steady clock. Atomic because ResetThrottle writes it without the mutex; the
  // mutex makes the comparison and the new value one step.
  static std::atomic<std::int64_t> lastProcessedTick_;
  static yox::Mutex tickMutex_;

  static yox::Mutex mtx_;
  static bool isReady_ YOX_GUARDED_BY(mtx_);
  static bool isServiceStop_ YOX_GUARDED_BY(mtx_);
};

}  // namespace YOX
