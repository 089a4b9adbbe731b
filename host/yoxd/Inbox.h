#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "host/yoxd/Received.h"
#include "host/yoxd/Redeliveries.h"
#include "host/yoxd/StateFolder.h"

namespace yoxd {

// The messages that were received and are not handled yet. Each is in a file before the broker gets
// its acknowledgement, so a process that is killed loses none: the next one continues with those
// that were not handled.
class Inbox {
 public:
  // Continues with what the former process left.
  explicit Inbox(StateFolder& folder);

  void Add(Received message);
  // Whether there is a message that Next has not returned yet.
  bool waiting() const { return waiting_ != messages_.end(); }
  // The next message, with its number, in the order in which they came. Valid until it is handled.
  struct Item {
    std::uint64_t number;
    const Received& message;
  };
  Item Next();
  // The messages of these numbers were handled.
  void Handled(const std::vector<std::uint64_t>& numbers);

  // Of the messages that are not handled, with so much for each besides its text.
  std::size_t bytes() const { return bytes_; }
  // The last ones that the former process received, for Redeliveries.
  const std::deque<Redeliveries::Entry>& recent() const { return recent_; }

 private:
  // Returns whether the file ends with a whole line.
  bool Load();
  void Remember(const Received& message);
  std::string Line(std::uint64_t number, const Received& message) const;
  void Append(const std::string& line);
  // Writes the file again when it is mostly of what is not needed any more.
  void Compact();
  void Rewrite();

  StateFolder& folder_;
  std::map<std::uint64_t, Received> messages_;  // by number
  std::map<std::uint64_t, Received>::iterator waiting_ = messages_.end();
  std::uint64_t next_number_ = 1;
  std::size_t bytes_ = 0;
  std::deque<Redeliveries::Entry> recent_;
  std::size_t lines_ = 0;       // in the file
  std::size_t file_bytes_ = 0;  // the same
};

}  // namespace yoxd
