#include "yox/clientbase/CaptureDevice.h"

#include <chrono>
#include <cstdio>
#include <string>

#include "yox/base/String.h"
#include "yox/clientbase/DeveloperSettings.h"
#include "yox/clientbase/EpUrlProvider.h"
#include "yox/clientbase/XMLConfigAgent.h"
#include "yox/platform/apps/Applications.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/devices/Accelerators.h"
#include "yox/platform/devices/DeviceTree.h"
#include "yox/platform/devices/DisplayAdapters.h"
#include "yox/platform/firmware/Firmware.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/RegistryPaths.h"
#include "yox/platform/system/JoinState.h"
#include "yox/platform/system/Locale.h"
#include "yox/platform/system/OperatingSystem.h"
#include "yox/platform/system/Services.h"
#include "yox/platform/users/Users.h"

namespace yox::platform {
namespace {

constexpr int kSecondsOfMinute = 60;
constexpr int kMinutesOfHour = 60;

std::int64_t StartOfUniversalDay(const LocalDate& date) {
  using namespace std::chrono;
  const sys_days day = year_month_day(year(date.year), month(static_cast<unsigned>(date.month)),
                                      std::chrono::day(static_cast<unsigned>(date.day)));
  return duration_cast<seconds>(day.time_since_epoch()).count();
}

// The zone as a fixed distance from Greenwich, the one at the start of today: a rule for the rest
// of the year is more than a clock tells.
DeviceProfile::ClockSection Capture(const Clock& clock) {
  DeviceProfile::ClockSection section;
  const std::int64_t now = clock.Now();
  const LocalDate date = clock.ToLocalDate(now);
  const std::int64_t start =
      clock.StartOfLocalDay(date.year, date.month, date.day).value_or(StartOfUniversalDay(date));
  const auto minutes = static_cast<int>((StartOfUniversalDay(date) - start) / kSecondsOfMinute);
  char offset[16];
  std::snprintf(offset, sizeof offset, "%c%02d:%02d", minutes < 0 ? '-' : '+',
                std::abs(minutes) / kMinutesOfHour, std::abs(minutes) % kMinutesOfHour);
  section.time_zone = {String::UTF8ToUTF16(offset), TimeZone::Parse(offset).value_or(TimeZone())};
  section.now = yox::platform::LocalTime{date, static_cast<std::int32_t>(now - start)};
  section.uptime_seconds = static_cast<std::uint32_t>(clock.UptimeSeconds());
  return section;
}

DeviceProfile::OsSection Capture(OperatingSystem& system) {
  DeviceProfile::OsSection section;
  section.product_name = system.ProductName();
  section.edition_id = system.EditionId();
  section.version = system.Version();
  section.caption = system.Caption();
  section.s_mode = system.IsSMode();
  section.architecture = system.Architecture();
  section.update_service_start_type = system.UpdateServiceStartType();
  section.updates = system.UpdateHistory();
  return section;
}

bool IsKnownType(RegistryType type) {
  switch (type) {
    case RegistryType::kText:
    case RegistryType::kExpandableText:
    case RegistryType::kBinary:
    case RegistryType::kDword:
    case RegistryType::kMultiText:
    case RegistryType::kQword:
      return true;
    default:
      return false;
  }
}

void Capture(Registry& registry, const RegistryKey& key, DeviceProfile& profile) {
  std::vector<RegistryEntry> values;
  if (registry.Values(key, values) != RegistryStatus::kOk) return;
  auto& captured = profile.registry[RegistryPathText(key)];
  for (RegistryEntry& entry : values) {
    if (IsKnownType(entry.value.type)) captured[entry.name] = std::move(entry.value);
  }
  std::vector<WString> names;
  if (registry.SubKeys(key, names) != RegistryStatus::kOk) return;
  for (const WString& name : names) {
    RegistryKey below = key;
    below.path += "\\"_w + name;
    Capture(registry, below, profile);
  }
}

}  // namespace

DeviceProfile CaptureDevice(Platform& device, const std::vector<WString>& registry_keys) {
  const ScopedPlatform asked(device);  // by the named operations too
  DeviceProfile profile;
  profile.clock = Capture(device.clock());
  if (const FirmwareFacts* const facts = device.firmware().Facts()) {
    profile.firmware.emplace();
    static_cast<FirmwareFacts&>(*profile.firmware) = *facts;
  }
  profile.os = Capture(device.operating_system());
  profile.first_run_date = device.operating_system().FirstRunDate();
  profile.region = device.locale().Facts();
  profile.user = {device.users().LoggedInUserSid(), device.users().IsSystemProcess()};
  for (const WString& path : registry_keys) {
    Capture(device.registry(),
            {.root = HKEY_LOCAL_MACHINE, .path = path, .view = RegistryView::k64Bit, .user = {}},
            profile);
  }
  device.device_tree().Enumerate([&profile](PresentDevice present) {
    profile.devices.push_back({std::move(present.instance_id), std::move(present.hardware_ids)});
  });
  profile.accelerators = device.accelerators().Enumerate().value_or(std::vector<Accelerator>());
  profile.display_adapters =
      device.display_adapters().Enumerate().value_or(std::vector<DisplayAdapter>());
  Applications::ByKey installed;
  for (const ApplicationSource source : kApplicationSources) {
    installed.merge(device.applications().Installed(source));
  }
  for (const auto& [key, application] : installed) {
    profile.installed_apps.push_back({key, application.name, application.version});
  }
  profile.store_apps = device.applications().Store();
  constexpr WStringView kManagementService = "ccmexec"_wv;
  if (device.services().IsRunning(kManagementService)) {
    profile.services[WString(kManagementService)] = DeviceProfile::ServiceState::kRunning;
  }
  profile.join = {device.join_state().Domain().joined, device.join_state().Cloud().joined};
  if (const auto* const provider = YOX::EpUrlProvider::GetInstance()) {
    profile.organisation.emplace();
    provider->GetRealm(profile.organisation->realm);
    provider->GetDeviceSubscriptionList(profile.organisation->subscriptions);
  }
  profile.developer.device_model_override =
      YOX::DeveloperSettings::GetInstance().OverrideDeviceModel();
  const XMLConfigAgent configured = XMLConfigAgent::GetInstance(0);
  profile.configuration = {configured.GetMachineType(), configured.GetSerialNumber(),
                           configured.GetBIOSVersion(), configured.GetMTM(),
                           configured.GetMachineModel()};
  return profile;
}

}  // namespace yox::platform
