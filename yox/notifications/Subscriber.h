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

// One subscriber and its latest delivery, of which there is at most one at a time. Deliveries are
// begun by whoever has the worker's role; the rest is safe from any thread.
class Subscriber final : public TaskPool::Work {
 public:
  using Callback = std::function<void(YOXNotificationData&)>;
  enum class Begun { kYes, kBusy, kLeft };

  Subscriber(WString id, Callback callback) : id_(std::move(id)), callback_(std::move(callback)) {}

  const WString& id() const { return id_; }
  void CallFirst(YOXNotificationData& record) const { callback_(record); }

  // No delivery begins any more; one that is running goes on.
  void Leave() { state_.fetch_and(~kJoined); }

  // Whether the latest delivery is still running.
  bool IsRunning() const { return (state_.load(std::memory_order_acquire) & kRunning) != 0; }
  // Whether the calling thread is the one that runs it.
  bool IsCurrent() const;
  // Waits for its end, on the platform's clock. False when the limit came first.
  bool WaitEnded(std::int64_t milliseconds);
  // What it threw, once it has ended.
  std::exception_ptr TakeFailure() { return std::exchange(failure_, nullptr); }

  // Whether deliveries have been so short that handing them to a thread of their own would cost
  // more than they do. Not so before the first has shown it.
  bool IsBrisk() const { return brisk_.load(std::memory_order_relaxed); }
  void NoLongerBrisk() { brisk_.store(false, std::memory_order_relaxed); }

  // The next delivery counts as running from here on. It is then run by Call, started by Start, or
  // abandoned.
  Begun TryBegin();
  void Abandon() { End(); }
  void Call() noexcept;
  // Has it run by the task pool. `self` is this object, which lives until the delivery has ended.
  void Start(std::shared_ptr<Subscriber> self);

  // What deliveries work on; null before the first. Belongs to the delivery while one is running,
  // and else to who has the worker's role.
  std::shared_ptr<YOXNotificationData> copy;

  // Guarded by the bus's lock: the worker waits for the delivery, and nobody else does.
  bool held = false;

 private:
  static constexpr unsigned kJoined = 1;
  static constexpr unsigned kRunning = 2;
  static constexpr unsigned kAwaited = 4;

  void Run() noexcept override;
  void End();

  const WString id_;
  const Callback callback_;
  std::atomic<unsigned> state_{kJoined};
  std::atomic<bool> brisk_{false};
  // The running delivery's.
  std::shared_ptr<Subscriber> self_;
  std::exception_ptr failure_;
};

}  // namespace yox::notifications
