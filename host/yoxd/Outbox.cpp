#include "host/yoxd/Outbox.h"

#include <json/value.h>

#include <utility>

#include "yox/base/Document.h"

#include "host/yoxd/Journal.h"
#include "host/yoxd/Text.h"

namespace yoxd {
namespace {

constexpr const char* kFile = "queue.jsonl";

std::size_t SizeOf(std::string_view topic, std::string_view payload) {
  return topic.size() + payload.size();
}

}  // namespace

Outbox::Outbox(StateFolder& folder, const OutboxLimits& limits) : folder_(folder), limits_(limits) {
  if (limits_.on_disk) {
    Load();
  } else {
    folder_.Remove(kFile);
  }
}

void Outbox::Load() {
  const std::string text = folder_.Read(kFile).value_or("");
  std::size_t begin = 0;
  // A line without its end is one whose writing was interrupted.
  for (std::size_t end; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
    try {
      const Json::Value line = ReadJson(std::string_view(text).substr(begin, end - begin));
      if (!line["topic"].isString() || !line["payload"].isString()) continue;
      queue_.push_back({line["topic"].asString(), line["payload"].asString()});
      bytes_ += SizeOf(queue_.back().topic, queue_.back().payload);
    } catch (const std::exception& error) {
      Journal::Warning("queue", error.what());
    }
  }
  while (queue_.size() > limits_.messages || bytes_ > limits_.bytes) DropOldest();
  Compact();
}

void Outbox::Append(const Message& message) {
  Json::Value line;
  line["topic"] = message.topic;
  line["payload"] = message.payload;
  if (folder_.Append(kFile, JsonLine(line) + "\n")) ++lines_;
}

void Outbox::Compact() {
  if (!limits_.on_disk) return;
  if (queue_.empty()) {
    if (lines_ > 0) folder_.Remove(kFile);
    lines_ = 0;
    return;
  }
  // So that writing the file again costs each message a constant on average.
  if (lines_ < 2 * queue_.size() + 64 && lines_ != 0) return;
  std::string text;
  for (const Message& message : queue_) {
    Json::Value line;
    line["topic"] = message.topic;
    line["payload"] = message.payload;
    text += JsonLine(line) + "\n";
  }
  if (folder_.Write(kFile, text)) lines_ = queue_.size();
}

void Outbox::Wait(const std::string& topic, State& state) {
  if (state.waiting != 0) return;  // keeps its turn
  state.waiting = next_key_++;
  waiting_states_[state.waiting] = topic;
}

void Outbox::SetState(const std::string& topic, const std::string& payload) {
  const auto [entry, added] = states_.try_emplace(topic);
  if (!added && entry->second.payload == payload) return;
  entry->second.payload = payload;
  Wait(topic, entry->second);
}

void Outbox::Repeat(const std::string& topic) {
  if (const auto found = states_.find(topic); found != states_.end()) Wait(topic, found->second);
}

void Outbox::Post(const std::string& topic, const std::string& payload) {
  const std::size_t size = SizeOf(topic, payload);
  if (size > limits_.bytes) {
    ++dropped_;
    return;
  }
  while (sent_ < queue_.size() &&
         (queue_.size() - sent_ >= limits_.messages || bytes_ + size > limits_.bytes)) {
    DropOldest();
  }
  queue_.push_back({topic, payload});
  bytes_ += size;
  if (limits_.on_disk) Append(queue_.back());
}

void Outbox::DropOldest() {
  const auto oldest = queue_.begin() + static_cast<std::ptrdiff_t>(sent_);
  bytes_ -= SizeOf(oldest->topic, oldest->payload);
  queue_.erase(oldest);
  ++dropped_;
}

std::optional<Outbox::Item> Outbox::Next() const {
  if (!waiting_states_.empty()) {
    const std::string& topic = waiting_states_.begin()->second;
    return Item{topic, states_.at(topic).payload, true};
  }
  if (sent_ < queue_.size()) return Item{queue_[sent_].topic, queue_[sent_].payload, false};
  return std::nullopt;
}

void Outbox::Sent(int number) {
  if (!waiting_states_.empty()) {
    State& state = states_.at(waiting_states_.begin()->second);
    waiting_states_.erase(waiting_states_.begin());
    if (state.number == 0) ++in_flight_;
    state.waiting = 0;
    state.number = number;
  } else if (sent_ < queue_.size()) {
    queue_[sent_++].number = number;
    ++in_flight_;
  }
}

void Outbox::Acknowledged(int number) {
  for (auto& [topic, state] : states_) {
    if (state.number != number) continue;
    state.number = 0;
    --in_flight_;
    ++acknowledged_;
    return;
  }
  for (std::size_t i = 0; i < sent_; ++i) {
    if (queue_[i].number != number || queue_[i].acknowledged) continue;
    queue_[i].acknowledged = true;
    --in_flight_;
    ++acknowledged_;
    RemoveAcknowledged();
    return;
  }
}

void Outbox::RemoveAcknowledged() {
  while (!queue_.empty() && queue_.front().acknowledged) {
    bytes_ -= SizeOf(queue_.front().topic, queue_.front().payload);
    queue_.pop_front();
    --sent_;
  }
  Compact();
}

void Outbox::ForgetStates() {
  for (auto& [topic, state] : states_) {
    if (state.number == 0) Wait(topic, state);
  }
}

void Outbox::Resend() {
  for (auto& [topic, state] : states_) {
    if (state.number == 0) continue;
    state.number = 0;
    Wait(topic, state);
  }
  // An acknowledgement that overtook another one: its message is not sent again.
  std::erase_if(queue_, [this](const Message& message) {
    if (message.acknowledged) bytes_ -= SizeOf(message.topic, message.payload);
    return message.acknowledged;
  });
  sent_ = 0;
  in_flight_ = 0;
}

}  // namespace yoxd
