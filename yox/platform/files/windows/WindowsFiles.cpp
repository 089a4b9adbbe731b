#include "yox/platform/files/windows/WindowsFiles.h"

#include <windows.h>
// These need windows.h before them.
#include <aclapi.h>
#include <sddl.h>
#include <shlobj.h>

#include <string>
#include <system_error>
#include <vector>

#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/platform/files/windows/OwnFolder.h"
#include "yox/platform/files/windows/PrivateAccess.h"
#include "yox/platform/users/windows/Token.h"

namespace yox::platform {
namespace {

namespace fs = std::filesystem;

constexpr WStringView kMakersFolder = L"\\tervan";
constexpr WStringView kOwnFolder = L"\\YOX";

// Access lists in SDDL, protected from what the folder above hands down. Full access for
// administrators (BA) and the system (SY), for the maker's folder also read access for users (BU).
constexpr wchar_t kPrivate[] = L"O:BAD:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)";
constexpr wchar_t kReadableByUsers[] =
    L"O:BAD:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)(A;OICI;0x1200a9;;;BU)";

WString KnownFolder(REFKNOWNFOLDERID id) {
  PWSTR text = nullptr;
  WString path;
  if (SHGetKnownFolderPath(id, KF_FLAG_DONT_VERIFY, nullptr, &text) == S_OK) path = text;
  CoTaskMemFree(text);
  return path;
}

// A text of unknown length: `get` is called with a buffer and its size, and returns how much it
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
  const bool of_machine = IsElevated();
  WString folder = KnownFolder(of_machine ? FOLDERID_ProgramData : FOLDERID_LocalAppData);
  if (folder.empty()) return std::nullopt;
  if (of_machine && !claimed_) {
    const WString above = folder + WString(kMakersFolder);
    if (!ClaimFolder(above, kReadableByUsers) ||
        !ClaimFolder(above + WString(kOwnFolder), kPrivate)) {
      return std::nullopt;
    }
    claimed_ = true;
  }
  return (folder += kMakersFolder) += kOwnFolder;
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
  PrivateAccess access;
  if (access.attributes() == nullptr) return false;
  const HANDLE created = CreateFileW(file.c_str(), GENERIC_WRITE, 0, access.attributes(),
                                     CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (created == INVALID_HANDLE_VALUE) return false;
  CloseHandle(created);
  return true;
}

std::optional<std::string> WindowsFiles::ReadTrusted(const fs::path& file, std::size_t limit) {
  // A reparse point is opened itself, and is no regular file. What is judged and what is read is
  // the open file: its name may change hands in between.
  const HANDLE opened = CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
  if (opened == INVALID_HANDLE_VALUE) return std::nullopt;
  const Handle closed(opened);
  BY_HANDLE_FILE_INFORMATION facts{};
  LARGE_INTEGER size{};
  if (GetFileType(opened) != FILE_TYPE_DISK ||
      GetFileInformationByHandle(opened, &facts) == FALSE ||
      (facts.dwFileAttributes & (FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY)) != 0 ||
      GetFileSizeEx(opened, &size) == FALSE || static_cast<std::uint64_t>(size.QuadPart) > limit) {
    return std::nullopt;
  }
  if (!IsTrustedOwner(OwnerOf(opened))) {
    g_log.e("%s: ignored %s, which is not the system's or an administrator's", "Files::ReadTrusted",
            String::UTF16ToUTF8(file.native()));
    return std::nullopt;
  }
  std::string text(static_cast<std::size_t>(size.QuadPart), '\0');
  DWORD read = 0;
  if (ReadFile(opened, text.data(), static_cast<DWORD>(text.size()), &read, nullptr) == FALSE) {
    return std::nullopt;
  }
  text.resize(read);
  return text;
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
