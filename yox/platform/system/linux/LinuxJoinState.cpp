#include "yox/platform/system/linux/LinuxJoinState.h"

namespace yox::platform {

JoinAnswer LinuxJoinState::Domain() {
  constexpr const char* kRealmd = "org.freedesktop.realmd";
  SystemBus::Conversation bus(bus_);
  const auto realms =
      bus.Paths({kRealmd, "/org/freedesktop/realmd", "org.freedesktop.realmd.Provider"}, "Realms");
  if (!realms) return {};
  JoinAnswer answer{JoinAnswer::Outcome::kAsked, 0, false};
  for (const std::string& realm : *realms) {
    // What a realm is configured for; empty for one that was only discovered.
    answer.joined |= !bus.Text({kRealmd, realm, "org.freedesktop.realmd.Realm"}, "Configured")
                          .value_or("")
                          .empty();
  }
  return answer;
}

}  // namespace yox::platform
