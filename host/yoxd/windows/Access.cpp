#include "host/yoxd/windows/Access.h"

// After windows.h.
#include <sddl.h>

#include <system_error>
#include <vector>

#include "host/yoxd/Text.h"

namespace yoxd {
namespace {

std::wstring SidText(PSID sid) {
  LPWSTR text = nullptr;
  if (ConvertSidToStringSidW(sid, &text) == FALSE) return {};
  std::wstring copy = text;
  LocalFree(text);
  return copy;
}

std::wstring OwnSid() {
  HANDLE token = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == FALSE) return {};
  DWORD size = 0;
  GetTokenInformation(token, TokenUser, nullptr, 0, &size);
  std::vector<std::byte> user(size);
  const bool read = GetTokenInformation(token, TokenUser, user.data(), size, &size) != FALSE;
  CloseHandle(token);
  return read ? SidText(reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid)
              : std::wstring();
}

}  // namespace

void ThrowLastError(const std::string& what) {
  throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

PrivateAccess::PrivateAccess(const std::wstring& more) {
  const std::wstring own = OwnSid();
  if (own.empty()) ThrowLastError("this account cannot be found out");
  // P: not inherited from above. OICI: inherited by what is created inside.
  const std::wstring list = L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FA;;;" + own + L")" + more;
  if (ConvertStringSecurityDescriptorToSecurityDescriptorW(list.c_str(), SDDL_REVISION_1,
                                                           &descriptor_, nullptr) == FALSE) {
    ThrowLastError("access list");
  }
  attributes_ = {sizeof attributes_, descriptor_, FALSE};
}

PrivateAccess::~PrivateAccess() { LocalFree(descriptor_); }

std::wstring SidOfName(const std::string& name) {
  const std::wstring wide = Wide(name);
  std::vector<std::byte> sid(SECURITY_MAX_SID_SIZE);
  std::vector<wchar_t> domain(1'024);
  auto size = static_cast<DWORD>(sid.size());
  auto domain_size = static_cast<DWORD>(domain.size());
  SID_NAME_USE kind{};
  if (LookupAccountNameW(nullptr, wide.c_str(), sid.data(), &size, domain.data(), &domain_size,
                         &kind) == FALSE) {
    return {};
  }
  return SidText(sid.data());
}

}  // namespace yoxd
