#include "yox/platform/files/windows/OwnFolder.h"

#include <windows.h>
// After windows.h.
#include <aclapi.h>
#include <sddl.h>

#include <string>
#include <system_error>

#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/platform/users/AccessGrants.h"
#include "yox/platform/users/windows/Token.h"

namespace yox::platform {
namespace {

constexpr WStringView kTrustedInstallerSid =
    L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";

bool Fail(const WString& path, const char* step, DWORD error) {
  g_log.e("%s: %s %s: %s", "ClaimFolder", step, String::UTF16ToUTF8(path),
          std::system_category().message(static_cast<int>(error)));
  return false;
}

// The error of the creation; ERROR_ALREADY_EXISTS if something has the name.
DWORD Create(const WString& path, const wchar_t* descriptor) {
  PSECURITY_DESCRIPTOR security = nullptr;
  if (ConvertStringSecurityDescriptorToSecurityDescriptorW(descriptor, SDDL_REVISION_1, &security,
                                                           nullptr) == FALSE) {
    return GetLastError();
  }
  const LocalMemory freed(security);
  SECURITY_ATTRIBUTES attributes{sizeof attributes, security, FALSE};
  return CreateDirectoryW(path.c_str(), &attributes) != FALSE ? ERROR_SUCCESS : GetLastError();
}

// Whether the name is a folder of a trusted account, and not a link to somewhere else. It is opened
// once and judged by that handle.
bool IsTrustedFolder(const WString& path, const std::function<bool(const WString&)>& is_trusted) {
  const HANDLE opened =
      CreateFileW(path.c_str(), READ_CONTROL | FILE_READ_ATTRIBUTES,
                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                  FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
  if (opened == INVALID_HANDLE_VALUE) return false;
  const Handle folder(opened);
  BY_HANDLE_FILE_INFORMATION facts{};
  if (GetFileInformationByHandle(opened, &facts) == FALSE) return false;
  const bool is_folder = (facts.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
                         (facts.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
  return is_folder && is_trusted(OwnerOf(opened));
}

}  // namespace

bool IsTrustedOwner(WStringView owner, WStringView own_account, bool elevated) {
  if (owner.empty()) return false;
  return owner == kLocalSystemSid || owner == kAdministratorsSid || owner == kTrustedInstallerSid ||
         (elevated && owner == own_account);
}

bool IsTrustedOwner(const WString& owner) {
  const Handle token = OwnToken();
  return IsTrustedOwner(owner, SidOfToken(token.get()), IsElevated());
}

WString OwnerOf(void* handle) {
  PSID owner = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (GetSecurityInfo(handle, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr,
                      nullptr, &descriptor) != ERROR_SUCCESS) {
    return {};
  }
  const LocalMemory freed(descriptor);
  return owner != nullptr ? SidText(owner) : WString();
}

bool ClaimFolder(const WString& path, const wchar_t* descriptor,
                 const std::function<bool(const WString& owner)>& is_trusted) {
  // Another account may create the folder again between the renaming and the creation.
  constexpr int kTries = 3;
  for (int i = 0; i < kTries; ++i) {
    const DWORD created = Create(path, descriptor);
    if (created == ERROR_SUCCESS) return true;
    if (created != ERROR_ALREADY_EXISTS) return Fail(path, "cannot create", created);
    if (IsTrustedFolder(path, is_trusted)) return true;
    const WString aside =
        path + L".untrusted-" + std::to_wstring(GetTickCount64() + static_cast<unsigned>(i));
    if (MoveFileExW(path.c_str(), aside.c_str(), 0) == FALSE) {
      return Fail(path, "somebody else owns, and it cannot be set aside:", GetLastError());
    }
    g_log.e("%s: somebody else created %s; renamed to %s", "ClaimFolder", String::UTF16ToUTF8(path),
            String::UTF16ToUTF8(aside));
  }
  return Fail(path, "somebody else keeps creating", ERROR_ALREADY_EXISTS);
}

}  // namespace yox::platform
