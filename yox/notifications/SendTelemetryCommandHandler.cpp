#include "yox/notifications/SendTelemetryCommandHandler.h"

#include <json/value.h>

#include <exception>
#include <optional>

#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"

namespace YOX {

using yox::ToText;

namespace {

// Signals a change of isReady_ or isServiceStop_. Created at the first use, because its constructor
// runs code, and never destroyed, because a thread may still be waiting when the process ends.
yox::ConditionVariable& Changed() {
  static auto* const changed = new yox::ConditionVariable;
  return *changed;
}

}  // namespace

constinit std::atomic<std::int64_t> SendTelemetryCommandHandler::lastProcessedTick_{0};
yox::Mutex SendTelemetryCommandHandler::tickMutex_;
yox::Mutex SendTelemetryCommandHandler::mtx_;
constinit bool SendTelemetryCommandHandler::isReady_ = false;
constinit bool SendTelemetryCommandHandler::isServiceStop_ = false;

bool SendTelemetryCommandHandler::IsThrottled() {
  const std::int64_t now = platform::Platform::Get().clock().SteadyNanoseconds();
  const yox::MutexLock lock(tickMutex_);
  if (now - lastProcessedTick_ < std::chrono::nanoseconds(cooldown_).count()) return true;
  lastProcessedTick_ = now;
  return false;
}

void SendTelemetryCommandHandler::ResetThrottle() { lastProcessedTick_ = 0; }

void SendTelemetryCommandHandler::ProcessCommand(const YOXNotificationData& notification) {
  constexpr const char* kName = "YOX::SendTelemetryCommandHandler::ProcessCommand";
  if (IsThrottled()) {
    log_.d("%s Ignored sendTelemetry command because threshold not met", kName);
    return;
  }
  SendTelemetryCommandParams params;
  DeserializeSendTelemetryCommand(log_, notification.getPayload(), params);
  if (!params.allDataSets) {
    if (!params.dataSets.empty()) {
      log_.d("%s ignore sendTelemetry command because specific datasets have been mentioned",
             kName);
    } else {
      log_.d("%s ignore sendTelemetry command because dataSet is not defined ", kName);
    }
    return;
  }
  const Handler& handler = params.reCollect ? recollectHandler : duplicateHandler;
  if (handler) handler(params);
}

void SendTelemetryCommandHandler::DeserializeSendTelemetryCommand(
    Log& log, const WString& text, SendTelemetryCommandParams& params) {
  constexpr const char* kName = "YOX::SendTelemetryCommandHandler::DeserializeSendTelemetryCommand";
  params = {};
  try {
    const std::optional<Json::Value> parsed = yox::ParseLenientJson(text);
    if (!parsed) return;
    const Json::Value& root = *parsed;
    const Json::Value& command = root["yox-message"]["action"]["cmd_param"];

    if (const Json::Value& sets = command["dataSet"]; sets.isArray()) {
      for (const Json::Value& element : sets) {
        WString name = ToText(element);
        if (String::CaseInsesitiveEqual(name, operator""_wv<"all">())) {
          params.allDataSets = true;
        } else {
          params.dataSets.push_back(std::move(name));
        }
      }
    }
    const Json::Value& collect = command["reCollect"];
    if (collect.isBool()) {
      params.reCollect = collect.asBool();
    } else if (collect.isString()) {
      params.reCollect = String::CaseInsesitiveEqual(ToText(collect), operator""_wv<"true">());
    }
  } catch (const std::exception& error) {
    log.e("%s: failed to deserilaize sendTelemetry command %s", kName, error.what());
  } catch (...) {
    log.e("%s: Unknown error in deserilaize sendTelemetry command %s", kName, "");
  }
}

void SendTelemetryCommandHandler::WaitForCollectionToComplete() {
  yox::MutexLock lock(mtx_);
  while (!isReady_ && !isServiceStop_) Changed().Wait(lock);
  isReady_ = false;
}

void SendTelemetryCommandHandler::Notify() {
  {
    const yox::MutexLock lock(mtx_);
    isReady_ = true;
  }
  Changed().NotifyAll();
}

void SendTelemetryCommandHandler::Cancel() {
  {
    const yox::MutexLock lock(mtx_);
    isServiceStop_ = true;
  }
  Changed().NotifyAll();
}

}  // namespace YOX
