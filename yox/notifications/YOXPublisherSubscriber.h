#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/clientbase/CriticalSection.h"
#include "yox/notifications/YOXNotificationData.h"
#include "yox/platform/waits/Mutex.h"
#include "yox/platform/waits/Semaphore.h"

namespace yox::notifications {
class LentRole;
class Subscriber;
struct QueuedNotification;
struct Round;
struct Snapshot;
}  // namespace yox::notifications

// The process's bus for notifications. A publisher hands a record to Notify and returns at once;
// one worker thread takes the records from a bounded queue in order and has each delivered to every
// subscriber, as a copy of its own, on the process's task pool. A subscriber has at most one
// delivery running. One that is still running after 10 seconds costs its subscriber the next
// record, and nobody else more than the wait.
//
// One subscriber may have first place: the worker itself calls it before everybody else, and what
// it changes in the record is what the others receive. It never gets deliveries besides.
//
// Records are delivered at most once, and to each subscriber in the order in which they were
// queued. What is queued when the bus stops is lost; a stop is for good.
//
// Safe from any thread. Callbacks may call everything but Cleanup. No lock is held while one runs,
// but Cleanup waits for deliveries with the subscribers' lock held. Locks are taken by explicit
// calls: an exception in the worker while it readies a delivery (memory has run out) leaves the
// subscribers' lock with the worker.
class YOX_API YOXPublisherSubscriber {
 public:
  // Constructed by the first call, and cleaned up when the process ends.
  static YOXPublisherSubscriber* GetInstance();

  // Adds a subscriber and answers its id; empty when the callback is, or when the bus is stopped.
  // First place goes to who asks for it while it is free; otherwise the subscriber is an ordinary
  // one and is not told. The callback may be called from several threads, one after another.
  yox::WString Subscribe(std::function<void(YOXNotificationData&)> callback, bool wantsFirst);

  // Removes a subscriber, and waits without limit until its running delivery has ended; what that
  // threw goes to the log. It does not wait, and a delivery may go on behind it, when called from
  // that delivery itself, and when the worker is just waiting for that delivery. The call of the
  // first subscriber is not waited for.
  void Unsubscribe(const yox::WString& id);

  // Queues a copy of the record for everybody but the subscriber `senderId`. Dropped while the
  // queue holds 1024 or more; publishers that race at the limit may pass it by as many as they are.
  // Each record beyond the semaphore's 1024 tokens is logged, and from then on keeps the last one
  // in the queue waiting until another is published.
  void Notify(const YOXNotificationData& record, const yox::WString& senderId);

  // The event of the last record of a topic that reached the worker. False, with `event` untouched,
  // when there was none, and for topic 0.
  bool GetLastNotificationForTopic(const TopicId& topic, EventState& event);

  // Stops the bus without waiting. The record in the worker's hands still reaches everybody.
  void SetStopRequest();

  // Stops the bus, waits for the worker and, without limit, for every delivery, and removes all
  // subscribers. May be called again. Never from a callback: on the worker's own thread it ends the
  // process.
  void Cleanup();

  // A flag for the hosts; the bus does not look at it. True at first.
  void SetNotifyEnabled(bool enabled) { notifyEnabled = enabled; }
  bool GetNotifyEnabled() const { return notifyEnabled; }

  YOXPublisherSubscriber(const YOXPublisherSubscriber&) = delete;
  YOXPublisherSubscriber& operator=(const YOXPublisherSubscriber&) = delete;

 protected:
  // Throws std::system_error when the worker cannot be started.
  YOXPublisherSubscriber();
  virtual ~YOXPublisherSubscriber();

  // How many ids have had a delivery since the bus was built: their copies are kept.
  std::size_t DeliveryCopyCount();

 private:
  using LentRole = yox::notifications::LentRole;
  using QueuedNotification = yox::notifications::QueuedNotification;
  using Round = yox::notifications::Round;
  using Snapshot = yox::notifications::Snapshot;
  using Subscriber = yox::notifications::Subscriber;

  static constexpr std::size_t kLongestQueue = 1024;
  // For a subscriber's previous delivery, before the next record is dropped for it.
  static constexpr std::int64_t kBusyMilliseconds = 10'000;
  // For a delivery during the clean-up, before it is called hanging.
  static constexpr std::int64_t kHangingMilliseconds = 5'000;
  // Records that are kept to be filled again while the bus has nothing to do. While it has, it
  // keeps as many as the queue holds, so that a steady flow allocates nothing.
  static constexpr std::size_t kMostSpareAtRest = 64;
  // How long, in real time, a borrowed role is kept when there is nothing to do.
  static constexpr std::int64_t kSoonMilliseconds = 2;

  // The worker's thread.
  void NotifyWorker();
  void Rest();
  void Serve();
  void BeginRound();
  void NotifyFirstSubscriber(const Subscriber& first, YOXNotificationData& record);
  void NotifySubscriber(const std::shared_ptr<Subscriber>& subscriber);
  void LendRole(Subscriber& next);
  // With the subscribers' lock held.
  std::shared_ptr<const Snapshot> MakeSnapshot();

  // The thread of the pool that has the worker's role.
  void BorrowRole(LentRole& role);
  bool BorrowRecord(LentRole& role);
  bool CopyTo(Subscriber& subscriber);

  // Either. False when there is no record.
  bool TakeRecord();

  CriticalSection subscribersLock;
  std::map<yox::WString, std::shared_ptr<Subscriber>> subscribers;  // guarded by subscribersLock
  std::map<yox::WString, std::shared_ptr<YOXNotificationData>> deliveryCopies;  // the same
  yox::WString firstSubscriberId;                                               // the same
  std::shared_ptr<const Snapshot> snapshot_;  // the same; null since the last change
  // Counts the changes of who is there and who is first. Written with the lock held.
  std::atomic<std::uint64_t> membership_{0};

  std::atomic<bool> notifyEnabled{false};
  std::atomic<bool> stopRequested{false};

  CriticalSection lastEventLock;
  std::map<std::int32_t, std::int32_t> lastEventByTopic;  // guarded by lastEventLock

  yox::platform::Mutex queueMutex;
  std::deque<std::unique_ptr<QueuedNotification>> notificationQueue;  // guarded by queueMutex
  std::vector<std::unique_ptr<QueuedNotification>> spare_;            // the same: to fill again

  yox::platform::Semaphore semaphore_;
  std::atomic<yox::platform::Semaphore*> queueSemaphore{&semaphore_};  // null after Cleanup

  const std::unique_ptr<Round> round_;  // belongs to who has the worker's role
  const std::shared_ptr<LentRole> role_;

  CriticalSection cleanupLock_;
  std::unique_ptr<std::thread> workerThread;  // guarded by cleanupLock_; null after Cleanup
};
