#pragma once

#include "yox/clientbase/platform/Services.h"
#include "yox/clientbase/platform/linux/SystemBus.h"

namespace YOX::platform {

// systemd's service units: running is active.
class LinuxServices final : public Services {
 public:
  // The bus must outlive the object.
  explicit LinuxServices(SystemBus& bus) : bus_(bus) {}

  bool IsRunning(WStringView service) override;

 private:
  SystemBus& bus_;
};

}  // namespace YOX::platform
