#pragma once

#include "yox/base/WString.h"

namespace yox::platform {

// Who is logged on. Safe from any thread; answers within seconds.
class Users {
 public:
  virtual ~Users() = default;

  // The security identifier of the user who is logged on at the console ("S-1-5-21-..."); empty
  // when nobody is. On Linux a user's identifier is built from the user number.
  virtual WString LoggedInUserSid() = 0;

  // Whether this process runs as the system's own account.
  virtual bool IsSystemProcess() = 0;
};

}  // namespace yox::platform
