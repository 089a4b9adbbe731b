#include "yox/platform/files/StateFiles.h"

#include <algorithm>
#include <string_view>
#include <system_error>

#include "yox/platform/files/windows/PrivateAccess.h"

namespace yox::platform {
namespace {

namespace fs = std::filesystem;

// A file that others may read, write and delete meanwhile; null if it cannot be opened.
Handle Open(const fs::path& file, DWORD disposition, SECURITY_ATTRIBUTES* access) {
  constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE handle = CreateFileW(file.c_str(), GENERIC_WRITE, kShared, access, disposition,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  return Handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

bool WriteOver(const Handle& file, std::string_view bytes) {
  while (!bytes.empty()) {
    constexpr std::size_t kPiece = std::size_t{1} << 20;
    DWORD count = 0;
    if (WriteFile(file.get(), bytes.data(), static_cast<DWORD>(std::min(bytes.size(), kPiece)),
                  &count, nullptr) == 0 ||
        count == 0) {
      return false;
    }
    bytes.remove_prefix(count);
  }
  return SetEndOfFile(file.get()) != 0;
}

}  // namespace

bool CreatePrivateFolder(const fs::path& folder, bool with_parents) {
  std::error_code error;
  if (fs::is_directory(folder, error)) return true;
  const fs::path above = folder.parent_path();
  if (with_parents && above != folder && !CreatePrivateFolder(above, true)) return false;
  PrivateAccess access;
  // Another process may create it meanwhile.
  return CreateDirectoryW(folder.c_str(), access.attributes()) != 0 ||
         fs::is_directory(folder, error);
}

bool WriteInPlace(const fs::path& file, const std::function<std::string()>& content) {
  Handle named = Open(file, OPEN_EXISTING, nullptr);
  Handle staged;
  const fs::path staging = file.native() + L".new" + std::to_wstring(GetCurrentProcessId());
  if (!named) {
    // Something else is in its place, or may not be opened.
    if (GetLastError() != ERROR_FILE_NOT_FOUND) return false;
    PrivateAccess access;
    staged = Open(staging, CREATE_ALWAYS, access.attributes());
    if (!staged) return false;
  }
  const std::string bytes = content();
  if (staged) {
    const bool written = WriteOver(staged, bytes);
    staged.reset();
    if (written && MoveFileExW(staging.c_str(), file.c_str(), 0) != 0) return true;
    DeleteFileW(staging.c_str());
    if (!written) return true;
    named = Open(file, OPEN_EXISTING, nullptr);  // another process was first
    if (!named) return true;
  }
  const bool written = WriteOver(named, bytes);
  named.reset();
  if (!written) DeleteFileW(file.c_str());
  return true;
}

}  // namespace yox::platform
