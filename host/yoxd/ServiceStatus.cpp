// What the service says of its health.
#include <json/value.h>

#include <chrono>

#include "yox/status/YoxStatusManager.h"

#include "host/yoxd/Service.h"
#include "host/yoxd/Text.h"

namespace yoxd {
namespace {

using Gateway = YOX::YoxStatusManager::Gateway;

const char* NameOf(Channel::State state) {
  switch (state) {
    case Channel::State::kOff:
      return "off";
    case Channel::State::kConnecting:
      return "connecting";
    case Channel::State::kConnected:
      return "connected";
    case Channel::State::kWaiting:
      break;
  }
  return "waiting";
}

}  // namespace

std::string Service::StatusLine() const {
  if (!store_.provisioned()) return store_.problem();
  if (!broker_problem_.empty()) return broker_problem_;
  std::string line = NameOf(channel_.state());
  if (channel_.endpoint()) line += " (" + channel_.endpoint()->host + ")";
  if (!channel_.reason().empty()) line += ": " + channel_.reason();
  return line + "; " + std::to_string(contents_.contents().size()) + " lists";
}

Json::Value Service::Status() const {
  const auto number = [](auto value) { return Json::UInt64{value}; };
  Json::Value status;
  status["version"] = YOXD_VERSION;
  status["device_id"] = id_;
  status["device"] = platform_.profile_file().empty() ? "this machine" : platform_.profile_file();
  status["started"] = UtcText(started_);
  status["provisioning"]["done"] = store_.provisioned();
  status["provisioning"]["problem"] = store_.problem();

  Json::Value& connection = status["connection"];
  connection["state"] = NameOf(channel_.state());
  connection["server"] = channel_.endpoint() ? channel_.endpoint()->host + ":" +
                                                   std::to_string(channel_.endpoint()->port)
                                             : "";
  connection["problem"] = broker_problem_.empty() ? channel_.reason() : broker_problem_;
  const Channel::Counters& counters = channel_.counters();
  connection["connections"] = number(counters.connections);
  connection["failures"] = number(counters.failures);
  connection["received"] = number(counters.received);
  connection["repeated"] = number(counters.repeated);
  connection["sent"] = number(counters.sent);
  connection["acknowledged"] = number(outbox_.acknowledged());
  connection["unreadable"] = number(unreadable_);
  connection["handled"] = number(bus_.delivered());

  Json::Value& queue = status["queue"];
  queue["messages"] = number(outbox_.messages());
  queue["bytes"] = number(outbox_.bytes());
  queue["states"] = number(outbox_.pending_states());
  queue["in_flight"] = number(outbox_.in_flight());
  queue["dropped"] = number(outbox_.dropped() + bus_.dropped());

  Json::Value& policy = status["policy"];
  policy["url"] = store_.Url(*policy_);
  policy["code"] = policy_code_;
  policy["problem"] = policy_problem_;
  policy["fetched"] = store_.response() ? UtcText(store_.response()->fetched) : "";

  status["lists"] = Json::arrayValue;
  for (const auto& [id, content] : contents_.contents()) {
    Json::Value list;
    list["content"] = id;
    if (content.decision) {
      list["applies"] = content.decision->applies;
      list["reason"] = content.decision->reason;
      list["decided"] = UtcText(content.decided);
    }
    status["lists"].append(std::move(list));
  }
  status["refused"] = Json::arrayValue;
  for (const auto& [id, refusal] : contents_.refusals()) {
    Json::Value refused;
    refused["content"] = id;
    refused["error"] = refusal.why;
    status["refused"].append(std::move(refused));
  }
  status["decisions"] = number(contents_.decisions());
  status["failed_writes"] = number(folder_.failures());

  YOX::YoxStatusManager& status_manager = *YOX::YoxStatusManager::GetInstance();
  Json::Value& errors = status["errors"];
  errors["critical"] = status_manager.HasCriticalError();
  errors["message"] =
      status_manager.HasCriticalError() ? status_manager.GetCriticalErrorMessage() : "";
  errors["counts"] = Json::arrayValue;
  for (const Gateway gateway :
       {Gateway::Registration, Gateway::HttpGateway, Gateway::MqttGateway, Gateway::Unknown}) {
    for (const auto& error : status_manager.GetErrors(gateway)) {
      Json::Value entry;
      entry["gateway"] = YOX::YoxStatusManager::GatewayToString(gateway);
      entry["code"] = error.errorCode;
      entry["count"] = error.count;
      entry["critical"] = error.turnedCritical;
      entry["last"] = UtcText(std::chrono::system_clock::to_time_t(error.lastOccurred));
      errors["counts"].append(std::move(entry));
    }
  }
  return status;
}

}  // namespace yoxd
