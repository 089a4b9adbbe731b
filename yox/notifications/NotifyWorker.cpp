// The bus's worker: from the queue to the subscribers. Its role is the worker thread's own, but
// lent to a thread of the task pool as long as deliveries are brisk.
#include <utility>

#include "yox/base/Log.h"
#include "yox/notifications/Hold.h"
#include "yox/notifications/LentRole.h"
#include "yox/notifications/Round.h"
#include "yox/notifications/YOXPublisherSubscriber.h"

using YOX::g_log;
using yox::notifications::Hold;
using yox::platform::NativeWaitForAny;
using yox::platform::Semaphore;
using yox::platform::WaitHandle;

void YOXPublisherSubscriber::NotifyWorker() {
  g_log.d("NotifyWorker: Entry");
  while (!stopRequested) {
    try {
      Rest();
      if (Semaphore* const semaphore = queueSemaphore.load()) semaphore->Wait();
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

// Lets go of what is not needed while there is nothing to do: of subscribers who may have left, and
// of records.
void YOXPublisherSubscriber::Rest() {
  round_->snapshot = nullptr;
  std::vector<std::unique_ptr<QueuedNotification>> released;
  const Hold hold(queueMutex);
  if (!notificationQueue.empty() || spare_.size() <= kMostSpareAtRest) return;
  released.swap(spare_);
}

bool YOXPublisherSubscriber::TakeRecord() {
  {
    const Hold hold(queueMutex);
    if (round_->spent && spare_.size() < kLongestQueue) spare_.push_back(std::move(round_->spent));
    if (notificationQueue.empty()) return false;
    round_->queued = std::move(notificationQueue.front());
    notificationQueue.pop_front();
  }
  const YOXNotificationData& record = round_->queued->record;
  if (const int topic = record.getTopicId(); topic != 0) {
    lastEventLock.EnterLock();
    lastEventByTopic[topic] = record.getEventState();
    lastEventLock.ExitLock();
  }
  return true;
}

// Until there is no record in hand. Whenever the role comes back, whoever had it has gone on: with
// this record, or to another.
void YOXPublisherSubscriber::Serve() {
  Round& round = *round_;
  while (round.queued) {
    if (!round.begun) {
      BeginRound();
    } else if (round.IsOver()) {
      round.End();
    } else {
      const std::shared_ptr<Subscriber> subscriber = round.snapshot->subscribers[round.next];
      if (!round.LeavesOut(*subscriber)) {
        if (subscriber->IsBrisk() && !subscriber->IsRunning()) {
          LendRole(*subscriber);
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
  subscribersLock.ExitLock();
  former = nullptr;

  if (round.snapshot->FirstIsCalled(round.queued->sender_id)) {
    NotifyFirstSubscriber(*round.snapshot->first, round.queued->record);
  }
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

void YOXPublisherSubscriber::NotifyFirstSubscriber(const Subscriber& first,
                                                   YOXNotificationData& record) {
  try {
    first.CallFirst(record);
  } catch (...) {
    g_log.d("NotifyWorker: Inner Exception");
  }
}

// What throws here leaves the lock with the worker.
void YOXPublisherSubscriber::NotifySubscriber(const std::shared_ptr<Subscriber>& subscriber) {
  subscribersLock.EnterLock();
  Subscriber::Begun begun = subscriber->TryBegin();
  if (begun == Subscriber::Begun::kBusy) {
    subscriber->held = true;
    subscribersLock.ExitLock();
    const bool ended = subscriber->WaitEnded(kBusyMilliseconds);
    subscribersLock.EnterLock();
    subscriber->held = false;
    if (ended) begun = subscriber->TryBegin();
  }
  if (begun == Subscriber::Begun::kYes) {
    try {
      if (!subscriber->copy) {
        subscriber->copy = std::make_shared<YOXNotificationData>();
        deliveryCopies.emplace(subscriber->id(), subscriber->copy);
      }
      *subscriber->copy = round_->queued->record;
      subscriber->Start(subscriber);
    } catch (...) {
      subscriber->Abandon();
      throw;
    }
  }
  subscribersLock.ExitLock();
}

void YOXPublisherSubscriber::LendRole(Subscriber& next) {
  switch (role_->Lend()) {
    case LentRole::Return::kGivenBack:
      break;
    case LentRole::Return::kTakenBack:
      round_->snapshot->subscribers[round_->next - 1]->NoLongerBrisk();
      break;
    case LentRole::Return::kNeverLent:
      next.NoLongerBrisk();
      break;
  }
}

// The turns of those who need nothing but their call, as long as they come; the worker does
// everything else.
void YOXPublisherSubscriber::BorrowRole(LentRole& role) {
  Round& round = *round_;
  const std::shared_ptr<const Snapshot> snapshot = round.snapshot;
  while (round.begun || BorrowRecord(role)) {
    if (round.IsOver()) {
      round.End();
      continue;
    }
    Subscriber& subscriber = *snapshot->subscribers[round.next];
    if (!round.LeavesOut(subscriber)) {
      if (!subscriber.IsBrisk()) break;
      const Subscriber::Begun begun = subscriber.TryBegin();
      if (begun == Subscriber::Begun::kBusy) break;
      if (begun == Subscriber::Begun::kYes) {
        if (!CopyTo(subscriber)) break;
        ++round.next;
        const std::uint64_t call = role.BeginCall();
        subscriber.Call();
        if (!role.EndCall(call)) return;
        continue;
      }
    }
    ++round.next;
  }
  role.GiveBack();
}

// Takes the next record, if one comes soon that can begin without the worker.
bool YOXPublisherSubscriber::BorrowRecord(LentRole& role) {
  Round& round = *round_;
  Semaphore* const semaphore = queueSemaphore.load();
  if (semaphore == nullptr || stopRequested) return false;
  role.Idle();
  const WaitHandle token = semaphore->handle();
  if (!NativeWaitForAny({&token, 1}, kSoonMilliseconds).signalled() || stopRequested) return false;
  try {
    if (!TakeRecord()) return false;
  } catch (...) {
    round.End();
    g_log.d("NotifyWorker: Exception");
    return false;
  }
  if (round.membership != membership_ || round.snapshot->FirstIsCalled(round.queued->sender_id)) {
    return false;
  }
  round.Begin();
  return true;
}

bool YOXPublisherSubscriber::CopyTo(Subscriber& subscriber) {
  Round& round = *round_;
  const bool is_last = round.next + 1 == round.snapshot->subscribers.size();
  try {
    if (is_last) {
      *subscriber.copy = std::move(round.queued->record);
    } else {
      *subscriber.copy = round.queued->record;
    }
    return true;
  } catch (...) {
    subscriber.Abandon();
    // The worker tries it again.
    subscriber.NoLongerBrisk();
    return false;
  }
}
