#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <thread>

#include "yox/base/Export.h"
#include "yox/base/ThreadSafety.h"
#include "yox/base/WString.h"
#include "yox/clientbase/CriticalSection.h"
#include "yox/notifications/YOXNotificationData.h"

namespace yox::notifications {
class NotificationQueue;
class RoleLease;
class Subscriber;
struct Round;
struct Snapshot;
}  // namespace yox::notifications

// The process's publish/subscribe bus for notifications. A publisher passes a record to Notify,
// which returns at once. One worker thread takes the records from a bounded queue in order and has
// each delivered to every subscriber, as a copy of its own, on the process's task pool. A
// subscriber has at most one delivery running. If that is still running after 10 seconds, the next
// record is dropped for that subscriber; the others lose nothing but the time of the wait.
//
// One subscriber may have first place: the worker thread itself calls it before the others, and the
// others receive the record as it left it. It gets no other deliveries.
//
// Records are delivered at most once, and to each subscriber in the order in which they were
// queued. Records that are queued when the bus stops are lost; a stopped bus cannot be restarted.
//
// Safe from any thread. A callback may call everything but Cleanup; std::exit in a delivery works.
// No lock is held while a callback runs or is destroyed, except that Cleanup waits for deliveries
// with subscribersLock held: a delivery that calls Unsubscribe meanwhile would wait forever.
// subscribersLock is taken by explicit calls: an exception in the worker while it prepares a
// delivery (out of memory) leaves it locked by the worker.
class YOX_API YOXPublisherSubscriber {
 public:
  // Never returns null. Constructed by the first call; Cleanup is called at process exit.
  static YOXPublisherSubscriber* GetInstance();

  // Adds a subscriber and returns its id; an empty string if the callback is empty or the bus is
  // stopped. `wantsFirst` gives it first place if that is free, and is otherwise ignored without a
  // notice. Different threads may run the callback, but never two at a time. The callback object is
  // destroyed when its subscriber has left and no call is running; its destructor may use the bus.
  yox::WString Subscribe(std::function<void(YOXNotificationData&)> callback, bool wantsFirst);

  // Removes a subscriber, and waits without a time limit until its running delivery has ended; what
  // the delivery threw is logged. Does not wait when it is called from that delivery, or while the
  // worker itself waits for that delivery, which then goes on after the return. A running call of
  // the first subscriber is not waited for. An unknown id changes nothing.
  void Unsubscribe(const yox::WString& id);

  // Queues a copy of the record for all subscribers except `senderId`, which may be empty. The
  // record is dropped, with a line in the log, while 1024 or more are queued; publishers that race
  // at the limit may exceed it by one record each. Each record beyond the semaphore's 1024 tokens
  // is logged, and from then on the last one in the queue waits until another is published.
  void Notify(const YOXNotificationData& record, const yox::WString& senderId);

  // Gets the event of the last record of a topic that reached the worker. Returns false, with
  // `event` unchanged, when there was none, and for topic 0.
  bool GetLastNotificationForTopic(const TopicId& topic, EventState& event);

  // Stops the bus without waiting. The record that the worker is delivering still reaches all.
  void SetStopRequest();

  // Stops the bus, waits for the worker and, without a time limit, for every delivery, and removes
  // all subscribers. May be called again. Do not call it from a callback: from a delivery it does
  // not wait for that delivery, and if another thread is in Cleanup it returns at once; from the
  // first subscriber's call, on the worker's own thread, it terminates the process.
  void Cleanup();

  // A flag for the hosts; the bus does not read it. True at first.
  void SetNotifyEnabled(bool enabled) { notifyEnabled = enabled; }
  bool GetNotifyEnabled() const { return notifyEnabled; }

  YOXPublisherSubscriber(const YOXPublisherSubscriber&) = delete;
  YOXPublisherSubscriber& operator=(const YOXPublisherSubscriber&) = delete;

 protected:
  // Throws std::system_error when the worker thread cannot be started.
  YOXPublisherSubscriber();
  virtual ~YOXPublisherSubscriber();

  // How many ids have had a delivery since the bus was constructed: each leaves an entry, of an
  // empty record, in deliveryCopies.
  std::size_t DeliveryCopyCount();

 private:
  using NotificationQueue = yox::notifications::NotificationQueue;
  using RoleLease = yox::notifications::RoleLease;
  using Round = yox::notifications::Round;
  using Snapshot = yox::notifications::Snapshot;
  using Subscriber = yox::notifications::Subscriber;

  // How long the worker waits for a subscriber's previous delivery before it drops the next record.
  static constexpr std::int64_t kBusyMilliseconds = 10'000;
  // How long Cleanup waits for a delivery before it logs that it hangs.
  static constexpr std::int64_t kHangingMilliseconds = 5'000;
  // How long, in real time, a leased role waits for the next record before it is returned.
  static constexpr std::int64_t kIdleMilliseconds = 2;

  // On the worker's thread.
  void NotifyWorker();
  void Serve();
  void BeginRound();
  void NotifyFirstSubscriber(Subscriber& first, YOXNotificationData& record);
  // What throws leaves the lock with the worker, and the analysis with a warning.
  void NotifySubscriber(const std::shared_ptr<Subscriber>& subscriber)
      YOX_NO_THREAD_SAFETY_ANALYSIS;
  void LeaseRole(Subscriber& next);
  std::shared_ptr<const Snapshot> MakeSnapshot() YOX_REQUIRES(subscribersLock);

  // On the pool's thread that has leased the worker's role.
  void UseRole(RoleLease& lease);
  bool BeginNextRound(RoleLease& lease);
  void FillCopy(Subscriber& subscriber);

  // On either. Returns false when there is no record.
  bool TakeRecord();

  // Cleanup. BeginCleanup returns false when another Cleanup waits for the calling thread.
  void CleanUpQuietly();
  bool BeginCleanup();
  void EndCleanup();
  void StopWorker();
  void RemoveSubscribers();

  CriticalSection subscribersLock;
  std::map<yox::WString, std::shared_ptr<Subscriber>> subscribers YOX_GUARDED_BY(subscribersLock);
  std::map<yox::WString, std::shared_ptr<YOXNotificationData>> deliveryCopies
      YOX_GUARDED_BY(subscribersLock);
  yox::WString firstSubscriberId YOX_GUARDED_BY(subscribersLock);
  // Null after each change of the subscribers.
  std::shared_ptr<const Snapshot> snapshot_ YOX_GUARDED_BY(subscribersLock);
  // Counts the changes of subscribers and first place. Written with the lock held; read without, to
  // see whether a snapshot is still current.
  std::atomic<std::uint64_t> membership_{0};

  std::atomic<bool> notifyEnabled{false};
  std::atomic<bool> stopRequested{false};

  CriticalSection lastEventLock;
  std::map<std::int32_t, std::int32_t> lastEventByTopic YOX_GUARDED_BY(lastEventLock);

  const std::unique_ptr<NotificationQueue> queue_;
  const std::unique_ptr<Round> round_;  // guarded by the worker's role
  const std::shared_ptr<RoleLease> role_;

  // One Cleanup at a time; no lock is held while it runs.
  yox::Mutex cleanup_mutex_;
  yox::ConditionVariable cleaned_;
  bool cleaning_ YOX_GUARDED_BY(cleanup_mutex_) = false;
  std::thread::id cleaner_ YOX_GUARDED_BY(cleanup_mutex_);

  // Of the constructor and, after it, of the thread in Cleanup. Null after Cleanup.
  std::unique_ptr<std::thread> workerThread;
};
