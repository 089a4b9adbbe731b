#include "host/yoxd/Channel.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <thread>
#include <utility>

#include "yox/base/Document.h"
#include "yox/platform/waits/Event.h"

#include "host/yoxd/Journal.h"
#include "host/yoxd/MqttFailure.h"
#include "host/yoxd/Text.h"

namespace yoxd {

namespace {

// How many messages may be on their way to the broker at once.
constexpr int kMostInFlight = 20;
// After so long a connection counts as good, and the next failure begins with a short wait.
constexpr auto kGood = std::chrono::seconds(30);
// How long a broker may take from the beginning of a connection to its acknowledgement.
constexpr auto kHandshake = std::chrono::seconds(30);

}  // namespace

// The library's client. Name resolution and the TCP connection block, so they have a thread of
// their own, and no other thread uses the client until that thread has set `established`.
struct Channel::Connection {
  mosquitto* client = nullptr;
  Channel* channel = nullptr;
  yox::platform::Event established;
  std::atomic<bool> connecting{false};
  int result = MOSQ_ERR_SUCCESS;
  int error = 0;        // errno, for a result of MOSQ_ERR_ERRNO
  std::string refusal;  // why the server's certificate was not accepted
  std::thread thread;

  ~Connection() {
    if (thread.joinable()) thread.join();
    if (client != nullptr) mosquitto_destroy(client);
  }

  static Channel& Of(void* context) { return *static_cast<Connection*>(context)->channel; }

  static void OnConnect(mosquitto* /*client*/, void* context, int code, int flags) {
    Of(context).OnConnect(code, (flags & 1) != 0);
  }
  static void OnDisconnect(mosquitto* /*client*/, void* context, int code) {
    Of(context).OnDisconnect(code);
  }
  static void OnPublish(mosquitto* /*client*/, void* context, int number) {
    Of(context).outbox_.Acknowledged(number);
  }
  static void OnMessage(mosquitto* /*client*/, void* context, const mosquitto_message* message) {
    Of(context).OnMessage({message->topic,
                           std::string(static_cast<const char*>(message->payload),
                                       static_cast<std::size_t>(std::max(message->payloadlen, 0))),
                           message->retain, message->qos > 0 ? message->mid : 0});
  }
  // The only place where the client library says what is wrong with a certificate. While it does,
  // its TLS session is still there.
  static void OnLog(mosquitto* client, void* context, int level, const char* text) {
    auto& connection = *static_cast<Connection*>(context);
    if (level != MOSQ_LOG_ERR || !connection.refusal.empty()) return;  // the first line is exact
    const auto* const session = static_cast<const SSL*>(mosquitto_ssl_get(client));
    const long verdict = session != nullptr ? SSL_get_verify_result(session) : X509_V_OK;
    const bool known = verdict != X509_V_OK && verdict != X509_V_ERR_UNSPECIFIED;
    connection.refusal = known ? std::string("the server's certificate is refused: ") +
                                     X509_verify_cert_error_string(verdict)
                               : TlsFailure(text);
  }

  void Start(Endpoint endpoint, int keep_alive, std::uint32_t session_seconds, bool version_5) {
    connecting = true;
    established.Clear();
    thread =
        std::thread([this, endpoint = std::move(endpoint), keep_alive, session_seconds, version_5] {
          mosquitto_property* properties = nullptr;
          if (version_5) {
            mosquitto_property_add_int32(&properties, MQTT_PROP_SESSION_EXPIRY_INTERVAL,
                                         session_seconds);
            mosquitto_property_add_int32(
                &properties, MQTT_PROP_MAXIMUM_PACKET_SIZE,
                static_cast<std::uint32_t>(yox::kMaxDocumentSize + (std::size_t{1} << 16)));
          }
          result = mosquitto_connect_bind_v5(client, endpoint.host.c_str(), endpoint.port,
                                             keep_alive, nullptr, properties);
          error = errno;
          mosquitto_property_free_all(&properties);
          connecting = false;
          established.Set();
        });
  }
};

Channel::Channel(ChannelSettings settings, Outbox& outbox,
                 const std::deque<Redeliveries::Entry>& recent, Handlers handlers)
    : settings_(std::move(settings)),
      outbox_(outbox),
      handlers_(std::move(handlers)),
      backoff_(settings_.reconnect_first, settings_.reconnect_most) {
  redeliveries_.Restore(recent);
  static const int initialized = mosquitto_lib_init();
  if (initialized != MOSQ_ERR_SUCCESS) throw std::runtime_error("the MQTT library does not start");
}

Channel::~Channel() { Close(std::chrono::milliseconds(0)); }

bool Channel::is_blocked() const { return connection_ && connection_->connecting; }

void Channel::Use(std::optional<Endpoint> endpoint) {
  if (endpoint == endpoint_) return;
  endpoint_ = std::move(endpoint);
  if (is_blocked()) {
    outdated_ = true;  // Run goes on when the attempt has ended by itself
    return;
  }
  Close(std::chrono::milliseconds(500));
  Restart();
}

// Begins with another endpoint, without a connection.
void Channel::Restart() {
  closing_ = false;
  outdated_ = false;
  outbox_.ForgetStates();
  reason_.clear();
  backoff_.Reset();
  state_ = endpoint_ ? State::kWaiting : State::kOff;
  retry_ = handlers_.now();
}

void Channel::ConnectNow() {
  if (state_ == State::kWaiting) retry_ = handlers_.now();
}

void Channel::Begin() {
  if (!connection_) {
    connection_ = std::make_shared<Connection>();
    connection_->channel = this;
    connection_->client = mosquitto_new(settings_.client_id.c_str(), false, connection_.get());
    mosquitto* const client = connection_->client;
    if (client == nullptr) return Fail(MOSQ_ERR_NOMEM, mosquitto_strerror(MOSQ_ERR_NOMEM));
    mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION,
                         settings_.version_5 ? MQTT_PROTOCOL_V5 : MQTT_PROTOCOL_V311);
    mosquitto_int_option(client, MOSQ_OPT_RECEIVE_MAXIMUM, 64);
    mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1);
    // What is to be sent is sent by mosquitto_loop_write alone. Otherwise an acknowledgement would
    // be sent before the message was handed over.
    mosquitto_threaded_set(client, true);
    mosquitto_connect_with_flags_callback_set(client, Connection::OnConnect);
    mosquitto_disconnect_callback_set(client, Connection::OnDisconnect);
    mosquitto_publish_callback_set(client, Connection::OnPublish);
    mosquitto_message_callback_set(client, Connection::OnMessage);
    mosquitto_log_callback_set(client, Connection::OnLog);
    if (!settings_.will_topic.empty()) {
      mosquitto_will_set(client, settings_.will_topic.c_str(),
                         static_cast<int>(settings_.will_payload.size()),
                         settings_.will_payload.data(), 1, true);
    }
    const auto path = [](const std::string& text) { return text.empty() ? nullptr : text.c_str(); };
    const int result =
        mosquitto_tls_set(client, path(endpoint_->trust_file), nullptr,
                          path(endpoint_->certificate), path(endpoint_->key), nullptr);
    if (result != MOSQ_ERR_SUCCESS) {
      return Fail(result, "the certificates cannot be read: " + endpoint_->trust_file + " " +
                              endpoint_->certificate + " " + endpoint_->key);
    }
    // Also the default: required, and the server's name is compared.
    mosquitto_tls_opts_set(client, SSL_VERIFY_PEER, nullptr, nullptr);
  }
  connection_->refusal.clear();
  state_ = State::kConnecting;
  connected_ = handlers_.now();
  connection_->Start(*endpoint_, settings_.keep_alive_seconds, settings_.session_seconds,
                     settings_.version_5);
}

// The thread has made the TCP connection, or not.
void Channel::Established() {
  connection_->thread.join();
  connection_->established.Clear();
  read_ = written_ = handlers_.now();
  if (const int result = connection_->result; result != MOSQ_ERR_SUCCESS) {
    Fail(result, MqttFailure(result, connection_->error));
  }
}

void Channel::Fail(int code, const std::string& what) {
  ++counters_.failures;
  reason_ = connection_ && !connection_->refusal.empty() ? connection_->refusal : what;
  if (connection_) connection_->refusal.clear();
  state_ = State::kWaiting;
  const auto wait = backoff_.Next();
  retry_ = handlers_.now() + wait;
  handlers_.failed(code, reason_);
}

void Channel::OnConnect(int code, bool session_present) {
  if (code != 0) {
    reason_ = settings_.version_5 ? mosquitto_reason_string(code) : mosquitto_connack_string(code);
    connection_->refusal = "the broker refuses the connection: " + reason_;
    return;
  }
  state_ = State::kConnected;
  connected_ = handlers_.now();
  reason_.clear();
  ++counters_.connections;
  redeliveries_.Connected(session_present);
  if (!session_present) outbox_.ForgetStates();
  for (const std::string& topic : settings_.subscriptions) {
    mosquitto_subscribe(connection_->client, nullptr, topic.c_str(), 1);
  }
  handlers_.connected();
}

void Channel::OnDisconnect(int code) {
  lost_ = true;
  lost_code_ = code;
}

void Channel::OnMessage(Received message) {
  ++counters_.received;
  if (message.identifier != 0 && !message.retained && redeliveries_.IsRepeated(message)) {
    ++counters_.repeated;
    return;
  }
  handlers_.received(std::move(message));
}

void Channel::Pump() {
  while (state_ == State::kConnected && outbox_.in_flight() < kMostInFlight) {
    const auto item = outbox_.Next();
    if (!item) return;
    int number = 0;
    const int result = mosquitto_publish(connection_->client, &number, item->topic.c_str(),
                                         static_cast<int>(item->payload.size()),
                                         item->payload.data(), 1, item->retained);
    if (result != MOSQ_ERR_SUCCESS) return;
    outbox_.Sent(number);
    ++counters_.sent;
    written_ = handlers_.now();
  }
}

void Channel::Drive(bool readable, bool writable) {
  mosquitto* const client = connection_->client;
  int result = MOSQ_ERR_SUCCESS;
  if (readable) {
    read_ = handlers_.now();
    result = mosquitto_loop_read(client, 1);
  }
  if (result == MOSQ_ERR_SUCCESS && writable && mosquitto_want_write(client)) {
    written_ = handlers_.now();
    result = mosquitto_loop_write(client, 1);
  }
  if (result != MOSQ_ERR_SUCCESS && !lost_) OnDisconnect(result);
}

void Channel::Watch(std::vector<Watched>& watched) {
  if (!connection_) return;
  if (connection_->thread.joinable()) {
    watched.push_back({connection_->established.handle().native(), true, false, {}});
    return;
  }
  const int socket = mosquitto_socket(connection_->client);
  if (socket < 0) return;
  const bool write = mosquitto_want_write(connection_->client);
  const bool read = handlers_.may_receive();
  if (!read && !write) return;
  watched.push_back(socket_.Watch(socket, read, write, [this](bool readable, bool writable) {
    if (connection_ && !connection_->thread.joinable()) Drive(readable, writable);
  }));
}

std::optional<Moment> Channel::Due() const {
  switch (state_) {
    case State::kOff:
      return std::nullopt;
    case State::kWaiting:
      return retry_;
    case State::kConnecting:
      return connected_ + kHandshake;
    case State::kConnected:
      break;
  }
  // When a ping is to be sent, or its answer is missing. The library counts whole seconds.
  return std::min(read_, written_) + std::chrono::seconds(settings_.keep_alive_seconds) +
         std::chrono::milliseconds(50);
}

void Channel::Run(Moment now) {
  if (connection_ && connection_->thread.joinable()) {
    if (connection_->connecting) return;
    if (outdated_) {
      connection_.reset();
      Restart();
    } else {
      Established();
    }
  }
  if (state_ == State::kConnected && now >= *Due()) {
    const int result = mosquitto_loop_misc(connection_->client);
    read_ = written_ = now;
    if (result != MOSQ_ERR_SUCCESS && !lost_) OnDisconnect(result);
  }
  if (state_ == State::kConnecting && now >= connected_ + kHandshake) {
    connection_->refusal = "the broker does not complete the connection";
    OnDisconnect(MOSQ_ERR_CONN_LOST);
    mosquitto_disconnect(connection_->client);
  }
  if (lost_) {
    lost_ = false;
    if (state_ == State::kConnected && now - connected_ >= kGood) backoff_.Reset();
    if (state_ != State::kWaiting) {
      Fail(lost_code_,
           lost_code_ == 0 ? "the broker ended the connection" : mosquitto_strerror(lost_code_));
    }
  }
  if (state_ == State::kWaiting && endpoint_ && now >= retry_ && !closing_) Begin();
  Pump();
}

void Channel::Close(std::chrono::milliseconds limit) {
  if (!connection_) return;
  closing_ = true;
  if (is_blocked()) return;
  if (connection_->thread.joinable()) connection_->thread.join();
  const Moment end = handlers_.now() + limit;
  bool ended = false;
  while (state_ == State::kConnected && mosquitto_socket(connection_->client) >= 0) {
    Pump();
    if (!ended && (outbox_.empty() || handlers_.now() >= end)) {
      mosquitto_disconnect(connection_->client);
      ended = true;
    }
    if (ended && (!mosquitto_want_write(connection_->client) ||
                  handlers_.now() >= end + std::chrono::milliseconds(500))) {
      break;
    }
    // After the farewell the library takes whatever arrives for a fault, and would drop the
    // connection before the farewell was sent.
    const SocketState socket =
        SocketWatch::Wait(mosquitto_socket(connection_->client), !ended,
                          mosquitto_want_write(connection_->client), std::chrono::milliseconds(50));
    Drive(socket.readable, socket.writable);
    if (lost_) break;
  }
  connection_.reset();
  lost_ = false;
  outbox_.Resend();
  state_ = State::kOff;
}

}  // namespace yoxd
