#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

#include "host/yoxd/Received.h"
#include "host/yoxd/Text.h"

namespace yoxd {

// Recognises messages that a broker delivers again because an acknowledgement was lost with the
// connection. A broker repeats a message under its packet identifier, and only messages that it has
// not seen acknowledged: at most as many as may be in flight. So a message is a repetition if one
// of the same identifier and content was among the last `kMost` of the former connections of the
// session, and it comes among the first `kFirst` of this one.
class Redeliveries {
 public:
  static constexpr std::size_t kMost = 128;
  static constexpr std::size_t kFirst = 256;

  struct Entry {
    int identifier;
    std::uint64_t fingerprint;
  };
  static std::uint64_t FingerprintOf(const Received& message) {
    return Fingerprint(message.topic + "\n" + message.payload);
  }

  // What a former process has received last, before the first connection.
  void Restore(const std::deque<Entry>& entries) { current_ = entries; }

  // A connection begins. Without its session the broker has forgotten what it delivered.
  void Connected(bool session_present) {
    if (session_present) {
      former_.insert(former_.end(), current_.begin(), current_.end());
      while (former_.size() > kMost) former_.pop_front();
    } else {
      former_.clear();
    }
    current_.clear();
    received_ = 0;
  }

  // Returns whether this message of QoS 1 or 2 was received before. Call it once for each.
  bool IsRepeated(const Received& message) {
    const int identifier = message.identifier;
    const std::uint64_t fingerprint = FingerprintOf(message);
    if (++received_ > kFirst) former_.clear();
    bool repeated = false;
    for (auto entry = former_.begin(); entry != former_.end(); ++entry) {
      if (entry->identifier != identifier) continue;
      repeated = entry->fingerprint == fingerprint;
      former_.erase(entry);  // the identifier is in use again
      break;
    }
    current_.push_back({identifier, fingerprint});
    if (current_.size() > kMost) current_.pop_front();
    return repeated;
  }

 private:
  std::deque<Entry> former_;
  std::deque<Entry> current_;
  std::size_t received_ = 0;
};

}  // namespace yoxd
