#include "yox/platform/users/linux/LinuxUsers.h"

#include <unistd.h>

#include <string>

#include "yox/base/String.h"
#include "yox/platform/users/Sessions.h"

namespace yox::platform {

std::optional<std::uint32_t> LoggedOnUser(SystemBus::Conversation& bus) {
  using State = SessionRank::State;
  constexpr const char* kLogind = "org.freedesktop.login1";
  UserSessions<std::uint32_t> sessions;
  for (const auto& session :
       bus.Sessions({kLogind, "/org/freedesktop/login1", "org.freedesktop.login1.Manager"})) {
    const SystemBus::Conversation::Object object{kLogind, session.path,
                                                 "org.freedesktop.login1.Session"};
    if (bus.Text(object, "Class") != "user") continue;
    const auto state = bus.Text(object, "State");
    if (!state || state == "closing") continue;
    // logind calls a session active that is in the foreground of its seat, and every session
    // without a seat.
    const SessionRank rank{state != "active"      ? State::kInBackground
                           : session.seat.empty() ? State::kElsewhere
                                                  : State::kAtConsole,
                           bus.Number(object, "Timestamp").value_or(0)};
    sessions.emplace(rank, session.user);
  }
  if (sessions.empty()) return std::nullopt;
  return sessions.begin()->second;
}

WString LinuxUsers::LoggedInUserSid() {
  SystemBus::Conversation bus(bus_);
  const auto user = LoggedOnUser(bus);
  return user ? "S-1-22-1-"_w + String::UTF8ToUTF16(std::to_string(*user)) : WString();
}

bool LinuxUsers::IsSystemProcess() { return geteuid() == 0; }

}  // namespace yox::platform
