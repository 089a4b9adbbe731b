#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <utility>

#include "yox/clientbase/TaskPool.h"
#include "yox/clientbase/WString.h"
#include "yox/notifications/YOXNotificationData.h"

namespace YOX::notifications {

// A record in the queue, and behind it the record that deliveries copy from. Shared by count: the
// bus has one use, each delivery that has not ended one more.
struct QueuedNotification {
  YOXNotificationData record;
  WString sender_id;
  std::atomic<std::uint32_t> uses{1};

  // Drops one use, and the object with the last.
  static void Drop(QueuedNotification* queued) {
    if (queued->uses.fetch_sub(1, std::memory_order_acq_rel) == 1) delete queued;
  }
};

// One subscriber and its latest delivery, of which there is at most one at a time. The bus's lock
// guards what it says; the delivery's own state is safe from any thread.
class Subscriber final : public TaskPool::Work {
 public:
  using Callback = std::function<void(YOXNotificationData&)>;

  Subscriber(WString id, Callback callback) : id_(std::move(id)), callback_(std::move(callback)) {}

  const WString& id() const { return id_; }
  void Call(YOXNotificationData& record) const { callback_(record); }

  // Whether the calling thread runs this subscriber's delivery at the moment.
  bool IsCurrent() const;

  // Whether no delivery is running.
  bool Ended() const { return state_.load(std::memory_order_acquire) == State::kEnded; }
  // Waits for it, on the platform's clock. False when the limit came first.
  bool WaitEnded(std::int64_t milliseconds);
  // What the latest delivery threw, once it has ended.
  std::exception_ptr TakeFailure() { return std::exchange(failure_, nullptr); }

  // Readies the delivery of `source`, whose use it takes over; the task pool then runs it, on the
  // subscriber's copy. The former one has ended. `self` is this object, which lives until the
  // delivery has ended.
  void Prepare(std::shared_ptr<Subscriber> self, QueuedNotification* source);
  void Run() noexcept override;

  // Guarded by the bus's lock.
  bool joined = true;      // has not left
  bool delivered = false;  // there was a delivery
  bool held = false;       // the worker waits for it: nobody else does
  // What its deliveries work on. Set before the first.
  std::shared_ptr<YOXNotificationData> copy;

 private:
  enum class State { kEnded, kRunning, kAwaited };

  const WString id_;
  const Callback callback_;
  std::atomic<State> state_{State::kEnded};
  // The running delivery's.
  std::shared_ptr<Subscriber> self_;
  QueuedNotification* source_ = nullptr;
  std::exception_ptr failure_;
};

}  // namespace YOX::notifications
