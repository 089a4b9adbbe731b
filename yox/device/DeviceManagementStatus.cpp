#include "yox/device/DeviceManagementStatus.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/base/ThreadSafety.h"
#include "yox/clientbase/CRegUtil.h"
#include "yox/clientbase/EpUrlProvider.h"
#include "yox/clientbase/OperatingSystemAgent.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/registry/SharedTracker.h"
#include "yox/platform/system/JoinState.h"
#include "yox/platform/system/Services.h"

using namespace yox::literals;
using YOX::g_log;
using YOX::String;
using yox::WString;
using yox::platform::JoinAnswer;
using yox::platform::Platform;
using yox::platform::RegistryKey;
using Outcome = yox::platform::JoinAnswer::Outcome;

namespace {

using yox::device::ManagementState;

constexpr std::int64_t kForEver = INT64_MAX;
constexpr std::int64_t kNotAtAll = INT64_MIN;

// A result that is kept until the process ends or its platform changes.
class KnownForEver {
 public:
  std::optional<bool> Get() {
    const yox::MutexLock lock(mutex_);
    if (generation_ != Platform::Generation()) {
      answer_.reset();
      generation_ = Platform::Generation();
    }
    return answer_;
  }
  bool Remember(bool answer) {
    const yox::MutexLock lock(mutex_);
    answer_ = answer;
    return answer;
  }

 private:
  yox::Mutex mutex_;
  std::optional<bool> answer_ YOX_GUARDED_BY(mutex_);
  std::uint64_t generation_ YOX_GUARDED_BY(mutex_) = Platform::Generation();
};

// A result that is kept for an hour, or until the process's platform changes. The time of the last
// query starts at 0, as the steady clock does: in the first hour of the device the result is false
// without a query, as required. The lock is not held during a query, so two threads may query at
// once; the later one wins.
class KnownForAnHour {
 public:
  // `query` returns std::nullopt if there is no result to keep.
  template <class Query>
  ManagementState Get(Query query) {
    constexpr std::int64_t kHour = 3'600'000'000'000;  // in nanoseconds
    const std::int64_t now = Platform::Get().clock().SteadyNanoseconds();
    {
      const yox::MutexLock lock(mutex_);
      if (generation_ != Platform::Generation()) {
        answer_ = false;
        queried_ = 0;
        generation_ = Platform::Generation();
      }
      if (now - queried_ < kHour) return {answer_, queried_ + kHour};
    }
    const std::optional<bool> fresh = query();
    if (!fresh) return {false, kNotAtAll};
    const yox::MutexLock lock(mutex_);
    answer_ = *fresh;
    queried_ = now;
    return {answer_, now + kHour};
  }

 private:
  yox::Mutex mutex_;
  bool answer_ YOX_GUARDED_BY(mutex_) = false;
  std::int64_t queried_ YOX_GUARDED_BY(mutex_) = 0;
  std::uint64_t generation_ YOX_GUARDED_BY(mutex_) = Platform::Generation();
};

// Whether the query succeeded; logs an error otherwise.
bool WasAsked(const JoinAnswer& answer, const char* name) {
  switch (answer.outcome) {
    case Outcome::kAsked:
    case Outcome::kUnknown:
      break;
    case Outcome::kNoHostName:
      g_log.e("%s: gethostname error code %d", name, answer.code);
      break;
    case Outcome::kNoLibrary:
      g_log.e("%s: Failed to load Netapi32.dll", name);
      break;
    case Outcome::kNoFunction:
      g_log.e("%s: Failed to get required function(s)", name);
      break;
  }
  return answer.outcome == Outcome::kAsked;
}

bool NamesManagedEdition(const WString& text) {
  return String::CaseInsesitiveFind(text, "enterprise"_wv) ||
         String::CaseInsesitiveFind(text,
                                    "edu"_wv);  // short, as required: matches anywhere in the text
}

ManagementState Domain() {
  constexpr const char* kName = "DeviceManagementStatus::IsJoinedToAnyDomain";
  static KnownForEver memory;
  if (const auto known = memory.Get()) return {*known, kForEver};
  const JoinAnswer join = Platform::Get().join_state().Domain();
  if (!WasAsked(join, kName)) return {};
  if (join.code != 0) {
    g_log.e("%s: NetGetJoinInformation return code %llu", kName, std::uint64_t{join.code});
  }
  return {memory.Remember(join.joined), kForEver};
}

ManagementState CloudDevice() {
  static KnownForAnHour memory;
  return memory.Get([]() -> std::optional<bool> {
    const JoinAnswer join = Platform::Get().join_state().Cloud();
    if (!WasAsked(join, "DeviceManagementStatus::IsJoinedToAadDomain")) return std::nullopt;
    return join.joined;
  });
}

ManagementState Edition() {
  static KnownForEver memory;
  if (const auto known = memory.Get()) return {*known, kForEver};
  return {memory.Remember(
              NamesManagedEdition(OperatingSystemAgent::GetOperatingSystemProductEditionID()) ||
              NamesManagedEdition(OperatingSystemAgent::GetOperatingSystemProductName())),
          kForEver};
}

// Never destroyed. Every decision of the running service may read the key.
const WString& PolicyPath() {
  static const auto& path = *new WString("SOFTWARE\\Policies\\Tervan\\YOX\\"_w);
  return path;
}

// Until the registry changes.
ManagementState Policy() {
  static const auto& name = *new WString("IsManagedDevice"_w);
  std::uint32_t managed = 0;
  YOX::CRegUtil::GetRegValueOfDwordType(HKEY_LOCAL_MACHINE, PolicyPath(), name, managed);
  return {managed != 0, kForEver};
}

// The same.
ManagementState Organisation() {
  return {DeviceManagementStatus::IsDeviceClaimedInCommercialOrg(), kForEver};
}

ManagementState ManagementService() {
  static KnownForAnHour memory;
  return memory.Get(
      []() -> std::optional<bool> { return Platform::Get().services().IsRunning("ccmexec"_wv); });
}

}  // namespace

std::shared_ptr<yox::platform::RegistryTracker> yox::device::ManagementTracker() {
  // Of Policy and Organisation. Never destroyed.
  static auto& tracker = *new yox::platform::SharedTracker(
      {{HKEY_LOCAL_MACHINE, PolicyPath(), {}, {}}, YOX::EpUrlProvider::Key()});
  return tracker.Get();
}

ManagementState yox::device::QueryManagement() {
  ManagementState all{false, kForEver};
  for (const auto query : {Domain, CloudDevice, Edition, Policy, Organisation, ManagementService}) {
    const ManagementState state = query();
    all.known_until = std::min(all.known_until, state.known_until);
    if (state.is_managed) return {true, all.known_until};
  }
  return all;
}

constexpr std::array<yox::WStringView, 2> DeviceManagementStatus::nonCommercialOrgIds = {
    "c915fedc-aab3-4509-a588-9d8365f31079"_wv, "f1e571bf-4b98-4463-832a-eaadc56f4c9d"_wv};

std::span<const yox::device::ManagementSignal> yox::device::ManagementSignals() {
  using Status = DeviceManagementStatus;
  static constexpr ManagementSignal kSignals[] = {
      {"domain", "join state", Status::IsJoinedToAnyDomain},
      {"cloud_device", "join state", Status::IsJoinedToAadDomain},
      {"edition", "operating system, edition", Status::IsEnterpriseOrEducationEdition},
      {"policy", "registry, policies", Status::IsGroupPolicySetForManagedDevice},
      {"organisation", "registry, subscriptions", Status::IsDeviceClaimedInCommercialOrg},
      {"management_service", "services", Status::IsManagedBySCCM},
  };
  return kSignals;
}

bool DeviceManagementStatus::IsDeviceManaged() { return yox::device::QueryManagement().is_managed; }

bool DeviceManagementStatus::IsJoinedToAnyDomain() { return Domain().is_managed; }
bool DeviceManagementStatus::IsJoinedToAadDomain() { return CloudDevice().is_managed; }
bool DeviceManagementStatus::IsEnterpriseOrEducationEdition() { return Edition().is_managed; }
bool DeviceManagementStatus::IsGroupPolicySetForManagedDevice() { return Policy().is_managed; }
bool DeviceManagementStatus::IsManagedBySCCM() { return ManagementService().is_managed; }

bool DeviceManagementStatus::IsDeviceClaimedInCommercialOrg() {
  std::vector<WString> subscriptions;
  if (const auto* const provider = YOX::EpUrlProvider::GetInstance()) {
    provider->GetDeviceSubscriptionList(subscriptions);
  }
  return !subscriptions.empty() &&
         std::ranges::none_of(subscriptions, [](const WString& subscription) {
           const WString id = String::ToLower(subscription);
           return std::ranges::find(nonCommercialOrgIds, id) != nonCommercialOrgIds.end();
         });
}
