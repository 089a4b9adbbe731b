#include "yox/platform/simulated/SimulatedDevice.h"

#include <algorithm>
#include <atomic>
#include <fstream>
#include <iterator>
#include <pugixml.hpp>
#include <set>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

#include "yox/base/String.h"
#include "yox/base/ThreadSafety.h"
#include "yox/platform/apps/Applications.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/devices/Accelerators.h"
#include "yox/platform/devices/DisplayAdapters.h"
#include "yox/platform/firmware/PublishedFirmware.h"
#include "yox/platform/firmware/Smbios.h"
#include "yox/platform/registry/RegistryPaths.h"
#include "yox/platform/system/Client.h"
#include "yox/platform/system/FactQueries.h"
#include "yox/platform/system/JoinState.h"
#include "yox/platform/system/Locale.h"
#include "yox/platform/system/ManagementQueries.h"
#include "yox/platform/system/OperatingSystem.h"
#include "yox/platform/system/Services.h"
#include "yox/platform/users/Users.h"

namespace yox::platform {
namespace {

// A profile that several threads read and change.
class SharedProfile {
 public:
  explicit SharedProfile(const DeviceProfile& profile) : profile_(profile) {}

  // A number that no other profile of the process has, and this one only until its next change.
  std::uint64_t generation() const { return generation_; }

  // A copy of what `part(profile)` names.
  template <class Part>
  auto Copy(Part part) const {
    const SharedLock lock(mutex_);
    return std::remove_cvref_t<std::invoke_result_t<Part, const DeviceProfile&>>(
        std::invoke(part, profile_));
  }

  void Change(const std::function<void(DeviceProfile&)>& change) {
    const ExclusiveLock lock(mutex_);
    change(profile_);
    generation_ = Next();
  }

 private:
  static std::uint64_t Next() {
    static constinit std::atomic<std::uint64_t> last{0};
    return ++last;
  }

  mutable SharedMutex mutex_;
  DeviceProfile profile_ YOX_GUARDED_BY(mutex_);
  std::atomic<std::uint64_t> generation_{Next()};
};

class SimulatedFirmware final : public PublishedFirmware {
 public:
  explicit SimulatedFirmware(const SharedProfile& profile) : profile_(profile) { Reread(); }

 private:
  std::optional<FirmwareFacts> Read() const override {
    const auto section = profile_.Copy(&DeviceProfile::firmware);
    if (!section) return std::nullopt;
    if (!section->smbios_table) return *section;
    const auto& table = *section->smbios_table;
    return smbios::Read({reinterpret_cast<const char*>(table.data()), table.size()});
  }

  const SharedProfile& profile_;
};

class SimulatedOperatingSystem final : public OperatingSystem {
 public:
  explicit SimulatedOperatingSystem(const SharedProfile& profile) : profile_(profile) {}

  WString ProductName() override { return Fact(&DeviceProfile::OsSection::product_name); }
  WString EditionId() override { return Fact(&DeviceProfile::OsSection::edition_id); }
  WString Version() override { return Fact(&DeviceProfile::OsSection::version); }
  WString Caption() override { return Fact(&DeviceProfile::OsSection::caption); }
  bool IsSMode() override { return Fact(&DeviceProfile::OsSection::s_mode); }
  std::uint32_t Architecture() override { return Fact(&DeviceProfile::OsSection::architecture); }
  std::uint32_t UpdateServiceStartType() override {
    return Fact(&DeviceProfile::OsSection::update_service_start_type);
  }
  std::vector<OperatingSystemUpdate> UpdateHistory() override {
    return Fact(&DeviceProfile::OsSection::updates);
  }
  std::optional<LocalDate> FirstRunDate() override {
    return profile_.Copy(&DeviceProfile::first_run_date);
  }

 private:
  template <class Value>
  Value Fact(Value DeviceProfile::OsSection::*fact) const {
    return profile_.Copy([&](const DeviceProfile& profile) { return profile.os.*fact; });
  }

  const SharedProfile& profile_;
};

class SimulatedLocale final : public Locale {
 public:
  explicit SimulatedLocale(const SharedProfile& profile) : profile_(profile) {}
  LocaleFacts Facts() override { return profile_.Copy(&DeviceProfile::region); }

 private:
  const SharedProfile& profile_;
};

class SimulatedUsers final : public Users {
 public:
  explicit SimulatedUsers(const SharedProfile& profile) : profile_(profile) {}
  WString LoggedInUserSid() override { return profile_.Copy(&DeviceProfile::user).sid; }
  bool IsSystemProcess() override { return profile_.Copy(&DeviceProfile::user).system_process; }

 private:
  const SharedProfile& profile_;
};

class SimulatedApplications final : public Applications {
 public:
  explicit SimulatedApplications(const SharedProfile& profile) : profile_(profile) {}

  ByKey Installed(ApplicationSource source) override {
    ByKey installed;
    if (source != ApplicationSource::kMachine) return installed;
    for (auto& [key, name, version] : profile_.Copy(&DeviceProfile::installed_apps)) {
      installed[key] = {name, {}, version};
    }
    return installed;
  }
  std::map<WString, WString> Store() override { return profile_.Copy(&DeviceProfile::store_apps); }
  std::uint64_t Generation() override { return profile_.generation(); }

 private:
  const SharedProfile& profile_;
};

class SimulatedDisplayAdapters final : public DisplayAdapters {
 public:
  explicit SimulatedDisplayAdapters(const SharedProfile& profile) : profile_(profile) {}
  std::optional<std::vector<DisplayAdapter>> Enumerate() override {
    auto adapters = profile_.Copy(&DeviceProfile::display_adapters);
    std::erase_if(adapters, [](const auto& adapter) { return adapter.description.empty(); });
    return adapters;
  }

 private:
  const SharedProfile& profile_;
};

class SimulatedAccelerators final : public Accelerators {
 public:
  explicit SimulatedAccelerators(const SharedProfile& profile) : profile_(profile) {}
  std::optional<std::vector<Accelerator>> Enumerate() override {
    return profile_.Copy(&DeviceProfile::accelerators);
  }

 private:
  const SharedProfile& profile_;
};

class SimulatedServices final : public Services {
 public:
  explicit SimulatedServices(const SharedProfile& profile) : profile_(profile) {}
  bool IsRunning(WStringView service) override {
    const auto services = profile_.Copy(&DeviceProfile::services);
    return std::ranges::any_of(services, [&](const auto& known) {
      return known.second == DeviceProfile::ServiceState::kRunning &&
             String::CaseInsesitiveEqual(known.first, service);
    });
  }

 private:
  const SharedProfile& profile_;
};

class SimulatedJoinState final : public JoinState {
 public:
  explicit SimulatedJoinState(const SharedProfile& profile) : profile_(profile) {}
  JoinAnswer Domain() override { return Answer(profile_.Copy(&DeviceProfile::join).domain); }
  JoinAnswer Cloud() override { return Answer(profile_.Copy(&DeviceProfile::join).cloud_device); }

 private:
  static JoinAnswer Answer(bool joined) { return {JoinAnswer::Outcome::kAsked, 0, joined}; }

  const SharedProfile& profile_;
};

class SimulatedClient final : public Client {
 public:
  explicit SimulatedClient(const SharedProfile& profile) : profile_(profile) {}
  WString FileVersion(const WString&) override {
    return profile_.Copy(&DeviceProfile::client).version;
  }
  bool AnonymousMetrics() override {
    return profile_.Copy(&DeviceProfile::client).anonymous_metrics;
  }

 private:
  const SharedProfile& profile_;
};

// Whose hive HKEY_CURRENT_USER is; the system's own account is the empty text.
WString OwnUser(const DeviceProfile& profile) {
  return profile.user.system_process ? WString() : profile.user.sid;
}

constexpr WStringView kOrganisationKey = "HKLM\\SOFTWARE\\Tervan\\YOX\\Organisation"_wv;
constexpr WStringView kDeveloperKey = "HKLM\\SOFTWARE\\Tervan\\YOX\\Developer"_wv;

// The edits that put a profile into an empty registry: its own section, in which HKCU is the hive
// of the user who is logged on, and the sections that the client keeps in the registry.
std::vector<RegistryEdit> RegistryEdits(const DeviceProfile& profile) {
  std::vector<RegistryEdit> edits;
  const auto set = [&](const RegistryKey& key, const WString& name, const RegistryValue& value) {
    edits.push_back({RegistryAction::kSetValue, key, name, value});
  };
  const auto create = [&](WStringView path) {
    RegistryKey key = ParseRegistryPath(path).value_or(RegistryKey());
    if (key.root == HKEY_CURRENT_USER) key.user = profile.user.sid;
    edits.push_back({RegistryAction::kCreateKey, key, {}, {}});
    return key;
  };
  for (const auto& [path, values] : profile.registry) {
    const RegistryKey key = create(path);
    for (const auto& [name, value] : values) set(key, name, value);
  }
  if (const auto& organisation = profile.organisation) {
    const RegistryKey key = create(kOrganisationKey);
    set(key, "Realm"_w, RegistryValue::Text(organisation->realm));
    set(key, "Subscriptions"_w, RegistryValue::MultiText(organisation->subscriptions));
  }
  if (const WString& model = profile.developer.device_model_override; !model.empty()) {
    set(create(kDeveloperKey), "DeviceModel"_w, RegistryValue::Text(model));
  }
  return edits;
}

// The edits that delete what only the former of two profiles has put into the registry. Its keys
// stay, because others may have written to them, but for the one whose absence has a meaning.
std::vector<RegistryEdit> RegistryDeletions(const DeviceProfile& former,
                                            const DeviceProfile& next) {
  const auto place = [](const RegistryEdit& edit) {
    return std::tuple(FoldRegistryName(RegistryPathText(edit.key)), edit.key.user,
                      FoldRegistryName(edit.name));
  };
  std::set<std::tuple<WString, WString, WString>> kept;
  for (const RegistryEdit& edit : RegistryEdits(next)) kept.insert(place(edit));
  std::vector<RegistryEdit> deletions;
  for (const RegistryEdit& edit : RegistryEdits(former)) {
    if (edit.action != RegistryAction::kSetValue || kept.contains(place(edit))) continue;
    deletions.push_back({RegistryAction::kDeleteValue, edit.key, edit.name, {}, true});
  }
  if (former.organisation && !next.organisation) {
    deletions.push_back(
        {RegistryAction::kDeleteKey, ParseRegistryPath(kOrganisationKey).value(), {}, {}, true});
  }
  return deletions;
}

void Apply(SimulatedRegistry& registry, const std::vector<RegistryEdit>& edits) {
  if (registry.Apply(edits) != RegistryStatus::kOk) {
    throw std::invalid_argument("a registry key or value of the profile is malformed");
  }
}

// The client reads its configuration from a file: writes that of the profile, and in a folder that
// is `used` again empties the one that another profile left.
void WriteConfiguration(const SimulatedFiles& files, bool used,
                        const DeviceProfile::ConfigurationSection& configuration) {
  struct Element {
    const char* name;
    WString DeviceProfile::ConfigurationSection::*text;
  };
  using Section = DeviceProfile::ConfigurationSection;
  constexpr Element kElements[] = {{"MachineType", &Section::machine_type},
                                   {"SerialNumber", &Section::serial_number},
                                   {"BIOSVersion", &Section::bios_version},
                                   {"MTM", &Section::mtm},
                                   {"MachineModel", &Section::machine_model}};
  pugi::xml_document document;
  pugi::xml_node root = document.append_child("configuration");
  for (const Element& element : kElements) {
    const WString& text = configuration.*element.text;
    if (text.empty()) continue;
    root.append_child(element.name).text().set(String::UTF16ToUTF8(text).c_str());
  }
  if (!root.first_child() && !used) return;
  std::error_code error;
  const std::filesystem::path folder = files.folder() / "ProgramData";
  const std::filesystem::path file = folder / "yox-config.xml";
  if (!root.first_child() && !std::filesystem::exists(file, error)) return;
  std::filesystem::create_directories(folder, error);
  std::ofstream stream(file);
  document.save(stream);
}

using Devices = std::vector<DeviceProfile::Device>;

// What one list has over the other goes and comes; a device whose hardware IDs differ does both.
void PlugAndUnplug(SimulatedDeviceTree& tree, const Devices& before, const Devices& after) {
  const auto has = [](const Devices& devices, const DeviceProfile::Device& wanted) {
    return std::ranges::any_of(devices, [&](const DeviceProfile::Device& device) {
      return device.instance_id == wanted.instance_id && device.hardware_ids == wanted.hardware_ids;
    });
  };
  for (const auto& device : before) {
    if (!has(after, device)) tree.Unplug(device.instance_id);
  }
  for (const auto& device : after) {
    if (!has(before, device)) tree.Plug({device.instance_id, device.hardware_ids});
  }
}

}  // namespace

struct SimulatedDevice::Parts {
  Parts(const DeviceProfile& device, const std::filesystem::path& folder)
      : profile(device), clock(device.clock, Native().clock()), registry(OwnUser(device)) {
    if (!folder.empty())
      files.emplace(folder);
    else
      files.emplace();
    Apply(registry, RegistryEdits(device));
    WriteConfiguration(*files, !folder.empty(), device.configuration);
    PlugAndUnplug(device_tree, {}, device.devices);
  }

  SharedProfile profile;
  SimulatedClock clock;
  std::optional<SimulatedFiles> files;
  SimulatedRegistry registry;
  SimulatedFirmware firmware{profile};
  SimulatedOperatingSystem operating_system{profile};
  SimulatedLocale locale{profile};
  SimulatedUsers users{profile};
  SimulatedApplications applications{profile};
  SimulatedDisplayAdapters display_adapters{profile};
  SimulatedAccelerators accelerators{profile};
  SimulatedServices services{profile};
  SimulatedJoinState join_state{profile};
  SimulatedClient client{profile};
  FactQueries management_queries{operating_system};
  SimulatedDeviceTree device_tree;
};

SimulatedDevice::SimulatedDevice(const DeviceProfile& profile, const std::filesystem::path& folder)
    : parts_(std::make_unique<Parts>(profile, folder)) {}
SimulatedDevice::~SimulatedDevice() = default;

SimulatedClock& SimulatedDevice::clock() { return parts_->clock; }
SimulatedFiles& SimulatedDevice::files() { return *parts_->files; }
Firmware& SimulatedDevice::firmware() { return parts_->firmware; }
OperatingSystem& SimulatedDevice::operating_system() { return parts_->operating_system; }
Locale& SimulatedDevice::locale() { return parts_->locale; }
Users& SimulatedDevice::users() { return parts_->users; }
Applications& SimulatedDevice::applications() { return parts_->applications; }
DisplayAdapters& SimulatedDevice::display_adapters() { return parts_->display_adapters; }
Accelerators& SimulatedDevice::accelerators() { return parts_->accelerators; }
Services& SimulatedDevice::services() { return parts_->services; }
JoinState& SimulatedDevice::join_state() { return parts_->join_state; }
ManagementQueries& SimulatedDevice::management_queries() { return parts_->management_queries; }
SimulatedRegistry& SimulatedDevice::registry() { return parts_->registry; }
Client& SimulatedDevice::client() { return parts_->client; }
SimulatedDeviceTree& SimulatedDevice::device_tree() { return parts_->device_tree; }

DeviceProfile SimulatedDevice::profile() const { return parts_->profile.Copy(std::identity()); }

void SimulatedDevice::Become(const DeviceProfile& profile) {
  const DeviceProfile former = this->profile();
  Change([&](DeviceProfile& changed) { changed = profile; });
  if (profile.clock != former.clock) parts_->clock.Apply(profile.clock);
  std::vector<RegistryEdit> edits = RegistryDeletions(former, profile);
  std::ranges::move(RegistryEdits(profile), std::back_inserter(edits));
  Apply(parts_->registry, edits);
  WriteConfiguration(*parts_->files, true, profile.configuration);
}

void SimulatedDevice::Change(const std::function<void(DeviceProfile& profile)>& change) {
  Devices before;
  Devices after;
  parts_->profile.Change([&](DeviceProfile& profile) {
    before = profile.devices;
    change(profile);
    after = profile.devices;
    parts_->registry.SetOwnUser(OwnUser(profile));
  });
  PlugAndUnplug(parts_->device_tree, before, after);
}

}  // namespace yox::platform
