#include "host/yoxd/Inbox.h"

#include <json/value.h>

#include <algorithm>
#include <utility>

#include "host/yoxd/Journal.h"
#include "host/yoxd/Text.h"

namespace yoxd {
namespace {

constexpr const char* kFile = "inbox.jsonl";
constexpr std::size_t kOverhead = 128;
// The file is rewritten when it has so much more than what is still needed of it.
constexpr std::size_t kMostLines = 4'096;
constexpr std::size_t kMostBytes = std::size_t{4} << 20;

std::size_t SizeOf(const Received& message) { return kOverhead + message.payload.size(); }

}  // namespace

Inbox::Inbox(StateFolder& folder) : folder_(folder) {
  const bool whole = Load();
  waiting_ = messages_.begin();
  // What is added after an interrupted line would be part of it.
  if (whole) {
    Compact();
  } else {
    Rewrite();
  }
}

// The lines are messages, {"number", "packet", "topic", "payload"}; numbers of handled ones,
// {"handled": [...]}; and what is remembered of messages that are not needed any more, {"packet",
// "fingerprint"}.
bool Inbox::Load() {
  const std::string text = folder_.Read(kFile).value_or("");
  std::size_t begin = 0;
  // A line without its end is one whose writing was interrupted.
  for (std::size_t end; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
    try {
      const Json::Value line = ReadJson(std::string_view(text).substr(begin, end - begin));
      ++lines_;
      if (line.isMember("handled")) {
        for (const Json::Value& number : line["handled"]) {
          const auto found = messages_.find(number.asUInt64());
          if (found == messages_.end()) continue;
          bytes_ -= SizeOf(found->second);
          messages_.erase(found);
        }
      } else if (line.isMember("fingerprint")) {
        recent_.push_back({line["packet"].asInt(), line["fingerprint"].asUInt64()});
      } else {
        const std::uint64_t number = line["number"].asUInt64();
        next_number_ = std::max(next_number_, number + 1);
        Received message{line["topic"].asString(), line["payload"].asString(), false,
                         line["packet"].asInt()};
        Remember(message);
        bytes_ += SizeOf(message);
        messages_.insert_or_assign(number, std::move(message));
      }
    } catch (const std::exception& error) {
      Journal::Warning("inbox", error.what());
    }
  }
  file_bytes_ = text.size();
  return begin == text.size();
}

void Inbox::Remember(const Received& message) {
  if (message.identifier == 0) return;
  recent_.push_back({message.identifier, Redeliveries::FingerprintOf(message)});
  if (recent_.size() > Redeliveries::kMost) recent_.pop_front();
}

std::string Inbox::Line(std::uint64_t number, const Received& message) const {
  Json::Value line;
  line["number"] = Json::UInt64{number};
  line["packet"] = message.identifier;
  line["topic"] = message.topic;
  line["payload"] = message.payload;
  return JsonLine(line) + "\n";
}

void Inbox::Append(const std::string& line) {
  if (!folder_.Append(kFile, line)) return;
  ++lines_;
  file_bytes_ += line.size();
}

void Inbox::Add(Received message) {
  const std::uint64_t number = next_number_++;
  Append(Line(number, message));
  Remember(message);
  bytes_ += SizeOf(message);
  const auto added = messages_.emplace_hint(messages_.end(), number, std::move(message));
  if (!waiting()) waiting_ = added;
}

Inbox::Item Inbox::Next() {
  const auto next = waiting_++;
  return {next->first, next->second};
}

void Inbox::Handled(const std::vector<std::uint64_t>& numbers) {
  Json::Value line;
  for (const std::uint64_t number : numbers) {
    const auto found = messages_.find(number);
    if (found == messages_.end()) continue;
    line["handled"].append(Json::UInt64{number});
    bytes_ -= SizeOf(found->second);
    messages_.erase(found);
  }
  if (line.isNull()) return;
  Append(JsonLine(line) + "\n");
  Compact();
}

void Inbox::Compact() {
  if (lines_ < kMostLines + 2 * messages_.size() && file_bytes_ < kMostBytes + 2 * bytes_) return;
  Rewrite();
}

void Inbox::Rewrite() {
  std::string text;
  std::size_t lines = 0;
  for (const Redeliveries::Entry& entry : recent_) {
    Json::Value line;
    line["packet"] = entry.identifier;
    line["fingerprint"] = Json::UInt64{entry.fingerprint};
    text += JsonLine(line) + "\n";
    ++lines;
  }
  for (const auto& [number, message] : messages_) {
    // Remembered above; 0, so that it is not twice.
    Received kept = message;
    kept.identifier = 0;
    text += Line(number, kept);
    ++lines;
  }
  if (!folder_.Write(kFile, text)) return;
  lines_ = lines;
  file_bytes_ = text.size();
}

}  // namespace yoxd
