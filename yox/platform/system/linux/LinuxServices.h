#pragma once

#include "yox/platform/system/Services.h"
#include "yox/platform/system/linux/SystemBus.h"

namespace yox::platform {

// systemd's service units: running is active.
class LinuxServices final : public Services {
 public:
  // The bus must outlive the object.
  explicit LinuxServices(SystemBus& bus) : bus_(bus) {}

  bool IsRunning(WStringView service) override;

 private:
  SystemBus& bus_;
};

}  // namespace yox::platform
