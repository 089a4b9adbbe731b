#pragma once

#include <compare>
#include <cstdint>
#include <map>

namespace yox::platform {

// Orders the sessions of several users: "the logged-on user" is the one of the lowest session.
// First comes a user at the machine's own screen, then one who works elsewhere (remote desktop,
// ssh), then one whose session is kept in the background (disconnected, or switched away from);
// among equals the one who logged on first.
struct SessionRank {
  enum class State : std::uint8_t { kAtConsole, kElsewhere, kInBackground };
  State state = State::kAtConsole;
  std::uint64_t since = 0;  // ascending in the order of log-ons, in any unit

  friend auto operator<=>(const SessionRank&, const SessionRank&) = default;
};

// Sessions with a logged-on user; begin() is the first of them in the order above.
template <class User>
using UserSessions = std::map<SessionRank, User>;

}  // namespace yox::platform
