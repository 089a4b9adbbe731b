// The bus's worker, which takes records from the queue to the subscribers. Its role belongs to the
// worker thread, which leases it to a thread of the task pool as long as deliveries are short.
#include <chrono>
#include <utility>

#include "yox/base/Log.h"
#include "yox/notifications/NotificationQueue.h"
#include "yox/notifications/RoleLease.h"
#include "yox/notifications/Round.h"
#include "yox/notifications/YOXPublisherSubscriber.h"

using YOX::g_log;

void YOXPublisherSubscriber::NotifyWorker() {
  g_log.d("NotifyWorker: Entry");
  while (!stopRequested) {
    try {
      // The snapshot would keep subscribers alive that leave while there is nothing to do.
      round_->snapshot = nullptr;
      queue_->AwaitToken();
      if (stopRequested) break;
      if (TakeRecord()) Serve();
    } catch (...) {
      round_->End();
      g_log.d("NotifyWorker: Exception");
    }
  }
  round_->snapshot = nullptr;
  g_log.d("NotifyWorker: Exit");
}

bool YOXPublisherSubscriber::TakeRecord() {
  Round& round = *round_;
  if (!queue_->Take(round.queued)) return false;
  round.has_record = true;
  const YOXNotificationData& record = round.queued.record;
  if (const int topic = record.getTopicId(); topic != 0) {
    lastEventLock.EnterLock();
    lastEventByTopic[topic] = record.getEventState();
    lastEventLock.ExitLock();
  }
  return true;
}

// Delivers until there is no record left in the round. Whenever a lease ends, its holder has gone
// on: with this record, or to another.
void YOXPublisherSubscriber::Serve() {
  Round& round = *round_;
  while (round.has_record) {
    if (!round.begun) {
      BeginRound();
    } else if (round.IsOver()) {
      round.End();
    } else {
      const std::shared_ptr<Subscriber> subscriber = round.snapshot->subscribers[round.next];
      if (!round.LeavesOut(*subscriber)) {
        if (subscriber->HasShortDeliveries() && !subscriber->IsRunning()) {
          LeaseRole(*subscriber);
          continue;
        }
        try {
          NotifySubscriber(subscriber);
        } catch (...) {
          g_log.d("NotifyWorker: Inner Exception");
        }
      }
      ++round.next;
    }
  }
}

void YOXPublisherSubscriber::BeginRound() {
  Round& round = *round_;
  std::shared_ptr<const Snapshot> former;
  subscribersLock.EnterLock();
  if (!snapshot_) snapshot_ = MakeSnapshot();
  former = std::exchange(round.snapshot, snapshot_);
  round.membership = membership_;
  Subscriber* const first =
      round.snapshot->FirstIsCalled(round.queued.sender_id) ? round.snapshot->first : nullptr;
  if (first != nullptr) first->BeginFirst();
  subscribersLock.ExitLock();
  former = nullptr;

  if (first != nullptr) NotifyFirstSubscriber(*first, round.queued.record);
  round.Begin();
}

std::shared_ptr<const YOXPublisherSubscriber::Snapshot> YOXPublisherSubscriber::MakeSnapshot() {
  auto snapshot = std::make_shared<Snapshot>();
  snapshot->subscribers.reserve(subscribers.size());
  for (const auto& [id, subscriber] : subscribers) {
    if (id == firstSubscriberId) snapshot->first = subscriber.get();
    snapshot->subscribers.push_back(subscriber);
  }
  return snapshot;
}

void YOXPublisherSubscriber::NotifyFirstSubscriber(Subscriber& first, YOXNotificationData& record) {
  try {
    first.CallFirst(record);
  } catch (...) {
    g_log.d("NotifyWorker: Inner Exception");
  }
}

// An exception in here leaves subscribersLock with the worker, as the header says.
void YOXPublisherSubscriber::NotifySubscriber(const std::shared_ptr<Subscriber>& subscriber) {
  subscribersLock.EnterLock();
  Subscriber::Begun begun = subscriber->TryBegin();
  if (begun == Subscriber::Begun::kBusy) {
    subscriber->awaited_by_worker = true;
    subscribersLock.ExitLock();
    const bool ended = subscriber->WaitEnded(kBusyMilliseconds);
    subscribersLock.EnterLock();
    subscriber->awaited_by_worker = false;
    if (ended) begun = subscriber->TryBegin();
  }
  if (begun == Subscriber::Begun::kYes) {
    try {
      if (!subscriber->copy) {
        subscriber->copy = std::make_shared<YOXNotificationData>();
        deliveryCopies.emplace(subscriber->id(), subscriber->copy);
      }
      *subscriber->copy = round_->queued.record;
      subscriber->Start(subscriber);
    } catch (...) {
      subscriber->Abandon();
      throw;
    }
  }
  subscribersLock.ExitLock();
}

void YOXPublisherSubscriber::LeaseRole(Subscriber& next) {
  switch (role_->Grant()) {
    case RoleLease::End::kReturned:
      break;
    case RoleLease::End::kRevoked:
      round_->snapshot->subscribers[round_->next - 1]->ExpectLongDeliveries();
      break;
    case RoleLease::End::kNotGranted:
      next.ExpectLongDeliveries();
      break;
  }
}

// Takes the turns of subscribers that need nothing but their call, one record after another.
// Returns the role for everything else: the first subscriber's call, changes of the subscribers,
// waits.
void YOXPublisherSubscriber::UseRole(RoleLease& lease) {
  Round& round = *round_;
  const std::shared_ptr<const Snapshot> snapshot = round.snapshot;
  while (round.begun || BeginNextRound(lease)) {
    if (round.IsOver()) {
      round.End();
      continue;
    }
    Subscriber& subscriber = *snapshot->subscribers[round.next];
    if (!round.LeavesOut(subscriber)) {
      if (!subscriber.HasShortDeliveries()) break;
      const Subscriber::Begun begun = subscriber.TryBegin();
      if (begun == Subscriber::Begun::kBusy) break;
      if (begun == Subscriber::Begun::kYes) {
        FillCopy(subscriber);
        ++round.next;
        const std::uint64_t call = lease.BeginCall();
        subscriber.Call();
        if (!lease.EndCall(call)) return;
        continue;
      }
    }
    ++round.next;
  }
  lease.Return();
}

// Takes the next record, if one comes soon whose round can begin without the worker. A record whose
// round does stays in `round_` for the worker.
bool YOXPublisherSubscriber::BeginNextRound(RoleLease& lease) {
  Round& round = *round_;
  lease.Idle();
  if (!queue_->AwaitToken(std::chrono::milliseconds(kIdleMilliseconds)) || stopRequested) {
    return false;
  }
  try {
    if (!TakeRecord()) return false;
  } catch (...) {
    round.End();
    g_log.d("NotifyWorker: Exception");
    return false;
  }
  if (round.membership != membership_ || round.snapshot->FirstIsCalled(round.queued.sender_id)) {
    return false;
  }
  round.Begin();
  return true;
}

// Copies of a record share its texts, so that this allocates no memory.
void YOXPublisherSubscriber::FillCopy(Subscriber& subscriber) {
  Round& round = *round_;
  if (round.next + 1 == round.snapshot->subscribers.size()) {
    *subscriber.copy = std::move(round.queued.record);
  } else {
    *subscriber.copy = round.queued.record;
  }
}
