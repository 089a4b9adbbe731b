#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "yox/base/WString.h"
#include "yox/notifications/Subscriber.h"
#include "yox/notifications/YOXNotificationData.h"

namespace yox::notifications {

struct QueuedNotification {
  YOXNotificationData record;
  WString sender_id;
};

// Who was there at one moment, in ascending order of the ids.
struct Snapshot {
  std::vector<std::shared_ptr<Subscriber>> subscribers;
  const Subscriber* first = nullptr;  // null: nobody has first place

  bool FirstIsCalled(const WString& sender) const {
    return first != nullptr && first->id() != sender;
  }
};

// The record in the worker's hands, and how far it has got with it. Belongs to who has the worker's
// role.
struct Round {
  std::unique_ptr<QueuedNotification> queued;  // null: no record in hand
  std::shared_ptr<const Snapshot> snapshot;    // the latest; of this round once it has begun
  std::uint64_t membership = 0;                // which the snapshot shows
  bool begun = false;                          // first place had its turn
  std::size_t next = 0;                        // whose turn it is
  std::unique_ptr<QueuedNotification> spent;   // the former record, to be filled again

  bool IsOver() const { return next == snapshot->subscribers.size(); }

  // Whether this record is not for that subscriber.
  bool LeavesOut(const Subscriber& subscriber) const {
    const WString& sender = queued->sender_id;
    if (!sender.empty() && subscriber.id() == sender) return true;
    return &subscriber == snapshot->first && snapshot->FirstIsCalled(sender);
  }

  void Begin() {
    begun = true;
    next = 0;
  }
  void End() {
    spent = std::move(queued);
    begun = false;
  }
};

}  // namespace yox::notifications
