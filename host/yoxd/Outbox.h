#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "host/yoxd/StateFolder.h"

namespace yoxd {

struct OutboxLimits {
  std::size_t messages = 1'000;
  std::size_t bytes = std::size_t{4} << 20;
  bool on_disk = false;
};

// What is to be published, while there is a connection and while there is none.
//
// A *state* is the last value of a retained topic: a newer value replaces an older one that was not
// sent yet, and the same value again is not sent. A *message* is one of a queue, sent in order;
// when the queue is full the oldest one that was not sent yet is dropped and counted.
class Outbox {
 public:
  struct Item {
    std::string topic;
    std::string payload;
    bool retained = false;
  };

  // With `on_disk`, the queue continues where the former process left it.
  Outbox(StateFolder& folder, const OutboxLimits& limits);

  void SetState(const std::string& topic, const std::string& payload);
  // Sends the value of a topic again, although it has not changed.
  void Repeat(const std::string& topic);
  void Post(const std::string& topic, const std::string& payload);

  // The next item to send; std::nullopt when all have been sent.
  std::optional<Item> Next() const;
  // The item that Next returned was handed over, to be acknowledged under this number.
  void Sent(int number);
  void Acknowledged(int number);
  // The receiver has forgotten what it had: every state is sent again.
  void ForgetStates();
  // What was sent and not acknowledged is sent again.
  void Resend();

  std::size_t messages() const { return queue_.size(); }
  std::size_t bytes() const { return bytes_; }
  std::size_t pending_states() const { return waiting_states_.size(); }
  std::size_t in_flight() const { return in_flight_; }
  std::uint64_t dropped() const { return dropped_; }
  std::uint64_t acknowledged() const { return acknowledged_; }
  // Whether everything was sent and acknowledged.
  bool empty() const { return queue_.empty() && waiting_states_.empty() && in_flight_ == 0; }

 private:
  struct State {
    std::string payload;
    std::uint64_t waiting = 0;  // its key in waiting_states_; 0: sent
    int number = 0;             // under which it is in flight; 0: it is not
  };
  struct Message {
    std::string topic;
    std::string payload;
    int number = 0;  // under which it is in flight; 0: not sent yet
    bool acknowledged = false;
  };

  void Wait(const std::string& topic, State& state);
  void DropOldest();
  void RemoveAcknowledged();
  void Load();
  void Append(const Message& message);
  void Compact();

  StateFolder& folder_;
  const OutboxLimits limits_;
  std::map<std::string, State> states_;
  std::map<std::uint64_t, std::string> waiting_states_;  // their topics, in the order of changes
  std::uint64_t next_key_ = 1;
  std::deque<Message> queue_;
  std::size_t sent_ = 0;  // so many messages at the front of the queue were sent
  std::size_t bytes_ = 0;
  std::size_t lines_ = 0;  // in the file
  std::size_t in_flight_ = 0;
  std::uint64_t dropped_ = 0;
  std::uint64_t acknowledged_ = 0;
};

}  // namespace yoxd
