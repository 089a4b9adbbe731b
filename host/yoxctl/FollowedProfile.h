#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "yox/platform/simulated/SimulatedDevice.h"

namespace yoxctl {

// Makes a simulated device follow edits of its profile's file, all but the clock and what the
// client has collected already. Made before the profile is read, so that no edit is missed.
class FollowedProfile {
 public:
  explicit FollowedProfile(std::string argument);

  // True when there was an edit. One that cannot be read is complained of, and the next looked at.
  bool Follow(yox::platform::SimulatedDevice& device);

 private:
  using State = std::pair<std::filesystem::file_time_type, std::uintmax_t>;
  State Look() const;

  const std::string argument_;
  State seen_;
};

}  // namespace yoxctl
