#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "yox/platform/registry/Registry.h"

namespace yox::platform {

// The root and the path in a text like "HKLM\SOFTWARE\Contoso" or "HKEY_USERS\S-1-5-18"; long and
// short names of the three roots, in any letter case. Nothing for any other root.
YOX_API std::optional<RegistryKey> ParseRegistryPath(WStringView text);
// The same written out: "HKEY_LOCAL_MACHINE\SOFTWARE\Contoso". The root is one of the three.
YOX_API WString RegistryPathText(const RegistryKey& key);

// Whether every name of the path is there, none is longer than a key's name may be, and none holds
// a zero; one separator at the end is allowed.
YOX_API bool IsRegistryPath(WStringView path);
// Whether a value can have this name.
bool IsRegistryValueName(WStringView name);

// What a registry that keeps its keys by one text knows of paths and handles: every key has one
// name, "HKLM\..." or "HKU\...", whichever root, view, user or handle it is reached by. Safe from
// any thread.
class RegistryPaths {
 public:
  // `own_user` is the security identifier behind HKEY_CURRENT_USER; an empty one is the system's
  // own account.
  explicit RegistryPaths(WString own_user);
  void SetOwnUser(WString own_user);

  // kOk or kInvalid.
  RegistryStatus Resolve(const RegistryKey& key, WString& name) const;
  // Whether the name is one of the two roots or the own user's hive, which are always there.
  bool IsHive(WStringView name) const;

  HKEY OpenHandle(WString name);
  void CloseHandle(HKEY handle);

 private:
  mutable std::mutex mutex_;
  WString own_user_;
  std::unordered_map<std::uintptr_t, WString> handles_;
  std::uintptr_t last_handle_ = 0;
};

// What tells the names of keys and values apart, and sorts a key directly before what is below it:
// letter case folded, and the separator, which no name of a key holds, the lowest of all units.
WString FoldRegistryName(WStringView name);
inline constexpr WChar kFoldedSeparator = 0;
// Whether the key is a root itself, which nobody can delete.
bool IsRegistryRoot(const RegistryKey& key);
// Whether one of Win32's access masks asks to write.
bool AsksToWrite(std::uint32_t access);

// What a watcher of the key with the folded name gets to see of changes whose keys are whole names.
std::vector<RegistryChange> ChangesBelow(std::span<const RegistryChange> changes,
                                         WStringView watched);

}  // namespace yox::platform
