#include "yox/platform/users/windows/WindowsUsers.h"

#include <windows.h>
// After windows.h.
#include <wtsapi32.h>

#include <span>
#include <utility>
#include <vector>

#include "yox/platform/users/AccessGrants.h"
#include "yox/platform/users/Sessions.h"
#include "yox/platform/users/windows/Token.h"

namespace yox::platform {
namespace {

using State = SessionRank::State;

WString OfSession(DWORD session, WTS_INFO_CLASS what) {
  wchar_t* answer = nullptr;
  DWORD bytes = 0;
  if (WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, session, what, &answer, &bytes) ==
      FALSE) {
    return {};
  }
  WString text(answer);
  WTSFreeMemory(answer);
  return text;
}

WString SidOfAccount(const WString& account) {
  DWORD sid_size = 0, domain_size = 0;
  SID_NAME_USE use{};
  LookupAccountNameW(nullptr, account.c_str(), nullptr, &sid_size, nullptr, &domain_size, &use);
  std::vector<std::byte> sid(sid_size);
  WString domain(domain_size, L'\0');
  if (sid.empty() || LookupAccountNameW(nullptr, account.c_str(), sid.data(), &sid_size,
                                        domain.data(), &domain_size, &use) == FALSE) {
    return {};
  }
  return SidText(sid.data());
}

// The user of a session; empty if no user has logged on in it.
WString SidOfUserIn(DWORD session) {
  HANDLE token = nullptr;
  // Only the system account may get the token; every account may query the name.
  if (WTSQueryUserToken(session, &token) != FALSE) {
    const Handle closed(token);
    if (WString sid = SidOfToken(token); !sid.empty()) return sid;
  }
  const WString name = OfSession(session, WTSUserName);
  if (name.empty()) return {};
  const WString domain = OfSession(session, WTSDomainName);
  return SidOfAccount(domain.empty() ? name : domain + L"\\" + name);
}

}  // namespace

WString WindowsUsers::LoggedInUserSid() {
  constexpr DWORD kNoSession = 0xFFFFFFFF;
  const DWORD console = WTSGetActiveConsoleSessionId();
  UserSessions<WString> sessions;
  const auto add = [&](DWORD session, State state) {
    // Sessions are numbered in the order of their beginnings.
    if (WString sid = SidOfUserIn(session); !sid.empty()) {
      sessions.emplace(SessionRank{state, session}, std::move(sid));
    }
  };
  if (console != kNoSession) add(console, State::kAtConsole);
  WTS_SESSION_INFOW* listed = nullptr;
  DWORD count = 0;
  if (WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, &listed, &count) != FALSE) {
    for (const WTS_SESSION_INFOW& session : std::span(listed, count)) {
      if (session.SessionId == console) continue;
      if (session.State == WTSActive) add(session.SessionId, State::kElsewhere);
      if (session.State == WTSDisconnected) add(session.SessionId, State::kInBackground);
    }
    WTSFreeMemory(listed);
  }
  return sessions.empty() ? WString() : sessions.begin()->second;
}

bool WindowsUsers::IsSystemProcess() { return SidOfToken(OwnToken().get()) == kLocalSystemSid; }

}  // namespace yox::platform
