#include "yox/clientbase/CaptureDevice.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/String.h"
#include "yox/base/TimeZone.h"
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

constexpr std::int64_t kSecondsOfDay = 86'400;

// A text of TimeZone's with the device's offsets in the year before and the year after a moment.
NamedZone CaptureZone(const Clock& clock, std::int64_t now) {
  constexpr std::int64_t kStep = 1'800;  // zones change their offset on the hour or the half hour
  constexpr std::int64_t kSpan = 366 * kSecondsOfDay;
  std::vector<std::int32_t> offsets;
  for (std::int64_t moment = now - kSpan; moment <= now + kSpan; moment += kStep) {
    offsets.push_back(clock.UtcOffset(moment));
  }
  const auto fitting = [&](std::string_view text) -> std::optional<NamedZone> {
    const std::optional<TimeZone> zone = TimeZone::Parse(text);
    if (!zone) return std::nullopt;
    std::int64_t moment = now - kSpan;
    for (const std::int32_t offset : offsets) {
      if (zone->OffsetAt(moment) != offset) return std::nullopt;
      moment += kStep;
    }
    return NamedZone{String::UTF8ToUTF16(text), *zone};
  };
  if (auto named = fitting(String::UTF16ToUTF8(clock.ZoneName()))) return *named;
  for (const std::string_view rule : TimeZone::KnownRules()) {
    if (auto found = fitting(rule)) return *found;
  }
  const int minutes = clock.UtcOffset(now) / 60;
  char text[16];
  std::snprintf(text, sizeof text, "%c%02d:%02d", minutes < 0 ? '-' : '+', std::abs(minutes) / 60,
                std::abs(minutes) % 60);
  return {String::UTF8ToUTF16(text), TimeZone::Parse(text).value_or(TimeZone())};
}

DeviceProfile::ClockSection Capture(const Clock& clock) {
  DeviceProfile::ClockSection section;
  const std::int64_t now = clock.Now();
  section.uptime_seconds = static_cast<std::uint32_t>(clock.UptimeSeconds());
  section.time_zone = CaptureZone(clock, now);
  const std::int32_t offset = section.time_zone.rule.OffsetAt(now);
  const std::int64_t second = (now + offset) % kSecondsOfDay;
  section.now = LocalTime{TimeZone().ToLocalDate(now + offset),
                          static_cast<std::int32_t>(second < 0 ? second + kSecondsOfDay : second)};
  // In the hour that comes twice when clocks go back, the time alone says the first of the two.
  if (section.Moment() != now) section.now->utc_offset = offset;
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

DeviceProfile CaptureDevice(Platform& device, std::span<const RegistryKey> registry_keys) {
  const ScopedPlatform in_use(device);  // for the named operations
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
  for (RegistryKey key : registry_keys) {
    key.view = RegistryView::k64Bit;
    key.user = profile.user.system_process ? profile.user.sid : WString();
    Capture(device.registry(), key, profile);
  }
  device.device_tree().Enumerate([&profile](PresentDevice present) {
    profile.devices.push_back({std::move(present.instance_id), std::move(present.hardware_ids)});
  });
  // Sorted, because the system's order may be another next time.
  std::ranges::sort(profile.devices, {}, &DeviceProfile::Device::instance_id);
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
