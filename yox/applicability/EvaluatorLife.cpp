#include <exception>
#include <future>
#include <utility>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/BucketCache.h"
#include "yox/applicability/ClientVersion.h"
#include "yox/applicability/EvaluatorLog.h"
#include "yox/applicability/KeptTags.h"
#include "yox/base/String.h"
#include "yox/clientbase/CRegMonitor.h"
#include "yox/clientbase/CRegUtil.h"
#include "yox/clientbase/InitLog.h"
#include "yox/device/DeviceInfoProvider.h"
#include "yox/notifications/YOXNotificationData.h"
#include "yox/notifications/YOXPublisherSubscriber.h"
#include "yox/platform/waits/Event.h"
#include "yox/tags/AppAndTagCollection.h"
#include "yox/tags/PersonaTagRegistryMonitor.h"

using YOX::CRegMonitor;
using YOX::String;
using yox::WString;
using yox::platform::Event;
using yox::platform::SignalEvent;
using yox::platform::WaitFor;
using yox::platform::WaitForAny;
using yox::platform::WaitHandle;
using yox::platform::WaitResult;
using namespace yox::literals;

namespace {

constexpr std::int64_t kSecond = 1'000;
constexpr std::int64_t kMinute = 60 * kSecond;

bool IsArm64() {
  return YOX::DeviceInfoProvider::GetInstance()->GetCPUArchitecture() == YOX::Architecture::ARM64;
}

void Finish(std::future<void>& task) {
  if (task.valid()) task.wait();
}

}  // namespace

yox::Mutex ApplicabilityEvaluator::handles_mutex_;
constinit Event* ApplicabilityEvaluator::tagsRegistryChanged_ = nullptr;
constinit WaitHandle ApplicabilityEvaluator::yoxIsStopping_;

ApplicabilityEvaluator* ApplicabilityEvaluator::GetInstance() {
  constexpr const char* kOrigin = "ApplicabilityEvaluator::GetInstance";
  if (auto* const instance = applicability_evaluator_.load(std::memory_order_acquire)) {
    return instance;
  }
  g_evaluator_log.d("%s acquring lock for first time object creatin of AE", kOrigin);
  const yox::MutexLock lock(instance_mutex_);
  if (applicability_evaluator_.load(std::memory_order_relaxed) == nullptr) {
    g_evaluator_log.d("%s first time creating object of applicabiltyevaluator", kOrigin);
    auto* const evaluator = new ApplicabilityEvaluator;
    applicability_evaluator_.store(evaluator, std::memory_order_release);
    if (YOX::utility::InitLog(g_evaluator_log, "ApplicabilityEvaluator.log"_wv, 4)) {
      g_evaluator_log.d("%s: Log Intialize OK!", kOrigin);
    } else {
      g_evaluator_log.e("%s Failed to create applicability evaluator log.", kOrigin);
    }
    evaluator->Init();
  }
  return applicability_evaluator_.load(std::memory_order_relaxed);
}

ApplicabilityEvaluator::ApplicabilityEvaluator()
    : buckets_(std::make_unique<yox::applicability::BucketCache>()),
      client_version_(std::make_unique<yox::applicability::ClientVersion>()),
      kept_tags_(std::make_unique<yox::applicability::KeptTags>()) {}

ApplicabilityEvaluator::~ApplicabilityEvaluator() {
  g_evaluator_log.d("%s :destructor of ApplicableEvaluator",
                    "ApplicabilityEvaluator::~ApplicabilityEvaluator");
  Uninit();
}

void ApplicabilityEvaluator::SetYoxIsStoppingHandle(WaitHandle handle) {
  const yox::MutexLock lock(handles_mutex_);
  yoxIsStopping_ = handle;
}

WaitHandle ApplicabilityEvaluator::GetYoxIsStoppingHandle() {
  const yox::MutexLock lock(handles_mutex_);
  return yoxIsStopping_;
}

WaitHandle ApplicabilityEvaluator::TagsChangedHandle() {
  const yox::MutexLock lock(handles_mutex_);
  return tagsRegistryChanged_ != nullptr ? tagsRegistryChanged_->handle() : WaitHandle();
}

void ApplicabilityEvaluator::Init() {
  constexpr const char* kOrigin = "ApplicabilityEvaluator::Init";
  if (initialized) return;
  g_evaluator_log.d("%s :enter", kOrigin);
  subscriberId = YOXPublisherSubscriber::GetInstance()->Subscribe(
      [this](YOXNotificationData& record) { OnYOXNotification(record); }, false);
  {
    const yox::MutexLock lock(handles_mutex_);
    if (tagsRegistryChanged_ == nullptr) {
      tagsRegistryChanged_ = new Event;
      owns_event_ = true;
    }
  }
  tagUpdateTask = std::async(std::launch::async, [this] { NotifyTagUpdatesThread(); });
  regMonitorTask = std::async(std::launch::async, [this] { RunRegMonitor(); });
  g_evaluator_log.d("%s :exit", kOrigin);
  initialized = true;
}

void ApplicabilityEvaluator::Uninit() {
  constexpr const char* kOrigin = "ApplicabilityEvaluator::Uninit";
  if (uninitialized.exchange(true)) return;
  g_evaluator_log.d("%s :enter", kOrigin);
  hurry_.Set();
  if (!subscriberId.empty()) YOXPublisherSubscriber::GetInstance()->Unsubscribe(subscriberId);
  {
    const yox::MutexLock lock(monitors_mutex_);
    if (regMonitor) regMonitor->Stop();
  }
  if (const auto monitor = PersonaMonitor()) monitor->Stop();
  Finish(regMonitorTask);
  Finish(tagUpdateTask);
  if (owns_event_) {
    const yox::MutexLock lock(handles_mutex_);
    delete std::exchange(tagsRegistryChanged_, nullptr);
  }
  g_evaluator_log.d("%s :exit", kOrigin);
}

std::shared_ptr<yox::PersonaTagRegistryMonitor> ApplicabilityEvaluator::PersonaMonitor() {
  const yox::MutexLock lock(monitors_mutex_);
  return personaMonitor;
}

void ApplicabilityEvaluator::OnYOXNotification(YOXNotificationData& /*record*/) {}

// After Uninit the new monitor gets no event, because the event may be deleted.
void ApplicabilityEvaluator::StartPersonaMonitor() {
  auto monitor = std::make_shared<yox::PersonaTagRegistryMonitor>();
  const yox::MutexLock lock(monitors_mutex_);
  if (!uninitialized) monitor->SetChangeEvent(TagsChangedHandle());
  monitor->Start();
  personaMonitor = std::move(monitor);
}

void ApplicabilityEvaluator::RunRegMonitor() {
  constexpr const char* kOrigin = "ApplicabilityEvaluator::RunRegMonitor";
  const WString uninstall = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall"_w;
  const WString uninstall32 =
      "SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall"_w;
  const struct {
    HKEY root;
    const WString& path;
    const char* failure;
  } watches[] = {
      {HKEY_LOCAL_MACHINE, uninstall, ""},
      {HKEY_CURRENT_USER, uninstall, " for HKEY_CURRENT_USER"},
      {HKEY_LOCAL_MACHINE, uninstall32, " for HKEY_LOCAL_MACHINE SOFTWARE WOW6432Node "},
  };
  try {
    g_evaluator_log.d("%s enter", kOrigin);
    const auto watcher = std::make_shared<CRegMonitor>();
    {
      const yox::MutexLock lock(monitors_mutex_);
      regMonitor = watcher;
      // Uninit may have run before there was a watcher to stop.
      if (uninitialized) watcher->Stop();
    }
    if (!watcher->Init()) {
      g_evaluator_log.e("%s Init error", kOrigin);
      return;
    }
    for (const auto& [root, path, failure] : watches) {
      if (watcher->AddMonitorKey(root, path, {}, true) != CRegMonitor::kFailed) continue;
      g_evaluator_log.e("%s AddMonitorKey failed%s", kOrigin, failure);
    }
    // The watches above keep the process's own view.
    if (IsArm64()) watcher->SetUseOnly64BitRegistry(true);
    YOX::CRegUtil registry;
    const WString& tags = AppAndTagCollection::szRegKeySubPath;
    if (registry.DoesKeyExistsIn64BitRegView(HKEY_LOCAL_MACHINE, tags) == 0 &&
        registry.CreateKey(HKEY_LOCAL_MACHINE, tags, true) == 0) {
      g_evaluator_log.e("%s failed to create Tags registry path", kOrigin);
    }
    const std::uint32_t tags_watch = watcher->AddMonitorKey(HKEY_LOCAL_MACHINE, tags, {}, true);
    if (tags_watch == CRegMonitor::kFailed) {
      g_evaluator_log.e("%s AddMonitorKey failed for Tags registry", kOrigin);
    }
    StartPersonaMonitor();
    if (uninitialized) PersonaMonitor()->Stop();

    for (std::uint32_t identifier{}; watcher->WaitForChange(identifier, true);) {
      if (identifier == tags_watch) {
        SignalEvent(TagsChangedHandle());
        continue;
      }
      const yox::MutexLock lock(installedAppsLock);
      UpdateInstalledAppsMap();
      g_evaluator_log.d("%s Updated installed apps list its size is now: %d", kOrigin,
                        installedAppsMap.size());
    }
    g_evaluator_log.d("%s exit", kOrigin);
  } catch (const std::exception& error) {
    g_evaluator_log.e("%s : Exception - %s", kOrigin, String::UTF8ToUTF16(error.what()));
  }
}

void ApplicabilityEvaluator::NotifyTagUpdatesThread() {
  constexpr const char* kOrigin = "ApplicabilityEvaluator::NotifyTagUpdatesThread";
  constexpr int kMostFailures = 5;
  g_evaluator_log.d("%s enter", kOrigin);
  WaitFor(hurry_.handle(), kSecond);
  const bool is_arm64 = IsArm64();
  const WaitHandle stopping = GetYoxIsStoppingHandle();
  const WaitHandle changed = TagsChangedHandle();
  int failures = 0;
  while (true) {
    const WaitResult result = WaitForAny({stopping, changed});
    if (result.signalled() && result.index == 0) {
      g_evaluator_log.d("%s: Received ServiceStop event", kOrigin);
      break;
    }
    if (result.signalled()) {
      g_evaluator_log.d(
          "%s: Received registry tags updated event. Waiting one minute before accumulating "
          "updated tags.",
          kOrigin);
      if (WaitFor(stopping, kMinute).signalled()) break;
      g_evaluator_log.d("%s: YOX Tags before update: %s", kOrigin,
                        AppAndTagCollection::GetInstance()->getTagsAsString());
      // Before the refresh, so that a change that comes meanwhile is not lost.
      yox::platform::ClearEvent(changed);
      AppAndTagCollection::GetInstance()->RefreshTags(nullptr, is_arm64);
      g_evaluator_log.d(
          "%s: YOX Tags after update (this may be identical to YOX tags before update if the "
          "registry tag was changed by YOX itself and was therefore known in advance): %s",
          kOrigin, AppAndTagCollection::GetInstance()->getTagsAsString());
      const YOXNotificationData record(static_cast<int>(TopicId::TagsUpdated),
                                       static_cast<int>(EventState::TagsUpdated), {});
      YOXPublisherSubscriber::GetInstance()->Notify(record, subscriberId);
      continue;
    }
    g_evaluator_log.e("%s: Unexpected WaitForMultipleObjects return value: %ld GetLastError: %ld",
                      kOrigin, -1, result.error);
    if (++failures > kMostFailures) break;
    if (stopping.null()) {
      WaitFor(hurry_.handle(), kSecond);
    } else {
      WaitFor(stopping, kMinute);
    }
  }
  g_evaluator_log.d("%s exit", kOrigin);
}

void ApplicabilityEvaluator::RefreshPersonaTagMonitoring() {
  constexpr const char* kOrigin = "ApplicabilityEvaluator::RefreshPersonaTagMonitoring";
  g_evaluator_log.d("%s Refresh on log on", kOrigin);
  const auto former = PersonaMonitor();
  if (former == nullptr || !initialized) {
    g_evaluator_log.d("%s Initialisation is not completed or registry moniter is not yet started",
                      kOrigin);
    return;
  }
  former->Stop();
  StartPersonaMonitor();
  AppAndTagCollection* const tags = AppAndTagCollection::GetInstance();
  const WString before = tags->getTagsAsString();
  tags->RefreshPersonaTags();
  const WString after = tags->getTagsAsString();
  g_evaluator_log.d("%s Old tags: %s", kOrigin, before);
  if (before != after) {
    g_evaluator_log.d(
        "%s Tags changed on user switch \xC3\xA2\xE2\x82\xAC\xE2\x80\x9D signaling update",
        kOrigin);
    const yox::MutexLock lock(handles_mutex_);
    if (tagsRegistryChanged_ != nullptr) tagsRegistryChanged_->Set();
  } else {
    g_evaluator_log.d("%s No tag changes detected", kOrigin);
  }
  g_evaluator_log.d("%s Refresh completed", kOrigin);
}
