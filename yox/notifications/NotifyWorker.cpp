// The bus's worker thread: from the queue to the subscribers.
#include <algorithm>
#include <exception>
#include <utility>

#include "yox/clientbase/Log.h"
#include "yox/notifications/Hold.h"
#include "yox/notifications/Subscriber.h"
#include "yox/notifications/YOXPublisherSubscriber.h"

using YOX::g_log;
using YOX::TaskPool;
using YOX::WString;
using YOX::notifications::Hold;
using YOX::platform::Semaphore;

void YOXPublisherSubscriber::NotifyWorker() {
  g_log.d("NotifyWorker: Entry");
  while (!stopRequested) {
    try {
      if (Semaphore* const semaphore = queueSemaphore.load()) semaphore->Wait();
      if (stopRequested) break;
      if (QueuedNotification* const queued = TakeNext()) Deliver(*queued);
    } catch (...) {
      g_log.d("NotifyWorker: Exception");
    }
  }
  g_log.d("NotifyWorker: Exit");
}

YOXPublisherSubscriber::QueuedNotification* YOXPublisherSubscriber::TakeNext() {
  delivering_.reserve(delivering_.size() + 1);
  const auto unread =
      std::partition(delivering_.begin(), delivering_.end(), [](const QueuedNotification* queued) {
        return queued->uses.load(std::memory_order_acquire) > 1;
      });
  QueuedNotification* next = nullptr;
  auto kept = unread;
  {
    const Hold hold(queueMutex);
    for (; kept != delivering_.end() && spare_.size() < kMostSpare; ++kept) {
      spare_.push_back(*kept);
    }
    if (!notificationQueue.empty()) {
      next = notificationQueue.front();
      notificationQueue.pop_front();
    }
  }
  for (; kept != delivering_.end(); ++kept) QueuedNotification::Drop(*kept);
  delivering_.erase(unread, delivering_.end());
  if (next != nullptr) delivering_.push_back(next);
  return next;
}

void YOXPublisherSubscriber::Deliver(QueuedNotification& queued) {
  if (const int topic = queued.record.getTopicId(); topic != 0) {
    lastEventLock.EnterLock();
    lastEventByTopic[topic] = queued.record.getEventState();
    lastEventLock.ExitLock();
  }

  subscribersLock.EnterLock();
  const std::shared_ptr<const Snapshot> snapshot = CurrentSnapshot();
  subscribersLock.ExitLock();

  const WString& sender = queued.sender_id;
  const Subscriber* const first = snapshot->first.get();
  const bool first_is_called = first != nullptr && first->id() != sender;
  if (first_is_called) NotifyFirstSubscriber(*first, queued.record);

  bool locked = false;
  for (const std::shared_ptr<Subscriber>& subscriber : snapshot->subscribers) {
    if (first_is_called && subscriber.get() == first) continue;
    if (!sender.empty() && subscriber->id() == sender) continue;
    try {
      NotifySubscriber(subscriber, queued, locked);
    } catch (...) {
      locked = false;
      g_log.d("NotifyWorker: Inner Exception");
    }
  }
  if (locked) subscribersLock.ExitLock();
  StartPrepared();
}

std::shared_ptr<const YOXPublisherSubscriber::Snapshot> YOXPublisherSubscriber::CurrentSnapshot() {
  if (!snapshot_) {
    auto snapshot = std::make_shared<Snapshot>();
    snapshot->subscribers.reserve(subscribers.size());
    for (const auto& [id, subscriber] : subscribers) {
      if (id == firstSubscriberId) snapshot->first = subscriber;
      snapshot->subscribers.push_back(subscriber);
    }
    snapshot_ = std::move(snapshot);
  }
  return snapshot_;
}

void YOXPublisherSubscriber::NotifyFirstSubscriber(const Subscriber& first,
                                                   YOXNotificationData& record) {
  try {
    first.Call(record);
  } catch (...) {
    g_log.d("NotifyWorker: Inner Exception");
  }
}

// The lock is entered once for a run of subscribers that are not busy, and left to wait for one
// that is.
void YOXPublisherSubscriber::NotifySubscriber(const std::shared_ptr<Subscriber>& subscriber,
                                              QueuedNotification& queued, bool& locked) {
  if (!locked) {
    subscribersLock.EnterLock();
    locked = true;
  }
  if (!subscriber->joined) return;
  if (!subscriber->Ended()) {
    subscriber->held = true;
    locked = false;
    subscribersLock.ExitLock();
    StartPrepared();
    const bool ended = subscriber->WaitEnded(kBusyMilliseconds);
    subscribersLock.EnterLock();
    locked = true;
    subscriber->held = false;
    if (!ended || !subscriber->joined) return;
  }
  if (!subscriber->copy) {
    subscriber->copy = std::make_shared<YOXNotificationData>();
    deliveryCopies.emplace(subscriber->id(), subscriber->copy);
  }
  prepared_.push_back(subscriber.get());
  queued.uses.fetch_add(1, std::memory_order_relaxed);
  subscriber->Prepare(subscriber, &queued);
}

void YOXPublisherSubscriber::StartPrepared() {
  TaskPool::Process().Start(prepared_);
  prepared_.clear();
}
