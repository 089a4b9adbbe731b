#include "host/yoxd/StateFolder.h"

#include <algorithm>

#include "host/yoxd/HostSystem.h"
#include "host/yoxd/windows/Access.h"

namespace yoxd {

namespace fs = std::filesystem;

namespace {

int LastError() { return static_cast<int>(GetLastError()); }

// Writes all bytes. Returns 0 or the system's error.
int WriteAll(HANDLE file, std::string_view bytes) {
  while (!bytes.empty()) {
    constexpr std::size_t kPiece = std::size_t{1} << 20;
    DWORD written = 0;
    if (WriteFile(file, bytes.data(), static_cast<DWORD>(std::min(bytes.size(), kPiece)), &written,
                  nullptr) == FALSE) {
      return LastError();
    }
    if (written == 0) return ERROR_DISK_FULL;
    bytes.remove_prefix(written);
  }
  return 0;
}

HANDLE HandleOf(std::intptr_t lock) { return reinterpret_cast<HANDLE>(lock); }

}  // namespace

int StateFolder::MakePrivate(const fs::path& folder) {
  PrivateAccess access;
  if (CreateDirectoryW(folder.c_str(), access.attributes()) != FALSE) return 0;
  if (GetLastError() != ERROR_ALREADY_EXISTS) return LastError();
  // It was there, perhaps with other rights.
  SetFileSecurityW(folder.c_str(), DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                   access.descriptor());
  return 0;
}

int StateFolder::Lock(const fs::path& file) {
  // Not shared: it is the lock.
  HANDLE const lock = CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (lock == INVALID_HANDLE_VALUE) {
    const int error = LastError();
    return error == ERROR_SHARING_VIOLATION ? kInUse : error;
  }
  lock_ = reinterpret_cast<std::intptr_t>(lock);
  return 0;
}

StateFolder::~StateFolder() { CloseHandle(HandleOf(lock_)); }

bool StateFolder::Write(const std::string& name, std::string_view bytes) {
  const fs::path file = path_ / PathOf(name);
  const fs::path temporary = file.native() + L".new";
  // CREATE_ALWAYS: one may be there, of a process that was killed.
  HANDLE const opened = CreateFileW(temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  int error = opened == INVALID_HANDLE_VALUE ? LastError() : WriteAll(opened, bytes);
  if (error == 0 && FlushFileBuffers(opened) == FALSE) error = LastError();
  if (opened != INVALID_HANDLE_VALUE) CloseHandle(opened);
  if (error == 0 && MoveFileExW(temporary.c_str(), file.c_str(),
                                MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) == FALSE) {
    error = LastError();
  }
  if (error == 0) return true;
  DeleteFileW(temporary.c_str());
  return Failed(file, error);
}

bool StateFolder::Append(const std::string& name, std::string_view bytes) {
  const fs::path file = path_ / PathOf(name);
  HANDLE const opened = CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (opened == INVALID_HANDLE_VALUE) return Failed(file, LastError());
  LARGE_INTEGER end{};
  int error = SetFilePointerEx(opened, {}, &end, FILE_END) == FALSE ? LastError() : 0;
  if (error == 0) error = WriteAll(opened, bytes);
  if (error != 0) {
    SetFilePointerEx(opened, end, nullptr, FILE_BEGIN);
    SetEndOfFile(opened);
  }
  CloseHandle(opened);
  return error == 0 || Failed(file, error);
}

}  // namespace yoxd
