#include "host/yoxctl/FollowedProfile.h"

#include <system_error>
#include <vector>

#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/RegistryPaths.h"
#include "yox/platform/simulated/DeviceProfileReader.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

using yox::platform::DeviceProfile;
using yox::platform::RegistryAction;
using yox::platform::RegistryEdit;
using yox::platform::RegistryKey;

// What makes the registry of one profile that of the other; what the client has written stays.
std::vector<RegistryEdit> RegistryEdits(const DeviceProfile& before, const DeviceProfile& after) {
  std::vector<RegistryEdit> edits;
  const auto key_of = [&](const yox::WString& path) {
    RegistryKey key = yox::platform::ParseRegistryPath(path).value_or(RegistryKey());
    if (key.root == HKEY_CURRENT_USER) key.user = after.user.sid;
    return key;
  };
  for (const auto& [path, values] : before.registry) {
    const auto now = after.registry.find(path);
    for (const auto& [name, value] : values) {
      if (now != after.registry.end() && now->second.contains(name)) continue;
      edits.push_back({RegistryAction::kDeleteValue, key_of(path), name, {}, true});
    }
  }
  for (const auto& [path, values] : after.registry) {
    edits.push_back({RegistryAction::kCreateKey, key_of(path), {}, {}});
    for (const auto& [name, value] : values) {
      edits.push_back({RegistryAction::kSetValue, key_of(path), name, value});
    }
  }
  return edits;
}

}  // namespace

FollowedProfile::FollowedProfile(std::string argument)
    : argument_(std::move(argument)), seen_(Look()) {}

FollowedProfile::State FollowedProfile::Look() const {
  std::error_code error;
  const std::filesystem::path path = PathOf(argument_);
  const auto written = std::filesystem::last_write_time(path, error);
  return {written, std::filesystem::file_size(path, error)};
}

bool FollowedProfile::Follow(yox::platform::SimulatedDevice& device) {
  const State now = Look();
  if (now == seen_) return false;
  seen_ = now;
  try {
    DeviceProfile edited = ReadNamed(argument_, yox::platform::ReadDeviceProfile);
    device.registry().Apply(RegistryEdits(device.profile(), edited));
    device.Change([&](DeviceProfile& profile) { profile = std::move(edited); });
    return true;
  } catch (const Refusal& refusal) {
    Complain(refusal.what());  // it may be half written: the next change is looked at again
    return false;
  }
}

}  // namespace yoxctl
