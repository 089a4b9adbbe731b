#pragma once

#include "yox/platform/system/JoinState.h"

namespace yox::platform {

// Netapi32.dll of the system directory, found by name at every question. `Domain` needs Windows
// Sockets, which the host brings up.
class WindowsJoinState final : public JoinState {
 public:
  JoinAnswer Domain() override;
  JoinAnswer Cloud() override;
};

}  // namespace yox::platform
