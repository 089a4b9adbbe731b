#pragma once

#include <optional>
#include <string>

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
  // Returns the file's bytes; std::nullopt when it cannot be read. Times and sizes would not do:
  // not every system counts times finely enough to tell two edits apart.
  std::optional<std::string> Look() const;

  const std::string argument_;
  std::optional<std::string> seen_;
};

}  // namespace yoxctl
