#include "yox/device/YoxInfo.h"

#include <atomic>
#include <utility>

#include "yox/base/ThreadSafety.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/clientbase/Paths.h"
#include "yox/clientbase/System.h"
#include "yox/clientbase/ZeroDayUtil.h"
#include "yox/platform/Platform.h"

using yox::WString;
using namespace yox::literals;

namespace {

// Guards service_version_ of every object: with a lock as a member they could not be copied.
yox::Mutex g_service_version_mutex;

constinit std::atomic<std::uint64_t> g_times_forgotten{0};

}  // namespace

YoxInfo* YoxInfo::GetInstance() {
  static YoxInfo instance;
  return &instance;
}

void YoxInfo::GetYoxInfo() {
  id_ = "0F9C839C-B366-47FC-9251-97B675DC39BB"_w;
  name_ = "Tervan Yox Client Service"_w;
  info_datetime_ = YOX::System::GetTime();
  GetAnonymousDataCollectionPreference();
  if (version_.empty()) version_ = GetYoxServiceVersion();
}

WString YoxInfo::GetYoxServiceVersion() {
  const std::uint64_t generation = yox::platform::Platform::Generation();
  yox::MutexLock lock(g_service_version_mutex);
  if (service_version_generation_ != generation) service_version_.clear();
  service_version_generation_ = generation;
  if (!service_version_.empty()) return service_version_;
  lock.Unlock();  // reading the file may take long
  WString version =
      FileSystem::GetFileVersion(YOX::utility::GetSystemDirectoryW() +
                                 "\\drivers\\tervan\\yox\\service\\yoxclientservice.exe"_w);
  lock.Lock();
  if (service_version_.empty()) service_version_ = std::move(version);
  return service_version_;
}

void YoxInfo::ForgetServiceVersion() {
  const yox::MutexLock lock(g_service_version_mutex);
  service_version_.clear();
  g_times_forgotten.fetch_add(1, std::memory_order_release);
}

// The sum of two numbers that only grow.
std::uint64_t YoxInfo::ServiceVersionGeneration() {
  return yox::platform::Platform::Generation() + g_times_forgotten.load(std::memory_order_acquire);
}

WString YoxInfo::GetAnonymousDataCollectionPreference() {
  anonymous_preference_ = ZeroDayUtil::IsAnonymousMetricsEnabled(0) ? "On"_w : "Off"_w;
  return anonymous_preference_;
}
