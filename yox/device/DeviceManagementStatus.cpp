#include "yox/device/DeviceManagementStatus.h"

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <optional>

#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/clientbase/CRegUtil.h"
#include "yox/clientbase/EpUrlProvider.h"
#include "yox/clientbase/OperatingSystemAgent.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/system/JoinState.h"
#include "yox/platform/system/Services.h"

using namespace yox::literals;
using YOX::g_log;
using YOX::String;
using yox::WString;
using yox::platform::JoinAnswer;
using yox::platform::Platform;
using Outcome = yox::platform::JoinAnswer::Outcome;

namespace {

// An answer that stays once it is known.
struct KnownForEver {
  std::mutex mutex;
  bool known = false;
  bool answer = false;
};

// An answer that stays for an hour. The time of the last check begins at 0, where the clock began
// too.
struct KnownForAnHour {
  static constexpr std::int64_t kNanoseconds = 3'600'000'000'000;

  std::mutex mutex;
  bool answer = false;
  std::int64_t checked = 0;

  template <class Ask>
  bool Get(Ask ask) {
    constexpr std::int64_t kNanosecondsOfMillisecond = 1'000'000;
    const std::int64_t now =
        Platform::Get().clock().SteadyMilliseconds() * kNanosecondsOfMillisecond;
    {
      const std::lock_guard lock(mutex);
      if (now - checked < kNanoseconds) return answer;
    }
    const std::optional<bool> fresh = ask();
    if (!fresh) return false;
    const std::lock_guard lock(mutex);
    answer = *fresh;
    checked = now;
    return answer;
  }
};

// Whether there was an answer at all; what went wrong is logged.
bool WasAsked(const JoinAnswer& answer, const char* name) {
  switch (answer.outcome) {
    case Outcome::kAsked:
      return true;
    case Outcome::kUnknown:
      return false;
    case Outcome::kNoHostName:
      g_log.e("%s: gethostname error code %d", name, answer.code);
      return false;
    case Outcome::kNoLibrary:
      g_log.e("%s: Failed to load Netapi32.dll", name);
      return false;
    case Outcome::kNoFunction:
      g_log.e("%s: Failed to get required function(s)", name);
      return false;
  }
  return false;
}

bool NamesManagedEdition(const WString& text) {
  return String::CaseInsesitiveFind(text, "enterprise"_wv) ||
         String::CaseInsesitiveFind(text, "edu"_wv);  // short on purpose: anywhere in the text
}

}  // namespace

const std::vector<WString> DeviceManagementStatus::nonCommercialOrgIds = {
    "c915fedc-aab3-4509-a588-9d8365f31079"_w, "f1e571bf-4b98-4463-832a-eaadc56f4c9d"_w};

bool DeviceManagementStatus::IsDeviceManaged() {
  return IsJoinedToAnyDomain() || IsJoinedToAadDomain() || IsEnterpriseOrEducationEdition() ||
         IsGroupPolicySetForManagedDevice() || IsDeviceClaimedInCommercialOrg() ||
         IsManagedBySCCM();
}

bool DeviceManagementStatus::IsJoinedToAnyDomain() {
  constexpr const char* kName = "DeviceManagementStatus::IsJoinedToAnyDomain";
  static KnownForEver memory;
  {
    const std::lock_guard lock(memory.mutex);
    if (memory.known) return memory.answer;
  }
  const JoinAnswer join = Platform::Get().join_state().Domain();
  if (!WasAsked(join, kName)) return false;
  if (join.code != 0) {
    g_log.e("%s: NetGetJoinInformation return code %llu", kName, std::uint64_t{join.code});
  }
  const std::lock_guard lock(memory.mutex);
  memory.answer = join.joined;
  memory.known = true;
  return memory.answer;
}

bool DeviceManagementStatus::IsJoinedToAadDomain() {
  static KnownForAnHour memory;
  return memory.Get([]() -> std::optional<bool> {
    const JoinAnswer join = Platform::Get().join_state().Cloud();
    if (!WasAsked(join, "DeviceManagementStatus::IsJoinedToAadDomain")) return std::nullopt;
    return join.joined;
  });
}

bool DeviceManagementStatus::IsEnterpriseOrEducationEdition() {
  static KnownForEver memory;
  {
    const std::lock_guard lock(memory.mutex);
    if (memory.known) return memory.answer;
  }
  const bool answer =
      NamesManagedEdition(OperatingSystemAgent::GetOperatingSystemProductEditionID()) ||
      NamesManagedEdition(OperatingSystemAgent::GetOperatingSystemProductName());
  const std::lock_guard lock(memory.mutex);
  memory.answer = answer;
  memory.known = true;
  return answer;
}

bool DeviceManagementStatus::IsGroupPolicySetForManagedDevice() {
  std::uint32_t managed = 0;
  YOX::CRegUtil::GetRegValueOfDwordType(HKEY_LOCAL_MACHINE, "SOFTWARE\\Policies\\Tervan\\YOX\\"_w,
                                        "IsManagedDevice"_w, managed);
  return managed != 0;
}

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

bool DeviceManagementStatus::IsManagedBySCCM() {
  static KnownForAnHour memory;
  return memory.Get(
      []() -> std::optional<bool> { return Platform::Get().services().IsRunning("ccmexec"_wv); });
}
