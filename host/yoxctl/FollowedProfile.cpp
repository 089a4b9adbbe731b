#include "host/yoxctl/FollowedProfile.h"

#include <system_error>

#include "yox/platform/simulated/DeviceProfileReader.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {

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
    device.Become(ReadNamed(argument_, yox::platform::ReadDeviceProfile));
    return true;
  } catch (const Refusal& refusal) {
    Complain(refusal.what());  // it may be half written: the next edit is read
    return false;
  }
}

}  // namespace yoxctl
