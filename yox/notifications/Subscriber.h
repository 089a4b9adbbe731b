#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <utility>

#include "yox/base/TaskPool.h"
#include "yox/base/WString.h"
#include "yox/notifications/YOXNotificationData.h"

namespace yox::notifications {

// One subscriber and its latest delivery; at most one delivery runs at a time. The thread with the
// worker's role begins deliveries and the first subscriber's calls; the rest is safe from any
// thread.
//
// The callback is the host's object, and its destructor is the host's code. It is destroyed exactly
// once: by the thread that makes the subscriber leave, or, while a call is running, by the thread
// that makes the call, before the delivery counts as ended.
class Subscriber final : public TaskPool::Work {
 public:
  using Callback = std::function<void(YOXNotificationData&)>;
  enum class Begun { kYes, kBusy, kLeft };

  Subscriber(WString id, Callback callback) : id_(std::move(id)), callback_(std::move(callback)) {}

  const WString& id() const { return id_; }

  // No delivery begins any more; a call that is running goes on. Returns the callback if the caller
  // is to destroy it, which it must do without a lock, and else an empty function. Called once.
  [[nodiscard]] Callback Leave();

  // Whether the latest delivery is still running.
  bool IsRunning() const { return (state_.load(std::memory_order_acquire) & kDelivery) != 0; }
  // Whether the calling thread runs this subscriber's delivery or first call; or anyone's.
  bool IsCurrent() const;
  static bool IsAnyCurrent();
  // Waits for the end of the latest delivery. The limit is in milliseconds of the platform's clock.
  // Returns false when it came first.
  bool WaitEnded(std::int64_t milliseconds);
  // What the latest delivery threw, once it has ended.
  std::exception_ptr TakeFailure() { return std::exchange(failure_, nullptr); }

  // Whether deliveries have been so short that handing them to another thread would cost more than
  // they do. False before the first delivery.
  bool HasShortDeliveries() const { return short_.load(std::memory_order_relaxed); }
  void ExpectLongDeliveries() { short_.store(false, std::memory_order_relaxed); }

  // Makes the next delivery count as running. It has to be followed by Call, Start or Abandon.
  Begun TryBegin();
  void Abandon() { End(kDelivery); }
  // Runs the delivery: calls back with `copy`, and empties it.
  void Call() noexcept;
  // Has the task pool run the delivery. `self` is this object, which lives until the delivery has
  // ended. Throws std::bad_alloc; then the delivery has to be abandoned.
  void Start(std::shared_ptr<Subscriber> self);

  // The first subscriber's call, on the bus's own thread. BeginFirst keeps the callback alive until
  // CallFirst has returned, even if the subscriber leaves between the two. CallFirst lets what the
  // callback throws through.
  void BeginFirst() { state_.fetch_or(kFirstCall); }
  void CallFirst(YOXNotificationData& record);

  // The record of the running delivery; null before the first one, empty between two. It belongs
  // to the delivery while one is running, and else to the thread with the worker's role.
  std::shared_ptr<YOXNotificationData> copy;

  // Guarded by the bus's subscribersLock: whether the worker waits for the running delivery.
  bool awaited_by_worker = false;

 private:
  static constexpr unsigned kJoined = 1;
  static constexpr unsigned kDelivery = 2;  // a delivery is running
  static constexpr unsigned kFirstCall = 4;
  static constexpr unsigned kAwaited = 8;  // a thread sleeps in WaitEnded
  static constexpr unsigned kCalls = kDelivery | kFirstCall;

  void Run() noexcept override;
  void End(unsigned call);

  const WString id_;
  Callback callback_;
  // The bits above, in one word, so that leaving and ending are one step each.
  std::atomic<unsigned> state_{kJoined};
  std::atomic<bool> short_{false};
  // The running delivery's.
  std::shared_ptr<Subscriber> self_;
  std::exception_ptr failure_;
};

}  // namespace yox::notifications
