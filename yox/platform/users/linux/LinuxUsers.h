#pragma once

#include <cstdint>
#include <optional>

#include "yox/platform/system/linux/SystemBus.h"
#include "yox/platform/users/Users.h"

namespace yox::platform {

// The sessions that logind keeps of class "user"; greeters, timers and sessions that are closing do
// not count.
class LinuxUsers final : public Users {
 public:
  // The bus must outlive the object.
  explicit LinuxUsers(SystemBus& bus) : bus_(bus) {}

  WString LoggedInUserSid() override;
  bool IsSystemProcess() override;

 private:
  SystemBus& bus_;
};

// The number of the user who is logged on; std::nullopt if there is none, or if logind does not
// say.
std::optional<std::uint32_t> LoggedOnUser(SystemBus::Conversation& bus);

}  // namespace yox::platform
