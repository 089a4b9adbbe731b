#include "yox/platform/users/windows/Token.h"

// After windows.h.
#include <sddl.h>

namespace yox::platform {

Handle OwnToken() {
  HANDLE token = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == FALSE) return nullptr;
  return Handle(token);
}

std::vector<std::byte> TokenFacts(HANDLE token, TOKEN_INFORMATION_CLASS what) {
  DWORD size = 0;
  GetTokenInformation(token, what, nullptr, 0, &size);
  std::vector<std::byte> facts(size);
  if (size == 0 || GetTokenInformation(token, what, facts.data(), size, &size) == FALSE) return {};
  return facts;
}

WString SidText(PSID sid) {
  wchar_t* written = nullptr;
  if (ConvertSidToStringSidW(sid, &written) == FALSE) return {};
  const LocalMemory freed(written);
  return written;
}

WString SidOfToken(HANDLE token) {
  const auto user = TokenFacts(token, TokenUser);
  if (user.size() < sizeof(TOKEN_USER)) return {};
  return SidText(reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid);
}

bool IsElevated() {
  const Handle token = OwnToken();
  const auto facts = TokenFacts(token.get(), TokenElevation);
  return facts.size() >= sizeof(TOKEN_ELEVATION) &&
         reinterpret_cast<const TOKEN_ELEVATION*>(facts.data())->TokenIsElevated != 0;
}

}  // namespace yox::platform
