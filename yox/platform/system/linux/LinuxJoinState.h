#pragma once

#include "yox/platform/system/JoinState.h"
#include "yox/platform/system/linux/SystemBus.h"

namespace yox::platform {

// realmd's configured realms. Linux has no counterpart to the join of a device to a cloud
// directory.
class LinuxJoinState final : public JoinState {
 public:
  // The bus must outlive the object.
  explicit LinuxJoinState(SystemBus& bus) : bus_(bus) {}

  JoinAnswer Domain() override;
  JoinAnswer Cloud() override { return {}; }

 private:
  SystemBus& bus_;
};

}  // namespace yox::platform
