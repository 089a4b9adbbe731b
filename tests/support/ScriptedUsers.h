#pragma once

#include "yox/platform/users/Users.h"

namespace yox_test {

// Users as a test sets them.
class ScriptedUsers final : public yox::platform::Users {
 public:
  yox::WString LoggedInUserSid() override { return sid; }
  bool IsSystemProcess() override { return system_process; }

  yox::WString sid;
  bool system_process = false;
};

}  // namespace yox_test
