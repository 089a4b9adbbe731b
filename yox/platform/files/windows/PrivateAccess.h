#pragma once

#include <windows.h>

#include "yox/platform/users/windows/Token.h"

namespace yox::platform {

// The access of a file or folder that is created for the administrators, the local system and this
// account alone, whatever its folder would hand down.
class PrivateAccess {
 public:
  PrivateAccess();

  // For CreateFileW and CreateDirectoryW; null if the account cannot be found out. Valid as long as
  // this object.
  SECURITY_ATTRIBUTES* attributes() { return descriptor_ ? &attributes_ : nullptr; }

 private:
  LocalMemory descriptor_;
  SECURITY_ATTRIBUTES attributes_{};
};

}  // namespace yox::platform
