#pragma once

#include "yox/platform/users/Users.h"

namespace yox::platform {

// The users of the terminal services' sessions: the console's, remote desktop's, disconnected ones.
class WindowsUsers final : public Users {
 public:
  WString LoggedInUserSid() override;
  bool IsSystemProcess() override;
};

}  // namespace yox::platform
