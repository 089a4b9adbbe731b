#pragma once

#include "yox/base/WString.h"

namespace yox::platform {

// Who is logged on. Safe from any thread; returns within seconds.
class Users {
 public:
  virtual ~Users() = default;

  // The security identifier of the user who is logged on, at the machine or over the network; of
  // several users the first in the order of Sessions.h. Empty if no user is logged on, or the
  // system does not say. "S-1-5-21-..." on Windows; on Linux "S-1-22-1-" and the user number, the
  // form that Samba gives to local users.
  virtual WString LoggedInUserSid() = 0;

  // Whether this process runs as the system's own account: LocalSystem, or root.
  virtual bool IsSystemProcess() = 0;
};

}  // namespace yox::platform
