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

struct SendTelemetryCommandParams {
  std::vector<WString> dataSets;  // all but the word "all", in order of appearance
  bool reCollect = false;
  bool allDataSets = false;
};

// Acts on sendTelemetry commands: lets at most one through in five minutes, and hands one that asks
// for all data sets to one of the host's two handlers. Besides, a rendezvous at which a thread
// waits until a collection has finished. Throttle and rendezvous are one for the process; the
// handlers and the log belong to the object.
class YOX_API SendTelemetryCommandHandler {
 public:
  using Handler = std::function<void(SendTelemetryCommandParams&)>;

  // `log` must outlive the object and its copies.
  explicit SendTelemetryCommandHandler(Log& log) : log_(log) {}

  // Before the first command: they take no lock.
  void RegisterRecollectTelemetryHandler(Handler handler) { recollectHandler = std::move(handler); }
  void RegisterDuplicateTelemetryHandler(Handler handler) { duplicateHandler = std::move(handler); }

  // Takes the command in the notification's payload. Safe from any thread; the handler runs on the
  // caller's, without a lock, and what it throws reaches the caller. A command that passes the
  // throttle and is then ignored has used up its five minutes.
  void ProcessCommand(const YOXNotificationData& notification);

  // Reads a command. Lets no exception out: what cannot be read is logged, and `params` stays as
  // far as it was filled.
  static void DeserializeSendTelemetryCommand(Log& log, const WString& text,
                                              SendTelemetryCommandParams& params);

  // Lets the next command through, if the steady clock itself has reached five minutes.
  static void ResetThrottle();

  // Waits until a collection has finished, or the service stops. Several ends of collections count
  // as one, and one lets one waiter pass; after Cancel nobody waits any more.
  static void WaitForCollectionToComplete();
  static void Notify();
  static void Cancel();

 private:
  static bool IsThrottled();

  Handler recollectHandler;
  Handler duplicateHandler;
  Log& log_;

  static constexpr std::chrono::duration<int, std::ratio<60>> cooldown_{5};
  static std::atomic<std::int64_t> lastProcessedTick_;  // nanoseconds of the steady clock
  static yox::Mutex tickMutex_;  // makes reading and setting the tick one step
  static yox::Mutex mtx_;
  static bool isReady_ YOX_GUARDED_BY(mtx_);
  static bool isServiceStop_ YOX_GUARDED_BY(mtx_);
};

}  // namespace YOX
