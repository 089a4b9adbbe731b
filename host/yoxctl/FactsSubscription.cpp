#include "host/yoxctl/FactsSubscription.h"

#include <mosquitto.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <deque>
#include <string_view>

#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Output.h"
#include "host/yoxd/Endpoint.h"
#include "host/yoxd/MqttFailure.h"

namespace yoxctl {
namespace {

constexpr int kKeepAliveSeconds = 60;

yoxd::Endpoint BrokerOf(const std::string& url) {
  auto broker = yoxd::Endpoint::FromUri(url);
  if (broker) return *std::move(broker);
  throw Refusal("--broker: expected mqtts://HOST[:PORT], found \"" + yox::Printable(url) + "\"");
}

}  // namespace

struct FactsSubscription::Client {
  explicit Client(const Options& options) : url(options.url) {
    static const int initialized = mosquitto_lib_init();
    client = initialized == MOSQ_ERR_SUCCESS ? mosquitto_new(nullptr, true, this) : nullptr;
    if (client == nullptr) throw Refusal("the MQTT library does not start");
    begin = options.prefix + "/devices/";
    topic = begin + "+/out/facts";
    mosquitto_connect_callback_set(client, [](mosquitto*, void* self, int code) {
      auto& that = *static_cast<Client*>(self);
      if (code != 0) {
        that.refusal = mosquitto_connack_string(code);
      } else {
        mosquitto_subscribe(that.client, nullptr, that.topic.c_str(), 1);
      }
    });
    mosquitto_subscribe_callback_set(
        client, [](mosquitto*, void* self, int, int count, const int* granted) {
          auto& that = *static_cast<Client*>(self);
          that.subscribed = count > 0 && granted[0] < 128;
          if (!that.subscribed) that.refusal = "the broker refuses to show " + that.topic;
        });
    mosquitto_message_callback_set(client,
                                   [](mosquitto*, void* self, const mosquitto_message* message) {
                                     static_cast<Client*>(self)->OnMessage(*message);
                                   });
    mosquitto_log_callback_set(client, [](mosquitto*, void* self, int level, const char* text) {
      auto& that = *static_cast<Client*>(self);
      if (level == MOSQ_LOG_ERR && that.refusal.empty()) that.refusal = yoxd::TlsFailure(text);
    });
  }
  ~Client() { mosquitto_destroy(client); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  void OnMessage(const mosquitto_message& message) {
    constexpr std::string_view kEnd = "/out/facts";
    std::string_view name = message.topic;
    name.remove_prefix(std::min(begin.size(), name.size()));
    name.remove_suffix(std::min(kEnd.size(), name.size()));
    messages.emplace_back(name, std::string(static_cast<const char*>(message.payload),
                                            static_cast<std::size_t>(message.payloadlen)));
  }

  [[noreturn]] void Fail(const std::string& what) const {
    throw Refusal(NameOf(url) + ": " + (refusal.empty() ? what : refusal));
  }
  void Require(int result) const {
    const int error = errno;
    if (result == MOSQ_ERR_SUCCESS) return;
    Fail(yoxd::MqttFailure(result, error));
  }

  const std::string url;
  std::string begin;
  std::string topic;
  mosquitto* client = nullptr;
  bool subscribed = false;
  std::string refusal;
  std::deque<std::pair<std::string, std::string>> messages;
};

FactsSubscription::FactsSubscription(const Options& options)
    : client_(std::make_unique<Client>(options)) {
  const yoxd::Endpoint broker = BrokerOf(options.url);
  const auto path = [](const std::optional<std::string>& text) {
    return text ? text->c_str() : nullptr;
  };
  if (mosquitto_tls_set(client_->client, options.ca_file.c_str(), nullptr,
                        path(options.certificate), path(options.key),
                        nullptr) != MOSQ_ERR_SUCCESS) {
    throw Refusal("the certificates cannot be read: " + NameOf(options.ca_file) + " " +
                  NameOf(options.certificate.value_or("")) + " " +
                  NameOf(options.key.value_or("")));
  }
  client_->Require(
      mosquitto_connect(client_->client, broker.host.c_str(), broker.port, kKeepAliveSeconds));
}

FactsSubscription::~FactsSubscription() = default;

std::optional<std::pair<std::string, std::string>> FactsSubscription::Next(
    std::size_t quiet_seconds) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::seconds(quiet_seconds);
  while (client_->messages.empty()) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    if (left.count() <= 0) {
      if (!client_->subscribed) client_->Fail("the broker does not respond");
      return std::nullopt;
    }
    client_->Require(mosquitto_loop(
        client_->client, static_cast<int>(std::min<std::int64_t>(left.count(), 1'000)), 1));
    if (!client_->refusal.empty()) client_->Fail("");
  }
  auto message = std::move(client_->messages.front());
  client_->messages.pop_front();
  return message;
}

}  // namespace yoxctl
