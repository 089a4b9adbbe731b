#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <optional>
#include <vector>

#include "yox/base/ThreadSafety.h"
#include "yox/base/WString.h"
#include "yox/notifications/YOXNotificationData.h"

namespace yox::notifications {

struct QueuedNotification {
  YOXNotificationData record;
  WString sender_id;
};

// The records that wait for the bus's worker: a bounded queue with many producers and one consumer,
// and a semaphore whose tokens say how many records the consumer may take. The consumer moves all
// that it may take to a batch of its own in one step, so that the two sides meet at the mutex once
// for each batch and not for each record. What is in the batch still counts as queued.
class NotificationQueue {
 public:
  // Of records, for HasRoom, and of tokens.
  static constexpr std::size_t kCapacity = 1024;

  // Producers, on any thread.

  // Returns whether fewer than kCapacity records are queued. It is a separate step on purpose:
  // producers that race at the limit may pass it by one record each.
  bool HasRoom() const;
  // Appends a record and adds a token. Returns false when there are kCapacity tokens already: then
  // the record is queued without a token of its own. Adds no token after Close.
  bool Append(QueuedNotification queued);
  // Adds a token without a record, to wake the consumer. Returns as Append does.
  bool AddToken();
  // No tokens are added or waited for any more. The consumer may be waiting.
  void Close();

  // The consumer: one thread at a time.

  // Takes a token, waiting for it until `limit` of real time is over, or without a limit. Returns
  // false when there was none in time; true after Close.
  bool AwaitToken(std::optional<std::chrono::milliseconds> limit = std::nullopt);
  // Takes the record that is first in the queue, once after each AwaitToken. Returns false when
  // the queue is empty.
  bool Take(QueuedNotification& taken);

 private:
  bool AddTokenLocked() YOX_REQUIRES(mutex_);
  bool MayTake() const YOX_REQUIRES(mutex_) { return tokens_ > 0 || closed_; }
  void FillBatch() YOX_REQUIRES(mutex_);
  // Records, or tokens, in the batch. Exact for the consumer; a producer reads a moment of it.
  std::size_t LeftInBatch() const { return left_in_batch_.load(std::memory_order_relaxed); }

  mutable Mutex mutex_;
  ConditionVariable added_;
  std::vector<QueuedNotification> queue_ YOX_GUARDED_BY(mutex_);
  // Written with the mutex; the consumer reads it without while it spins.
  std::atomic<std::size_t> tokens_{0};
  std::size_t batch_size_ YOX_GUARDED_BY(mutex_) = 0;  // when it was filled
  bool waiting_ YOX_GUARDED_BY(mutex_) = false;
  bool closed_ YOX_GUARDED_BY(mutex_) = false;

  // The consumer's. On a cache line of their own: it writes them for each record.
  alignas(64) std::atomic<std::size_t> left_in_batch_{0};
  std::vector<QueuedNotification> batch_;
};

}  // namespace yox::notifications
