#include "yox/platform/users/windows/WindowsUsers.h"

#include <windows.h>
// Behind windows.h.
#include <sddl.h>
#include <wtsapi32.h>

#include <vector>

namespace yox::platform {
namespace {

using Bytes = std::vector<std::byte>;

WString Text(PSID sid) {
  wchar_t* written = nullptr;
  if (ConvertSidToStringSidW(sid, &written) == FALSE) return {};
  WString text(written);
  LocalFree(written);
  return text;
}

// A TOKEN_USER and what it points to; empty when the token cannot be read.
Bytes UserOf(HANDLE token) {
  DWORD size = 0;
  GetTokenInformation(token, TokenUser, nullptr, 0, &size);
  Bytes user(size);
  if (size < sizeof(TOKEN_USER) ||
      GetTokenInformation(token, TokenUser, user.data(), size, &size) == FALSE) {
    user.clear();
  }
  return user;
}

PSID SidOf(const Bytes& user) { return reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid; }

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
  Bytes sid(sid_size);
  WString domain(domain_size, L'\0');
  if (sid.empty() || LookupAccountNameW(nullptr, account.c_str(), sid.data(), &sid_size,
                                        domain.data(), &domain_size, &use) == FALSE) {
    return {};
  }
  return Text(sid.data());
}

}  // namespace

WString WindowsUsers::LoggedInUserSid() {
  constexpr DWORD kNoSession = 0xFFFFFFFF;
  const DWORD session = WTSGetActiveConsoleSessionId();
  if (session == kNoSession) return {};
  HANDLE token = nullptr;
  if (WTSQueryUserToken(session, &token) != FALSE) {
    const Bytes user = UserOf(token);
    CloseHandle(token);
    if (!user.empty()) return Text(SidOf(user));
  }
  const WString name = OfSession(session, WTSUserName);
  if (name.empty()) return {};
  const WString domain = OfSession(session, WTSDomainName);
  return SidOfAccount(domain.empty() ? name : domain + L"\\" + name);
}

bool WindowsUsers::IsSystemProcess() {
  HANDLE token = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == FALSE) return false;
  const Bytes user = UserOf(token);
  CloseHandle(token);
  return !user.empty() && IsWellKnownSid(SidOf(user), WinLocalSystemSid) != FALSE;
}

}  // namespace yox::platform
