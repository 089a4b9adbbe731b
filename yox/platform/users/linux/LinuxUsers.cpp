#include "yox/platform/users/linux/LinuxUsers.h"

#include <unistd.h>

#include <string>

#include "yox/base/String.h"

namespace yox::platform {

WString LinuxUsers::LoggedInUserSid() {
  constexpr const char* kLogind = "org.freedesktop.login1";
  SystemBus::Conversation bus(bus_);
  for (const auto& session :
       bus.Sessions({kLogind, "/org/freedesktop/login1", "org.freedesktop.login1.Manager"})) {
    if (session.seat.empty()) continue;  // comes over the network
    const SystemBus::Conversation::Object object{kLogind, session.path,
                                                 "org.freedesktop.login1.Session"};
    // A greeter is a session too, of another class.
    if (bus.Flag(object, "Active").value_or(false) && bus.Text(object, "Class") == "user") {
      return "S-1-22-1-"_w + String::UTF8ToUTF16(std::to_string(session.user));
    }
  }
  return {};
}

bool LinuxUsers::IsSystemProcess() { return geteuid() == 0; }

}  // namespace yox::platform
