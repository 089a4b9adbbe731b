#include "yox/platform/registry/windows/WindowsRegistry.h"

#include <windows.h>

#include <string>
#include <utility>

#include "yox/platform/registry/RegistryPaths.h"
#include "yox/platform/registry/windows/KeyContent.h"
#include "yox/platform/registry/windows/OpenedKey.h"
#include "yox/platform/registry/windows/WindowsRegistryTracker.h"
#include "yox/platform/registry/windows/WindowsRegistryWatch.h"

namespace yox::platform {
namespace {

REGSAM ViewFlag(RegistryView view) {
  switch (view) {
    case RegistryView::k64Bit:
      return KEY_WOW64_64KEY;
    case RegistryView::k32Bit:
      return KEY_WOW64_32KEY;
    case RegistryView::kDefault:
      break;
  }
  return 0;
}

// A key in the terms of Win32, where another user's hive is a path below HKEY_USERS.
struct Place {
  HKEY root = nullptr;
  WString path;
  REGSAM view = 0;
};

LSTATUS Resolve(const RegistryKey& key, Place& place) {
  if (key.root == nullptr || !IsRegistryPath(key.path)) return ERROR_INVALID_PARAMETER;
  place = {key.root, key.path, ViewFlag(key.view)};
  if (key.root == HKEY_CURRENT_USER && !key.user.empty()) {
    if (!IsRegistryPath(key.user)) return ERROR_INVALID_PARAMETER;
    place.root = HKEY_USERS;
    place.path = key.user;
    if (!key.path.empty()) place.path += L'\\' + key.path;
  }
  if (place.path.ends_with(L'\\')) place.path.pop_back();
  return ERROR_SUCCESS;
}

LSTATUS CreateKey(const RegistryKey& key) {
  Place place;
  OpenedKey opened;
  const LSTATUS error = Resolve(key, place);
  if (error != ERROR_SUCCESS) return error;
  return RegCreateKeyExW(place.root, place.path.c_str(), 0, nullptr, 0, KEY_READ | place.view,
                         nullptr, opened.out(), nullptr);
}

LSTATUS DeleteTree(const RegistryKey& key) {
  if (IsRegistryRoot(key)) return ERROR_INVALID_PARAMETER;
  Place place;
  LSTATUS error = Resolve(key, place);
  if (error != ERROR_SUCCESS) return error;
  {
    // RegDeleteTree takes no view along with a path, only an opened key.
    constexpr REGSAM kAccess = DELETE | KEY_ENUMERATE_SUB_KEYS | KEY_QUERY_VALUE | KEY_SET_VALUE;
    OpenedKey opened;
    error = RegOpenKeyExW(place.root, place.path.c_str(), 0, kAccess | place.view, opened.out());
    if (error == ERROR_SUCCESS) error = RegDeleteTreeW(opened.get(), nullptr);
    if (error != ERROR_SUCCESS) return error;
  }
  return RegDeleteKeyExW(place.root, place.path.c_str(), place.view, 0);
}

LSTATUS SetValue(HKEY key, const RegistryEdit& edit) {
  // Windows looks past the end of a string without a terminator, and stores one that happens to be
  // there.
  std::vector<BYTE> data = edit.value.data;
  data.insert(data.end(), sizeof(WCHAR), 0xFF);
  return RegSetValueExW(key, edit.name.c_str(), 0, static_cast<DWORD>(edit.value.type), data.data(),
                        static_cast<DWORD>(edit.value.data.size()));
}

LSTATUS Do(const RegistryEdit& edit) {
  if (!IsRegistryValueName(edit.name)) return ERROR_INVALID_PARAMETER;
  if (edit.action == RegistryAction::kDeleteKey) return DeleteTree(edit.key);
  if (edit.action == RegistryAction::kCreateKey) return CreateKey(edit.key);
  OpenedKey opened;
  const LSTATUS error = OpenKey(edit.key, KEY_SET_VALUE, opened);
  if (error != ERROR_SUCCESS) return error;
  if (edit.action == RegistryAction::kDeleteValue) {
    return RegDeleteValueW(opened.get(), edit.name.c_str());
  }
  return SetValue(opened.get(), edit);
}

}  // namespace

LSTATUS OpenKey(const RegistryKey& key, REGSAM access, OpenedKey& opened) {
  Place place;
  const LSTATUS error = Resolve(key, place);
  if (error != ERROR_SUCCESS) return error;
  return RegOpenKeyExW(place.root, place.path.c_str(), 0, access | place.view, opened.out());
}

RegistryStatus WindowsRegistry::StatusOf(const char* operation, long error) {
  switch (error) {
    case ERROR_SUCCESS:
      return RegistryStatus::kOk;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_KEY_DELETED:
      return RegistryStatus::kNotFound;
    case ERROR_ACCESS_DENIED:
      return RegistryStatus::kDenied;
    case ERROR_INVALID_HANDLE:
    case ERROR_INVALID_PARAMETER:
    case ERROR_BAD_PATHNAME:
      return RegistryStatus::kInvalid;
    default:
      ReportFailure(operation, "the registry failed: Windows error " + std::to_string(error));
      return RegistryStatus::kFailed;
  }
}

RegistryStatus WindowsRegistry::Open(const RegistryKey& key, std::uint32_t access, HKEY& opened) {
  OpenedKey made;
  const LSTATUS error = OpenKey(key, access, made);
  if (error == ERROR_SUCCESS) opened = made.release();
  return StatusOf("WindowsRegistry::Open", error);
}

void WindowsRegistry::Close(HKEY opened) { RegCloseKey(opened); }

RegistryStatus WindowsRegistry::Get(const RegistryKey& key, WStringView name,
                                    RegistryValue& value) {
  OpenedKey opened;
  RegistryValue read;
  LSTATUS error = OpenKey(key, KEY_QUERY_VALUE, opened);
  if (error == ERROR_SUCCESS) error = ReadValue(opened.get(), WString(name), read);
  if (error == ERROR_SUCCESS) value = std::move(read);
  return StatusOf("WindowsRegistry::Get", error);
}

RegistryStatus WindowsRegistry::Values(const RegistryKey& key, std::vector<RegistryEntry>& values,
                                       std::size_t longest_name) {
  OpenedKey opened;
  std::vector<RegistryEntry> found;
  LSTATUS error = OpenKey(key, KEY_QUERY_VALUE, opened);
  if (error == ERROR_SUCCESS) {
    error = ForEachValue(ValueCalls::Of(opened.get()), longest_name,
                         [&](WString name, RegistryValue value) {
                           found.push_back({std::move(name), std::move(value)});
                         });
  }
  if (error == ERROR_SUCCESS) values = std::move(found);
  return StatusOf("WindowsRegistry::Values", error);
}

RegistryStatus WindowsRegistry::SubKeys(const RegistryKey& key, std::vector<WString>& names) {
  OpenedKey opened;
  std::vector<WString> found;
  LSTATUS error = OpenKey(key, KEY_ENUMERATE_SUB_KEYS, opened);
  if (error == ERROR_SUCCESS) {
    error = ForEachSubKey(opened.get(), [&](WString name) { found.push_back(std::move(name)); });
  }
  if (error == ERROR_SUCCESS) names = std::move(found);
  return StatusOf("WindowsRegistry::SubKeys", error);
}

RegistryStatus WindowsRegistry::Apply(std::span<const RegistryEdit> edits) {
  for (const RegistryEdit& edit : edits) {
    const RegistryStatus status = StatusOf("WindowsRegistry::Apply", Do(edit));
    if (status == RegistryStatus::kNotFound && edit.if_there) continue;
    if (status != RegistryStatus::kOk) return status;
  }
  return RegistryStatus::kOk;
}

RegistryStatus WindowsRegistry::Watch(const RegistryKey& key, Changed changed,
                                      std::unique_ptr<RegistryWatch>& watch) {
  constexpr const char* kOperation = "WindowsRegistry::Watch";
  OpenedKey opened;
  const LSTATUS error = OpenKey(key, KEY_NOTIFY | KEY_READ, opened);
  if (error != ERROR_SUCCESS) return StatusOf(kOperation, error);
  auto made = std::make_unique<WindowsRegistryWatch>(std::move(opened), std::move(changed));
  if (made->error() != ERROR_SUCCESS) return StatusOf(kOperation, made->error());
  watch = std::move(made);
  return RegistryStatus::kOk;
}

std::unique_ptr<RegistryTracker> WindowsRegistry::Track(std::span<const RegistryKey> keys) {
  return std::make_unique<WindowsRegistryTracker>(
      std::vector<RegistryKey>(keys.begin(), keys.end()));
}

}  // namespace yox::platform
