#include "host/yoxd/Service.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "yox/base/Printable.h"
#include "yox/clientbase/CGuid.h"
#include "yox/status/YoxStatusManager.h"

#include "host/yoxd/Journal.h"
#include "host/yoxd/Text.h"

namespace yoxd {
namespace {

using Gateway = YOX::YoxStatusManager::Gateway;

std::string DeviceId(const Configuration& configuration, StateFolder& folder) {
  if (!configuration.device_id.empty()) return configuration.device_id;
  constexpr const char* kFile = "device-id";
  if (const auto kept = folder.Read(kFile); kept && IsName(*kept)) return *kept;
  const std::string id = Narrow(YOX::Utility::CGuid::NewGuid(true));
  if (!IsName(id) || !folder.Write(kFile, id)) {
    throw std::runtime_error("the device's identifier cannot be created");
  }
  return id;
}

ChannelSettings SettingsOf(const Configuration& configuration, const std::string& id) {
  const std::string device = configuration.topic_prefix + "/devices/" + id;
  Json::Value offline;
  offline["online"] = false;
  return {.client_id = id,
          .version_5 = configuration.mqtt_version == "5",
          .keep_alive_seconds = static_cast<int>(configuration.keep_alive_seconds),
          .session_seconds = static_cast<std::uint32_t>(configuration.session_hours * 3'600),
          .reconnect_first = std::chrono::milliseconds(configuration.reconnect_first_milliseconds),
          .reconnect_most = std::chrono::seconds(configuration.reconnect_most_seconds),
          .subscriptions = {configuration.topic_prefix + "/content/+", device + "/in/channel",
                            device + "/in/notification"},
          .will_topic = device + "/out/state",
          .will_payload = JsonLine(offline)};
}

OutboxLimits LimitsOf(const Configuration& configuration) {
  return {.messages = static_cast<std::size_t>(configuration.queue_messages),
          .bytes = static_cast<std::size_t>(configuration.queue_bytes),
          .on_disk = configuration.queue_on_disk};
}

// Reads a message of the channel. Throws std::exception for one that cannot be read.
YOXNotificationData NotificationOf(const Received& message) {
  if (message.topic.ends_with("/in/channel")) {
    YOXNotificationData record(Wide(message.payload), true);
    if (record.getMessageForKXP().empty()) throw std::runtime_error("not JSON");
    return record;
  }
  const Json::Value envelope = ReadJson(message.payload);
  if (!envelope.isObject() || envelope["notification_type"] != "yox" ||
      !envelope["topicId"].isInt() || !envelope["eventState"].isInt() ||
      !envelope["payload"].isString()) {
    throw std::runtime_error("expected the envelope of an internal notification, found " +
                             yox::Printable(message.payload));
  }
  return YOXNotificationData(Wide(message.payload), false);
}

std::vector<std::string> Texts(const PlatformPolicy::List& list) {
  std::vector<std::string> texts;
  for (const yox::WString& text : list) texts.push_back(Narrow(text));
  return texts;
}

YOX::YoxStatusManager& StatusManager() { return *YOX::YoxStatusManager::GetInstance(); }

}  // namespace

Service::Service(const Configuration& configuration, ChosenPlatform& platform)
    : configuration_(configuration),
      platform_(platform),
      folder_(ChosenPlatform::StateRoot()),
      id_(DeviceId(configuration_, folder_)),
      started_(DeviceTime()),
      device_(changed_),
      outbox_(folder_, LimitsOf(configuration_)),
      inbox_(folder_),
      contents_(folder_),
      store_(folder_, configuration_),
      channel_(SettingsOf(configuration_, id_), outbox_, inbox_.recent(),
               {.received = [this](Received message) { OnReceived(std::move(message)); },
                .connected =
                    [this] {
                      StatusManager().ClearErrors(Gateway::MqttGateway);
                      Journal::Notice("channel", "connected to " + channel_.endpoint()->host);
                    },
                .failed =
                    [this](int code, const std::string& reason) {
                      StatusManager().RegisterError(Gateway::MqttGateway, code);
                      Journal::Warning("channel", channel_.endpoint()->host + ": " + reason);
                    },
                .may_receive = [this] { return MayReceive(); }}),
      fetch_(std::chrono::minutes(configuration_.policy_interval_minutes),
             Backoff(std::chrono::milliseconds(configuration_.reconnect_first_milliseconds),
                     std::chrono::seconds(configuration_.reconnect_most_seconds)),
             {.request = [this] { return PolicyRequest(); },
              .done = [this](const HttpsResponse& response) { return OnPolicy(response); }}),
      today_(Today()),
      telemetry_(woken_),
      bus_(woken_, [this](const YOXNotificationData& record) { telemetry_.Receive(record); }) {
  // The record of a simulated device may have been kept from before its profile was edited.
  if (platform_.simulated() != nullptr) device_.Recollect();
  Json::Value online;
  online["online"] = true;
  online["version"] = YOXD_VERSION;
  online["started"] = UtcText(started_);
  outbox_.SetState(Out("state"), JsonLine(online));
  for (const auto& [id, content] : contents_.contents()) {
    if (content.decision) PublishDecision(id, content);
  }
  Look();
  ApplyPolicy();
  fetch_.FetchNow();
}

std::vector<Part*> Service::Parts() { return {this, &channel_, &fetch_}; }

std::string Service::Out(std::string_view leaf) const {
  return configuration_.topic_prefix + "/devices/" + id_ + "/out/" + std::string(leaf);
}

// --- the device ---

void Service::Look() {
  changed_.Clear();
  today_ = Today();
  look_now_ = false;
  contents_.DecideAll(device_, [this](const std::string& id, const Contents::Content& content) {
    PublishDecision(id, content);
  });
  PublishDevice();
  look_ = SteadyClock::now() + std::chrono::seconds(configuration_.keep_alive_seconds);
}

void Service::PublishDevice() {
  outbox_.SetState(Out("facts"), device_.FactsText(id_, contents_.Lists()));
  outbox_.SetState(Out("tags"), device_.TagsText());
}

void Service::PublishDecision(const std::string& id, const Contents::Content& content) {
  outbox_.SetState(Out("decisions/" + id), Contents::DecisionText(id, content));
}

void Service::Report(const std::string& kind, const std::string& subject,
                     const std::string& error) {
  Journal::Warning("report", kind + ": " + subject + ": " + error);
  Json::Value report;
  report["kind"] = kind;
  report["subject"] = subject;
  report["error"] = error;
  report["at"] = UtcText(DeviceTime());
  outbox_.Post(Out("reports"), JsonLine(report));
}

void Service::FollowProfile() {
  if (!platform_.Follow()) return;
  device_.Recollect();
  look_now_ = true;
}

void Service::UserChanged() {
  device_.RefreshUser();
  look_now_ = true;
}

// --- what the broker sends ---

// What is not received waits at the broker, which slows down (MayReceive). That must not wait for
// room in the queue: the acknowledgements that make room come through the same connection.

// Whether the next message is passed on now. A flood fills neither the bus nor the queue, each of
// which would drop messages, as long as it is not larger than what may wait here.
bool Service::MayPassOn() const {
  const bool queue_has_room =
      outbox_.messages() * 2 < static_cast<std::size_t>(configuration_.queue_messages);
  return inbox_.waiting() && bus_.has_room() && (queue_has_room || !MayReceive());
}

void Service::OnReceived(Received message) {
  const std::string content = configuration_.topic_prefix + "/content/";
  if (message.topic.starts_with(content)) {
    OnList(message.topic.substr(content.size()), message.payload);
  } else {
    inbox_.Add(std::move(message));
  }
}

void Service::OnList(const std::string& id, const std::string& text) {
  std::string why;
  switch (contents_.Receive(id, text, why)) {
    case Contents::Receipt::kUnchanged:
      return;
    case Contents::Receipt::kRefused:
      return Report("list-refused", id, why);
    case Contents::Receipt::kWithdrawn:
      outbox_.SetState(Out("decisions/" + id), "");
      break;
    case Contents::Receipt::kAccepted:
      contents_.DecideOne(device_, id,
                          [this](const std::string& name, const Contents::Content& decided) {
                            PublishDecision(name, decided);
                          });
      break;
  }
  // The registry values that the facts include are those that the lists ask for. Once for many.
  look_ = SteadyClock::now();
}

// Passes the next message on to the bus; one that cannot be read is refused.
void Service::PassOn() {
  const auto [number, message] = inbox_.Next();
  try {
    YOXNotificationData record = NotificationOf(message);
    record.setTopic(Wide(message.topic));
    bus_.Publish(std::move(record), number);
  } catch (const std::exception& error) {
    ++unreadable_;
    Report("message-refused", message.topic, error.what());
    inbox_.Handled({number});
  }
}

// --- what other components send ---

void Service::SendFromBus() {
  for (const YOXNotificationData& record : bus_.TakeCollected()) {
    if (record.isKXPNotification()) {
      outbox_.Post(Out("channel"), Narrow(record.getMessageForKXP()));
    } else {
      outbox_.Post(Out("notification"), Narrow(record.getJsonMessage()));
    }
  }
}

// --- the policy ---

void Service::ApplyPolicy() {
  const bool first = !store_.provisioned();
  if (store_.Provision()) {
    if (first) fetch_.FetchNow();
    StatusManager().ClearErrors(Gateway::Registration);
  } else {
    StatusManager().RegisterError(Gateway::Registration, 1);
  }
  // Not by assignment, which appends the lists.
  policy_.emplace(store_.Effective());
  if (!store_.provisioned()) return;
  std::string why;
  auto endpoint = store_.Broker(*policy_, why);
  if (why != broker_problem_ && !why.empty()) Journal::Error("policy", why);
  broker_problem_ = why;
  channel_.Use(std::move(endpoint));
}

std::optional<HttpsRequest> Service::PolicyRequest() const {
  HttpsRequest request;
  request.url = store_.Url(*policy_);
  if (request.url.empty()) return std::nullopt;
  if (const auto& response = store_.response(); response && response->url == request.url) {
    request.etag = response->etag;
    request.last_modified = response->last_modified;
  }
  request.certificate = store_.certificate();
  request.key = store_.key();
  request.trust = {.roots = Texts(policy_->tls_rootca_thumbprint_list()),
                   .common_names = Texts(policy_->tls_leaf_cn_list()),
                   .allow_self_signed = policy_->allow_self_signed_cert()};
  request.timeout = std::chrono::seconds(configuration_.policy_timeout_seconds);
  return request;
}

bool Service::OnPolicy(const HttpsResponse& result) {
  policy_code_ = result.code;
  policy_problem_ = result.reason;
  if (result.code == 200) {
    const PolicyStore::Response response{result.body, store_.Url(*policy_), result.headers.etag,
                                         result.headers.last_modified, DeviceTime()};
    std::string why;
    if (store_.Receive(response, why)) {
      ApplyPolicy();
    } else {
      policy_problem_ = "the policy is refused: " + why;
    }
  }
  if (policy_problem_.empty()) {
    StatusManager().ClearErrors(Gateway::HttpGateway);
    return true;
  }
  StatusManager().RegisterError(Gateway::HttpGateway, result.code);
  Journal::Warning("policy", policy_problem_);
  return false;
}

// --- the loop ---

void Service::Reload() {
  device_.Recollect();
  ApplyPolicy();
  channel_.ConnectNow();
  fetch_.FetchNow();
  look_now_ = true;
}

bool Service::End() {
  Json::Value offline;
  offline["online"] = false;
  outbox_.SetState(Out("state"), JsonLine(offline));
  channel_.Close(std::chrono::seconds(2));
  return !channel_.is_blocked();
}

void Service::Watch(std::vector<Watched>& watched) {
  watched.push_back({changed_.handle().native(), true, false, {}});
  watched.push_back({woken_.handle().native(), true, false, {}});
}

std::optional<Moment> Service::Due() const {
  std::optional<Moment> due = platform_.Due();
  const auto sooner = [&due](Moment moment) { due = std::min(due.value_or(moment), moment); };
  // Later than the connection's keep-alive, whose wake-up Run uses.
  sooner(look_ + std::chrono::seconds(1));
  // A clock that is moved by hand has its own steps, above.
  if (!due || !platform_.Due()) sooner(SteadyClock::now() + std::chrono::seconds(SecondsOfToday()));
  if (const auto moment = bus_.Due()) sooner(*moment);
  return due;
}

void Service::Run(Moment now) {
  platform_.PassTime(now);
  woken_.Clear();
  SendFromBus();
  inbox_.Handled(bus_.TakeDelivered(now));
  while (MayPassOn()) PassOn();
  if (telemetry_.TakeCollect()) {
    device_.Recollect();
    look_now_ = true;
    telemetry_.Collected();
  }
  // The connection's keep-alive is due at about the same time: one wake-up serves both.
  const bool due = now + std::chrono::milliseconds(900) >= look_;
  if (look_now_ || due || changed_.IsSet() || Today() != today_) {
    if (due && !store_.provisioned()) ApplyPolicy();
    Look();
  }
  if (telemetry_.TakeSend()) {
    outbox_.Repeat(Out("facts"));
    outbox_.Repeat(Out("tags"));
  }
}

}  // namespace yoxd
