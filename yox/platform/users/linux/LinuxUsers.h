#pragma once

#include "yox/platform/system/linux/SystemBus.h"
#include "yox/platform/users/Users.h"

namespace yox::platform {

// logind's active session of a seat; the user's number goes into the form that Samba gives to local
// users, "S-1-22-1-1000".
class LinuxUsers final : public Users {
 public:
  // The bus must outlive the object.
  explicit LinuxUsers(SystemBus& bus) : bus_(bus) {}

  WString LoggedInUserSid() override;
  bool IsSystemProcess() override;

 private:
  SystemBus& bus_;
};

}  // namespace yox::platform
