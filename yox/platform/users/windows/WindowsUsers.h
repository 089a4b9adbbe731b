#pragma once

#include "yox/platform/users/Users.h"

namespace yox::platform {

// The user of the console session: of its token, which only the system's account may ask for, else
// by the account's name.
class WindowsUsers final : public Users {
 public:
  WString LoggedInUserSid() override;
  bool IsSystemProcess() override;
};

}  // namespace yox::platform
