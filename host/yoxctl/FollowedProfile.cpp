#include "host/yoxctl/FollowedProfile.h"

#include <system_error>
#include <vector>

#include "yox/clientbase/platform/RegistryPaths.h"
#include "yox/clientbase/platform/simulated/DeviceProfileReader.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

using YOX::platform::DeviceProfile;
using YOX::platform::RegistryAction;
using YOX::platform::RegistryEdit;
using YOX::platform::RegistryKey;

// What makes the registry of one profile that of the other; what the client has written stays.
std::vector<RegistryEdit> RegistryEdits(const DeviceProfile& before, const DeviceProfile& after) {
  std::vector<RegistryEdit> edits;
  const auto key_of = [&](const YOX::WString& path) {
    RegistryKey key = YOX::platform::ParseRegistryPath(path).value_or(RegistryKey());
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

bool FollowedProfile::Follow(YOX::platform::SimulatedDevice& device) {
  const State now = Look();
  if (now == seen_) return false;
  seen_ = now;
  try {
    DeviceProfile edited = ReadNamed(argument_, YOX::platform::ReadDeviceProfile);
    device.registry().Apply(RegistryEdits(device.profile(), edited));
    device.Change([&](DeviceProfile& profile) { profile = std::move(edited); });
    return true;
  } catch (const Refusal& refusal) {
    Complain(refusal.what());  // it may be half written: the next change is looked at again
    return false;
  }
}

}  // namespace yoxctl
