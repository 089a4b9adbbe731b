#include "yox/platform/system/linux/LinuxServices.h"

#include "yox/base/String.h"

namespace yox::platform {

bool LinuxServices::IsRunning(WStringView service) {
  constexpr const char* kSystemd = "org.freedesktop.systemd1";
  SystemBus::Conversation bus(bus_);
  const auto unit =
      bus.PathFor({kSystemd, "/org/freedesktop/systemd1", "org.freedesktop.systemd1.Manager"},
                  "GetUnit", String::UTF16ToUTF8(service) + ".service");
  return unit &&
         bus.Text({kSystemd, *unit, "org.freedesktop.systemd1.Unit"}, "ActiveState") == "active";
}

}  // namespace yox::platform
