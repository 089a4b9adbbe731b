#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "yox/platform/simulated/SimulatedDevice.h"

namespace yoxctl {

// Makes a simulated device follow edits of its profile's file. Created before the profile is read,
// so that no edit is missed. One thread at a time.
class FollowedProfile {
 public:
  explicit FollowedProfile(std::string argument);

  // Looks at the file, and returns true when it was edited: the device is then that of the edited
  // profile, as far as the client has not read it before. A profile that cannot be read is reported
  // on standard error, and changes nothing.
  bool Follow(yox::platform::SimulatedDevice& device);

 private:
  using State = std::pair<std::filesystem::file_time_type, std::uintmax_t>;
  State Look() const;

  const std::string argument_;
  State seen_;
};

}  // namespace yoxctl
