#include "host/yoxctl/FollowedProfile.h"

#include <fstream>
#include <iterator>
#include <utility>

#include "yox/platform/simulated/DeviceProfileReader.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {

FollowedProfile::FollowedProfile(std::string argument)
    : argument_(std::move(argument)), seen_(Look()) {}

std::optional<std::string> FollowedProfile::Look() const {
  std::ifstream file(PathOf(argument_), std::ios::binary);
  if (!file) return std::nullopt;
  return std::string{std::istreambuf_iterator<char>(file), {}};
}

bool FollowedProfile::Follow(yox::platform::SimulatedDevice& device) {
  std::optional<std::string> now = Look();
  if (now == seen_) return false;
  seen_ = std::move(now);
  try {
    device.Become(ReadNamed(argument_, yox::platform::ReadDeviceProfile));
    return true;
  } catch (const Refusal& refusal) {
    Complain(refusal.what());  // it may be half written: the next edit is read
    return false;
  }
}

}  // namespace yoxctl
