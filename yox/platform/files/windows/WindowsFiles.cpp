#include "yox/platform/files/windows/WindowsFiles.h"

#include <windows.h>
// These need windows.h before them.
#include <aclapi.h>
#include <sddl.h>
#include <shlobj.h>

#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace yox::platform {
namespace {

namespace fs = std::filesystem;

constexpr WStringView kOwnFolder = L"\\tervan\\YOX";

struct LocalFreer {
  void operator()(void* memory) const { LocalFree(memory); }
};
using LocalMemory = std::unique_ptr<void, LocalFreer>;

struct HandleCloser {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

WString KnownFolder(REFKNOWNFOLDERID id) {
  PWSTR text = nullptr;
  WString path;
  if (SHGetKnownFolderPath(id, KF_FLAG_DONT_VERIFY, nullptr, &text) == S_OK) path = text;
  CoTaskMemFree(text);
  return path;
}

// A text of unknown length: `get` is called with a buffer and its size, and answers how much it
// wrote, or at least the size when that was too little.
template <class Get>
WString Text(Get get) {
  WString text(MAX_PATH, L'\0');
  DWORD length = get(text.data(), static_cast<DWORD>(text.size()));
  while (length >= text.size() && text.size() < 0x10000) {
    text.resize(text.size() * 2);
    length = get(text.data(), static_cast<DWORD>(text.size()));
  }
  text.resize(length < text.size() ? length : 0);
  return text;
}

std::vector<std::byte> TokenFacts(TOKEN_INFORMATION_CLASS what) {
  HANDLE opened = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened) == 0) return {};
  const Handle token(opened);
  DWORD size = 0;
  GetTokenInformation(token.get(), what, nullptr, 0, &size);
  std::vector<std::byte> facts(size);
  if (size == 0 || GetTokenInformation(token.get(), what, facts.data(), size, &size) == 0) {
    return {};
  }
  return facts;
}

bool IsElevated() {
  const auto facts = TokenFacts(TokenElevation);
  return facts.size() >= sizeof(TOKEN_ELEVATION) &&
         reinterpret_cast<const TOKEN_ELEVATION*>(facts.data())->TokenIsElevated != 0;
}

LocalMemory ToSid(const WString& text) {
  PSID sid = nullptr;
  if (ConvertStringSidToSidW(text.c_str(), &sid) == 0) return nullptr;
  return LocalMemory(sid);
}

DWORD Rights(const AccessGrant& grant) {
  if (grant.full) return FILE_ALL_ACCESS;
  return (grant.read ? FILE_GENERIC_READ : 0) | (grant.write ? FILE_GENERIC_WRITE | DELETE : 0);
}

EXPLICIT_ACCESSW Entry(PSID sid, DWORD rights, DWORD inheritance) {
  EXPLICIT_ACCESSW entry{};
  entry.grfAccessPermissions = rights;
  entry.grfAccessMode = GRANT_ACCESS;
  entry.grfInheritance = inheritance;
  entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
  entry.Trustee.ptstrName = static_cast<LPWSTR>(sid);
  return entry;
}

}  // namespace

WString WindowsFiles::CommonApplicationDataPath() const {
  return KnownFolder(FOLDERID_ProgramData);
}

std::optional<WString> WindowsFiles::ApplicationDataRoot() const {
  const WString named = Text([](wchar_t* buffer, DWORD size) {
    return GetEnvironmentVariableW(L"YOX_STATE_DIR", buffer, size);
  });
  if (!named.empty()) {
    std::error_code error;
    return fs::absolute(named, error).native();
  }
  WString folder = KnownFolder(IsElevated() ? FOLDERID_ProgramData : FOLDERID_LocalAppData);
  if (folder.empty()) return std::nullopt;
  return folder += kOwnFolder;
}

WString WindowsFiles::SystemDirectory() const {
  return Text([](wchar_t* buffer, DWORD size) { return GetSystemDirectoryW(buffer, size); });
}

WString WindowsFiles::ProductDirectory() const {
  static const char mark = 0;
  HMODULE module = nullptr;
  if (GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          reinterpret_cast<LPCWSTR>(&mark), &module) == 0) {
    return {};
  }
  return fs::path(Text([&](wchar_t* buffer, DWORD size) {
           return GetModuleFileNameW(module, buffer, size);
         }))
      .parent_path()
      .native();
}

fs::path WindowsFiles::Locate(WStringView path) const { return path; }

bool WindowsFiles::CreatePrivate(const fs::path& file) {
  const auto facts = TokenFacts(TokenUser);
  if (facts.empty()) return false;
  LPWSTR user = nullptr;
  if (ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(facts.data())->User.Sid, &user) ==
      0) {
    return false;
  }
  const LocalMemory freed_user(user);
  // Protected from what the folder hands down: full access for administrators, system, this
  // account.
  const WString list = WString(L"D:P(A;;FA;;;BA)(A;;FA;;;SY)(A;;FA;;;") + user + L")";
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (ConvertStringSecurityDescriptorToSecurityDescriptorW(list.c_str(), SDDL_REVISION_1,
                                                           &descriptor, nullptr) == 0) {
    return false;
  }
  const LocalMemory freed_descriptor(descriptor);
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor, FALSE};
  const HANDLE created = CreateFileW(file.c_str(), GENERIC_WRITE, 0, &attributes, CREATE_NEW,
                                     FILE_ATTRIBUTE_NORMAL, nullptr);
  if (created == INVALID_HANDLE_VALUE) return false;
  CloseHandle(created);
  return true;
}

bool WindowsFiles::Grant(const fs::path& file, std::span<const AccessGrant> grants, bool replace) {
  std::vector<LocalMemory> sids;
  std::vector<EXPLICIT_ACCESSW> entries;
  std::error_code error;
  const bool is_folder = fs::is_directory(file, error);
  for (const AccessGrant& grant : grants) {
    sids.push_back(ToSid(grant.sid));
    if (sids.back() == nullptr) return false;
    const DWORD inheritance = is_folder ? (grant.for_files ? OBJECT_INHERIT_ACE : 0U) |
                                              (grant.for_folders ? CONTAINER_INHERIT_ACE : 0U)
                                        : NO_INHERITANCE;
    entries.push_back(Entry(sids.back().get(), Rights(grant), inheritance));
  }
  PACL former = nullptr;
  LocalMemory descriptor;
  if (!replace) {
    PSECURITY_DESCRIPTOR read = nullptr;
    if (GetNamedSecurityInfoW(file.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                              nullptr, &former, nullptr, &read) != ERROR_SUCCESS) {
      return false;
    }
    descriptor.reset(read);
  }
  PACL list = nullptr;
  if (SetEntriesInAclW(static_cast<ULONG>(entries.size()), entries.data(), former, &list) !=
      ERROR_SUCCESS) {
    return false;
  }
  const LocalMemory freed_list(list);
  WString name = file.native();
  const SECURITY_INFORMATION what =
      DACL_SECURITY_INFORMATION | (replace ? PROTECTED_DACL_SECURITY_INFORMATION : 0U);
  return SetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, what, nullptr, nullptr, list,
                               nullptr) == ERROR_SUCCESS;
}

}  // namespace yox::platform
