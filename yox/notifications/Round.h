#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "yox/base/WString.h"
#include "yox/notifications/NotificationQueue.h"
#include "yox/notifications/Subscriber.h"

namespace yox::notifications {

// The subscribers at one moment, in ascending order of their ids.
struct Snapshot {
  std::vector<std::shared_ptr<Subscriber>> subscribers;
  Subscriber* first = nullptr;  // null: no subscriber has first place

  bool FirstIsCalled(const WString& sender) const {
    return first != nullptr && first->id() != sender;
  }
};

// The record that the worker delivers, and how far it has come with it. Guarded by the worker's
// role.
struct Round {
  QueuedNotification queued;
  bool has_record = false;                   // whether `queued` is a record to deliver
  std::shared_ptr<const Snapshot> snapshot;  // the latest; this round's once it has begun
  std::uint64_t membership = 0;              // the bus's count when the snapshot was made
  bool begun = false;                        // the first subscriber has had its call
  std::size_t next = 0;                      // the subscriber whose turn it is

  bool IsOver() const { return next == snapshot->subscribers.size(); }

  // Whether this record is not delivered to that subscriber.
  bool LeavesOut(const Subscriber& subscriber) const {
    const WString& sender = queued.sender_id;
    if (!sender.empty() && subscriber.id() == sender) return true;
    return &subscriber == snapshot->first && snapshot->FirstIsCalled(sender);
  }

  void Begin() {
    begun = true;
    next = 0;
  }
  void End() {
    queued = {};
    has_record = false;
    begun = false;
  }
};

}  // namespace yox::notifications
