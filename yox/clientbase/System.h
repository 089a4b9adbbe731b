#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace YOX {

// Safe from any thread.
class YOX_API System {
 public:
  System() = delete;

  // The present moment as ISO 8601 in UTC with seconds: "2026-03-01T12:00:00Z".
  static WString GetTime();

  // The security identifier of the user at the console. False, and an empty text, when nobody is
  // logged on or the system cannot tell.
  static bool GetLoggedInUserSID(WString& sid);
};

}  // namespace YOX
