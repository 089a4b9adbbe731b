#include "yox/notifications/YOXPublisherSubscriber.h"

#include <exception>
#include <utility>

#include "yox/base/Log.h"
#include "yox/clientbase/CGuid.h"
#include "yox/notifications/Hold.h"
#include "yox/notifications/LentRole.h"
#include "yox/notifications/Round.h"
#include "yox/platform/system/Process.h"

using YOX::g_log;
using yox::WString;
using yox::notifications::Hold;
using yox::platform::kNoTimeLimit;
using yox::platform::Semaphore;

namespace {

void ReleaseOne(Semaphore* semaphore) {
  if (semaphore != nullptr && !semaphore->Release()) g_log.e("ReleaseSempahore failed.");
}

}  // namespace

YOXPublisherSubscriber* YOXPublisherSubscriber::GetInstance() {
  static YOXPublisherSubscriber instance;
  return &instance;
}

YOXPublisherSubscriber::YOXPublisherSubscriber()
    : semaphore_(0, static_cast<long>(kLongestQueue)),
      round_(std::make_unique<Round>()),
      role_(std::make_shared<LentRole>([this](LentRole& role) { BorrowRole(role); })),
      workerThread(std::make_unique<std::thread>([this] { NotifyWorker(); })) {
  notifyEnabled = true;
}

YOXPublisherSubscriber::~YOXPublisherSubscriber() {
  // A library that is unloaded with its process finds its threads gone, perhaps with its locks.
  if (yox::platform::OtherThreadsAreGone()) {
    if (workerThread) (void)workerThread.release();
    // The worker may have gone while it waited there.
    new std::shared_ptr<LentRole>(role_);
    return;
  }
  try {
    Cleanup();
  } catch (...) {
    // There is nobody to tell.
  }
}

WString YOXPublisherSubscriber::Subscribe(std::function<void(YOXNotificationData&)> callback,
                                          bool wantsFirst) {
  constexpr const char* kName = "YOXPublisherSubscriber::Subscribe";
  if (stopRequested) {
    g_log.d("%s: Rejecting new subscriber, cleanup in progress", kName);
    return {};
  }
  if (!callback) {
    g_log.e("%s: Invalid subscriber function", kName);
    return {};
  }
  WString id = YOX::Utility::CGuid::NewGuid(true);
  if (id.empty()) {
    g_log.e("%s: Failed to generate GUID", kName);
    return {};
  }
  auto subscriber = std::make_shared<Subscriber>(id, std::move(callback));
  std::shared_ptr<const Snapshot> former;
  subscribersLock.EnterLock();
  if (stopRequested) {
    subscribersLock.ExitLock();
    g_log.d("%s: Rejecting new subscriber, cleanup in progress (double-check)", kName);
    return {};
  }
  if (firstSubscriberId.empty() && wantsFirst) firstSubscriberId = id;
  subscribers.emplace(id, std::move(subscriber));
  former.swap(snapshot_);
  ++membership_;
  g_log.d("%s: Added subscriber %s, total: %zu", kName, id, subscribers.size());
  subscribersLock.ExitLock();
  return id;
}

void YOXPublisherSubscriber::Unsubscribe(const WString& id) {
  constexpr const char* kName = "YOXPublisherSubscriber::Unsubscribe";
  std::shared_ptr<Subscriber> leaving;
  std::shared_ptr<const Snapshot> former;
  bool collect = false;

  subscribersLock.EnterLock();
  g_log.d("%s Id = %s size = %d entry", kName, id, static_cast<int>(subscribers.size()));
  if (id == firstSubscriberId) firstSubscriberId.clear();
  if (const auto found = subscribers.find(id); found != subscribers.end()) {
    g_log.d("%s Id = %s found", kName, id);
    leaving = std::move(found->second);
    subscribers.erase(found);
    leaving->Leave();
    collect = !leaving->held;
    former.swap(snapshot_);
    ++membership_;
    g_log.d("%s Id = %s size = %d exit", kName, id, static_cast<int>(subscribers.size()));
  }
  subscribersLock.ExitLock();

  if (!collect || leaving->IsCurrent()) return;
  leaving->WaitEnded(kNoTimeLimit);
  const std::exception_ptr failure = leaving->TakeFailure();
  if (!failure) return;
  try {
    std::rethrow_exception(failure);
  } catch (const std::exception& error) {
    g_log.e("%s: Exception in future.get(): %S", kName, error.what());
  } catch (...) {
    g_log.e("%s: Unknown exception in future.get()", kName);
  }
}

void YOXPublisherSubscriber::Notify(const YOXNotificationData& record, const WString& senderId) {
  std::unique_ptr<QueuedNotification> queued;
  bool full = false;
  {
    const Hold hold(queueMutex);
    full = notificationQueue.size() >= kLongestQueue;
    if (!full && !spare_.empty()) {
      queued = std::move(spare_.back());
      spare_.pop_back();
    }
  }
  if (full) {
    g_log.d(
        "YOXPublisherSubscriber::Notify: Maxm Q size reached. Not notifying untill Q size is "
        "reduced");
    return;
  }
  if (!queued) queued = std::make_unique<QueuedNotification>();
  queued->record = record;
  queued->sender_id = senderId;
  {
    const Hold hold(queueMutex);
    notificationQueue.push_back(std::move(queued));
  }
  ReleaseOne(queueSemaphore.load());
}

bool YOXPublisherSubscriber::GetLastNotificationForTopic(const TopicId& topic, EventState& event) {
  if (topic == TopicId::NoTopic) return false;
  lastEventLock.EnterLock();
  const auto found = lastEventByTopic.find(static_cast<std::int32_t>(topic));
  const bool known = found != lastEventByTopic.end();
  if (known) event = static_cast<EventState>(found->second);
  lastEventLock.ExitLock();
  return known;
}

void YOXPublisherSubscriber::SetStopRequest() {
  stopRequested = true;
  ReleaseOne(queueSemaphore.load());
}

void YOXPublisherSubscriber::Cleanup() {
  constexpr const char* kName = "YOXPublisherSubscriber::Cleanup";
  g_log.d("YOXPublisherSubscriber::Cleanup.Entry");
  stopRequested = true;
  cleanupLock_.EnterLock();
  ReleaseOne(queueSemaphore.exchange(nullptr));
  if (workerThread) {
    try {
      workerThread->join();
    } catch (const std::exception&) {
      g_log.e("%s: Exception joining thread", kName);
    } catch (...) {
      g_log.e("%s: Unknown exception joining thread", kName);
    }
    workerThread.reset();
  }
  subscribersLock.EnterLock();
  g_log.d("%s: Cleaning up %zu subscribers", kName, subscribers.size());
  for (const auto& [id, subscriber] : subscribers) {
    if (!subscriber->WaitEnded(kHangingMilliseconds)) {
      g_log.e("%s: Subscriber %s hanging during cleanup, forcing completion", kName, id);
      subscriber->WaitEnded(kNoTimeLimit);
    }
  }
  for (const auto& [id, subscriber] : subscribers) subscriber->Leave();
  subscribers.clear();
  firstSubscriberId.clear();
  snapshot_ = nullptr;
  subscribersLock.ExitLock();
  cleanupLock_.ExitLock();
  g_log.d("YOXPublisherSubscriber::Cleanup.Exit");
}

std::size_t YOXPublisherSubscriber::DeliveryCopyCount() {
  subscribersLock.EnterLock();
  const std::size_t count = deliveryCopies.size();
  subscribersLock.ExitLock();
  return count;
}
