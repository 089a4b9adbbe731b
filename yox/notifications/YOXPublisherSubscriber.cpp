#include "yox/notifications/YOXPublisherSubscriber.h"

#include <exception>
#include <utility>

#include "yox/base/Log.h"
#include "yox/clientbase/CGuid.h"
#include "yox/notifications/NotificationQueue.h"
#include "yox/notifications/RoleLease.h"
#include "yox/notifications/Round.h"
#include "yox/platform/system/Process.h"
#include "yox/platform/waits/Waits.h"

using YOX::g_log;
using yox::WString;
using yox::platform::kNoTimeLimit;

namespace {

void LogUnlessReleased(bool released) {
  if (!released) g_log.e("ReleaseSempahore failed.");
}

}  // namespace

// Cleaned up at process exit, but never destroyed: threads that still run then, or wait in Cleanup
// for the delivery that called std::exit, use it to the end. When a process unloads the library as
// it ends, the other threads are gone, perhaps with locks; then it is left as it is.
YOXPublisherSubscriber* YOXPublisherSubscriber::GetInstance() {
  struct Instance {
    ~Instance() {
      if (!yox::platform::OtherThreadsAreGone()) bus->CleanUpQuietly();
    }
    YOXPublisherSubscriber* const bus = new YOXPublisherSubscriber;
  };
  static const Instance instance;
  return instance.bus;
}

YOXPublisherSubscriber::YOXPublisherSubscriber()
    : queue_(std::make_unique<NotificationQueue>()),
      round_(std::make_unique<Round>()),
      role_(std::make_shared<RoleLease>([this](RoleLease& lease) { UseRole(lease); })),
      workerThread(std::make_unique<std::thread>([this] { NotifyWorker(); })) {
  notifyEnabled = true;
}

YOXPublisherSubscriber::~YOXPublisherSubscriber() { CleanUpQuietly(); }

void YOXPublisherSubscriber::CleanUpQuietly() {
  try {
    Cleanup();
  } catch (...) {  // NOLINT(bugprone-empty-catch): there is no caller to report it to
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
  // What needs memory comes before the lock, which an exception would not leave.
  std::map<WString, std::shared_ptr<Subscriber>> added;
  added.emplace(id, std::make_shared<Subscriber>(id, std::move(callback)));
  WString first = wantsFirst ? id : WString();
  std::shared_ptr<const Snapshot> former;
  subscribersLock.EnterLock();
  if (stopRequested) {
    subscribersLock.ExitLock();
    g_log.d("%s: Rejecting new subscriber, cleanup in progress (double-check)", kName);
    return {};
  }
  if (firstSubscriberId.empty()) firstSubscriberId.swap(first);
  subscribers.merge(added);
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
  Subscriber::Callback callback;
  bool collect = false;

  subscribersLock.EnterLock();
  g_log.d("%s Id = %s size = %d entry", kName, id, static_cast<int>(subscribers.size()));
  if (id == firstSubscriberId) firstSubscriberId.clear();
  if (const auto found = subscribers.find(id); found != subscribers.end()) {
    g_log.d("%s Id = %s found", kName, id);
    leaving = std::move(found->second);
    subscribers.erase(found);
    callback = leaving->Leave();
    collect = !leaving->awaited_by_worker;
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
  if (!queue_->HasRoom()) {
    g_log.d(
        "YOXPublisherSubscriber::Notify: Maxm Q size reached. Not notifying untill Q size is "
        "reduced");
    return;
  }
  LogUnlessReleased(queue_->Append({record, senderId}));
}

bool YOXPublisherSubscriber::GetLastNotificationForTopic(const TopicId& topic, EventState& event) {
  lastEventLock.EnterLock();
  const auto found = lastEventByTopic.find(static_cast<std::int32_t>(topic));
  const bool known = found != lastEventByTopic.end();
  if (known) event = static_cast<EventState>(found->second);
  lastEventLock.ExitLock();
  return known;
}

void YOXPublisherSubscriber::SetStopRequest() {
  stopRequested = true;
  LogUnlessReleased(queue_->AddToken());
}

void YOXPublisherSubscriber::Cleanup() {
  g_log.d("YOXPublisherSubscriber::Cleanup.Entry");
  stopRequested = true;
  if (BeginCleanup()) {
    StopWorker();
    RemoveSubscribers();
    EndCleanup();
  }
  g_log.d("YOXPublisherSubscriber::Cleanup.Exit");
}

bool YOXPublisherSubscriber::BeginCleanup() {
  yox::MutexLock lock(cleanup_mutex_);
  while (cleaning_) {
    // The other Cleanup waits for the delivery that calls this one, or destroys the callback that
    // does.
    if (Subscriber::IsAnyCurrent() || cleaner_ == std::this_thread::get_id()) return false;
    cleaned_.Wait(lock);
  }
  cleaning_ = true;
  cleaner_ = std::this_thread::get_id();
  return true;
}

void YOXPublisherSubscriber::EndCleanup() {
  {
    const yox::MutexLock lock(cleanup_mutex_);
    cleaning_ = false;
  }
  cleaned_.NotifyAll();
}

void YOXPublisherSubscriber::StopWorker() {
  constexpr const char* kName = "YOXPublisherSubscriber::Cleanup";
  LogUnlessReleased(queue_->AddToken());
  queue_->Close();
  if (!workerThread) return;
  try {
    workerThread->join();
  } catch (const std::exception&) {
    g_log.e("%s: Exception joining thread", kName);
  } catch (...) {
    g_log.e("%s: Unknown exception joining thread", kName);
  }
  workerThread.reset();
}

void YOXPublisherSubscriber::RemoveSubscribers() {
  constexpr const char* kName = "YOXPublisherSubscriber::Cleanup";
  std::map<WString, std::shared_ptr<Subscriber>> leaving;
  std::shared_ptr<const Snapshot> former;
  subscribersLock.EnterLock();
  g_log.d("%s: Cleaning up %zu subscribers", kName, subscribers.size());
  for (const auto& [id, subscriber] : subscribers) {
    if (subscriber->IsCurrent() || subscriber->WaitEnded(kHangingMilliseconds)) continue;
    g_log.e("%s: Subscriber %s hanging during cleanup, forcing completion", kName, id);
    subscriber->WaitEnded(kNoTimeLimit);
  }
  leaving.swap(subscribers);
  former.swap(snapshot_);
  subscribersLock.ExitLock();
  // Without the lock, because the destructor of a callback may call Unsubscribe.
  for (const auto& [id, subscriber] : leaving) {
    const Subscriber::Callback callback = subscriber->Leave();
  }
}

std::size_t YOXPublisherSubscriber::DeliveryCopyCount() {
  subscribersLock.EnterLock();
  const std::size_t count = deliveryCopies.size();
  subscribersLock.ExitLock();
  return count;
}
