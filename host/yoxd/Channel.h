#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/yoxd/Backoff.h"
#include "host/yoxd/Endpoint.h"
#include "host/yoxd/Outbox.h"
#include "host/yoxd/Part.h"
#include "host/yoxd/Received.h"
#include "host/yoxd/Redeliveries.h"
#include "host/yoxd/SocketWatch.h"

namespace yoxd {

struct ChannelSettings {
  std::string client_id = {};
  bool version_5 = true;
  int keep_alive_seconds = 60;
  std::uint32_t session_seconds = 86'400;
  std::chrono::milliseconds reconnect_first{1'000};
  std::chrono::milliseconds reconnect_most{300'000};
  std::vector<std::string> subscriptions = {};
  std::string will_topic = {};  // retained, published by the broker when the connection is lost
  std::string will_payload = {};
};

// The connection to the broker: established again whenever it is lost, with exponential back-off
// and full jitter. Sends what is in the outbox, in order and with QoS 1. A received message is
// acknowledged after `Handlers::received` has returned.
class Channel final : public Part {
 public:
  struct Counters {
    std::uint64_t connections = 0;
    std::uint64_t failures = 0;
    std::uint64_t received = 0;
    std::uint64_t repeated = 0;
    std::uint64_t sent = 0;
  };
  enum class State { kOff, kConnecting, kConnected, kWaiting };

  // What the channel calls. `failed` gets a number and a line that says what went wrong.
  struct Handlers {
    std::function<void(Received)> received;
    std::function<void()> connected;
    std::function<void(int code, const std::string& reason)> failed;
    std::function<bool()> may_receive;  // false: messages stay in the connection for now
    std::function<Moment()> now = SteadyClock::now;
  };

  // `recent` is what a former process received last (Redeliveries).
  Channel(ChannelSettings settings, Outbox& outbox, const std::deque<Redeliveries::Entry>& recent,
          Handlers handlers);
  // Ends the connection: what can be sent within `Close`'s limit is sent.
  ~Channel() override;

  // Connects to this broker from now on; std::nullopt: to none. The same one again changes nothing.
  void Use(std::optional<Endpoint> endpoint);
  // Connects without waiting for the back-off.
  void ConnectNow();
  // Sends what is in the outbox and ends the connection in order, within the time limit.
  void Close(std::chrono::milliseconds limit);
  // Whether a thread is still trying to connect, which cannot be interrupted: the process may then
  // only be ended without destroying what that thread uses.
  bool is_blocked() const;

  void Watch(std::vector<Watched>& watched) override;
  std::optional<Moment> Due() const override;
  void Run(Moment now) override;

  State state() const { return state_; }
  const std::string& reason() const { return reason_; }  // of the last failure; empty: none since
  const Counters& counters() const { return counters_; }
  const std::optional<Endpoint>& endpoint() const { return endpoint_; }

 private:
  struct Connection;
  friend struct Connection;

  void Restart();
  void Begin();
  void Established();
  void OnConnect(int code, bool session_present);
  void OnDisconnect(int code);
  void OnMessage(Received message);
  void Fail(int code, const std::string& what);
  void Pump();
  void Drive(bool readable, bool writable);

  const ChannelSettings settings_;
  Outbox& outbox_;
  const Handlers handlers_;
  std::optional<Endpoint> endpoint_;
  std::shared_ptr<Connection> connection_;
  State state_ = State::kOff;
  std::string reason_;
  Backoff backoff_;
  Moment retry_{};
  Moment connected_{};
  Moment written_{};
  Moment read_{};
  bool lost_ = false;  // found in a callback, handled after it
  int lost_code_ = 0;
  bool closing_ = false;
  bool outdated_ = false;  // the attempt that runs is for a former endpoint
  SocketWatch socket_;
  Redeliveries redeliveries_;
  Counters counters_;
};

}  // namespace yoxd
