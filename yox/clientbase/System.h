#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace YOX {

// Time and user of the system, read at every call. Safe from any thread.
class YOX_API System {
 public:
  System() = delete;

  // Returns the time in UTC, ISO 8601 with seconds: "2026-03-01T12:00:00Z".
  static WString GetTime();

  // Gets the security identifier of the logged-on user (see platform/users/Users.h). Returns false,
  // and empties `sid`, if no user is logged on or the system does not say.
  static bool GetLoggedInUserSID(WString& sid);
};

}  // namespace YOX
