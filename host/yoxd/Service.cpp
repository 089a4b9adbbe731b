#include "host/yoxd/Service.h"

#include <algorithm>
#include <utility>

#include "yox/base/Log.h"
#include "yox/base/Printable.h"
#include "yox/clientbase/CGuid.h"
#include "yox/notifications/YOXPublisherSubscriber.h"
#include "yox/status/YoxStatusManager.h"

#include "host/yoxd/Journal.h"
#include "host/yoxd/Text.h"

namespace yoxd {
namespace {

using Gateway = YOX::YoxStatusManager::Gateway;

// The bus keeps 1024 records. So many received ones may be on it at once; more wait.
constexpr std::int64_t kMostOnBus = 256;
constexpr std::size_t kMostFromBus = 4'096;
// A delivery that the bus gave up does not hold up what follows.
constexpr auto kBusPatience = std::chrono::seconds(15);
// Marks the records that came from the channel.
constexpr NotificationProvider kFromChannel{1};

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

std::vector<std::string> Texts(const PlatformPolicy::List& list) {
  std::vector<std::string> texts;
  for (const yox::WString& text : list) texts.push_back(Narrow(text));
  return texts;
}

YOX::YoxStatusManager& StatusManager() { return *YOX::YoxStatusManager::GetInstance(); }

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
      fetch_(
          std::chrono::minutes(configuration_.policy_interval_minutes),
          Backoff(std::chrono::milliseconds(configuration_.reconnect_first_milliseconds),
                  std::chrono::seconds(configuration_.reconnect_most_seconds)),
          [this] { return PolicyRequest(); },
          [this](const PolicyFetch::Result& result) { return OnPolicy(result); }),
      today_(Today()),
      telemetry_(YOX::g_log) {
  telemetry_.RegisterRecollectTelemetryHandler([this](YOX::SendTelemetryCommandParams&) {
    recollect_ = true;
    woken_.Set();
  });
  telemetry_.RegisterDuplicateTelemetryHandler([this](YOX::SendTelemetryCommandParams&) {
    repeat_ = true;
    woken_.Set();
  });
  // The record of a simulated device may have been kept from before its profile was edited.
  if (platform_.simulated() != nullptr) device_.Recollect();
  SubscribeToBus();
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
  fetch_.Hurry();
}

Service::~Service() {
  auto* const bus = YOXPublisherSubscriber::GetInstance();
  bus->Unsubscribe(forwarder_);
  bus->Unsubscribe(commands_);
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
  return inbox_.waiting() && on_bus_ < kMostOnBus && (queue_has_room || !MayReceive());
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

// Returns whether the message is on the bus now; one that cannot be read is not.
bool Service::PassOn(const Received& message) {
  return message.topic.ends_with("/in/channel") ? OnChannelMessage(message)
                                                : OnNotification(message);
}

bool Service::OnChannelMessage(const Received& message) {
  YOXNotificationData record(Wide(message.payload), true);
  if (record.getMessageForKXP().empty()) {
    ++unreadable_;
    Report("message-refused", message.topic, "not JSON");
    return false;
  }
  record.setTopic(Wide(message.topic));
  return ToBus(std::move(record));
}

bool Service::OnNotification(const Received& message) {
  try {
    const Json::Value envelope = ReadJson(message.payload);
    if (!envelope.isObject() || envelope["notification_type"] != "yox" ||
        !envelope["topicId"].isInt() || !envelope["eventState"].isInt() ||
        !envelope["payload"].isString()) {
      throw std::runtime_error("expected the envelope of an internal notification, found " +
                               yox::Printable(message.payload));
    }
  } catch (const std::exception& error) {
    ++unreadable_;
    Report("message-refused", message.topic, error.what());
    return false;
  }
  YOXNotificationData record(Wide(message.payload), false);
  record.setTopic(Wide(message.topic));
  return ToBus(std::move(record));
}

bool Service::ToBus(YOXNotificationData record) {
  record.setNotificationProvider(kFromChannel);
  if (on_bus_++ == 0) progress_ = SteadyClock::now();
  // Not to the forwarder, which would send it back.
  YOXPublisherSubscriber::GetInstance()->Notify(record, forwarder_);
  return true;
}

// Marks what the bus has delivered since the last call.
void Service::MarkHandled() {
  std::vector<std::uint64_t> numbers;
  for (const std::uint64_t handled = handled_; marked_ < handled; ++marked_) {
    if (passed_on_.empty()) continue;  // of a delivery that was given up
    numbers.push_back(passed_on_.front());
    passed_on_.pop_front();
  }
  inbox_.Handled(numbers);
}

// --- what the bus delivers ---

void Service::SubscribeToBus() {
  auto* const bus = YOXPublisherSubscriber::GetInstance();
  forwarder_ = bus->Subscribe([this](YOXNotificationData& record) { FromBus(record); }, false);
  commands_ = bus->Subscribe(
      [this](YOXNotificationData& record) {
        if (record.getNotificationProvider() != kFromChannel) return;
        if (record.isKXPNotification() && Narrow(record.getMessageType()) == "sendTelemetry") {
          telemetry_.ProcessCommand(record);
        }
        ++handled_;
        --on_bus_;
        woken_.Set();  // to mark it
      },
      false);
}

void Service::FromBus(const YOXNotificationData& record) {
  {
    const yox::MutexLock lock(mutex_);
    if (from_bus_.size() >= kMostFromBus) {
      ++from_bus_dropped_;
      return;
    }
    from_bus_.push_back(record);
  }
  woken_.Set();
}

void Service::SendFromBus() {
  std::deque<YOXNotificationData> records;
  {
    const yox::MutexLock lock(mutex_);
    records.swap(from_bus_);
  }
  for (const YOXNotificationData& record : records) {
    if (record.isKXPNotification()) {
      outbox_.Post(Out("channel"), Narrow(record.getMessageForKXP()));
    } else {
      outbox_.Post(Out("notification"), Narrow(record.getJsonMessage()));
    }
  }
}

// --- the policy ---

void Service::ApplyPolicy() {
  if (store_.Provision()) {
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

std::optional<PolicyFetch::Request> Service::PolicyRequest() const {
  PolicyFetch::Request request;
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

bool Service::OnPolicy(const PolicyFetch::Result& result) {
  policy_code_ = result.code;
  policy_problem_ = result.reason;
  if (result.code == 200) {
    const PolicyStore::Response response{result.body, store_.Url(*policy_), result.etag,
                                         result.last_modified, DeviceTime()};
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
  channel_.Hurry();
  fetch_.Hurry();
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
  if (on_bus_ > 0) sooner(progress_ + kBusPatience);
  return due;
}

void Service::Run(Moment now) {
  platform_.PassTime(now);
  if (woken_.IsSet()) {
    woken_.Clear();
    SendFromBus();
    MarkHandled();
    progress_ = now;
  }
  if (on_bus_ > 0 && now - progress_ >= kBusPatience) {
    on_bus_ = 0;
    inbox_.Handled({passed_on_.begin(), passed_on_.end()});
    passed_on_.clear();
  }
  while (MayPassOn()) {
    const Inbox::Item item = inbox_.Next();
    if (PassOn(item.message)) {
      passed_on_.push_back(item.number);
    } else {
      inbox_.Handled({item.number});
    }
  }
  if (recollect_.exchange(false)) {
    device_.Recollect();
    look_now_ = true;
    repeat_ = true;
    YOX::SendTelemetryCommandHandler::Notify();
  }
  // The connection's keep-alive is due at about the same time: one wake-up serves both.
  const bool due = now + std::chrono::milliseconds(900) >= look_;
  if (look_now_ || due || changed_.IsSet() || Today() != today_) {
    if (due && !store_.provisioned()) ApplyPolicy();
    Look();
  }
  if (repeat_.exchange(false)) {
    outbox_.Repeat(Out("facts"));
    outbox_.Repeat(Out("tags"));
  }
}

// --- health ---

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
  connection["handled"] = number(handled_.load());

  Json::Value& queue = status["queue"];
  queue["messages"] = number(outbox_.messages());
  queue["bytes"] = number(outbox_.bytes());
  queue["states"] = number(outbox_.pending_states());
  queue["in_flight"] = number(outbox_.in_flight());
  {
    const yox::MutexLock lock(mutex_);
    queue["dropped"] = number(outbox_.dropped() + from_bus_dropped_);
  }

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

  Json::Value& errors = status["errors"];
  errors["critical"] = StatusManager().HasCriticalError();
  errors["message"] =
      StatusManager().HasCriticalError() ? StatusManager().GetCriticalErrorMessage() : "";
  errors["counts"] = Json::arrayValue;
  for (const Gateway gateway :
       {Gateway::Registration, Gateway::HttpGateway, Gateway::MqttGateway, Gateway::Unknown}) {
    for (const auto& error : StatusManager().GetErrors(gateway)) {
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
