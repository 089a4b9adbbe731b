#pragma once

#include <cstdint>
#include <optional>
#include <unordered_map>

#include "yox/base/ThreadSafety.h"
#include "yox/platform/registry/Registry.h"

namespace yox::platform {

// Returns the key that a text such as "HKLM\SOFTWARE\Contoso" or "HKEY_USERS\S-1-5-18" names; the
// three roots have a long and a short name, in any letter case. Returns std::nullopt for another
// root. The rest of the path is not checked.
YOX_API std::optional<RegistryKey> ParseRegistryPath(WStringView text);
// Returns the text with the root's long name: "HKEY_LOCAL_MACHINE\SOFTWARE\Contoso". The key's root
// is one of the three.
YOX_API WString RegistryPathText(const RegistryKey& key);

// Whether a registry can have the path: no name in it is empty, too long or contains a zero. One
// separator at the end is allowed.
YOX_API bool IsRegistryPath(WStringView path);
// Whether a value can have the name.
bool IsRegistryValueName(WStringView name);

// Resolves keys for a registry that stores each key under one full path, "HKLM\..." or "HKU\...",
// by whichever root, view, user or handle it is reached. Safe from any thread.
class RegistryPaths {
 public:
  // `own_user` is the security identifier that HKEY_CURRENT_USER stands for; an empty one is the
  // system's own account.
  explicit RegistryPaths(WString own_user);
  void SetOwnUser(WString own_user);

  // Writes the full path of a key, which need not exist. Returns kOk or kInvalid.
  RegistryStatus Resolve(const RegistryKey& key, WString& full_path) const;
  // Whether the full path is one of the two roots or the own user's hive, which always exist.
  bool IsHive(WStringView full_path) const;

  // Returns a new handle that `Resolve` accepts as a root, until it is closed.
  HKEY OpenHandle(WString full_path);
  void CloseHandle(HKEY handle);

 private:
  mutable Mutex mutex_;
  WString own_user_ YOX_GUARDED_BY(mutex_);
  std::unordered_map<std::uintptr_t, WString> handles_ YOX_GUARDED_BY(mutex_);
  std::uintptr_t last_handle_ YOX_GUARDED_BY(mutex_) = 0;
};

// Returns the form in which names and paths are compared and sorted: letter case is folded, and the
// separator becomes the lowest code unit, which no name contains, so that a key sorts directly
// before the keys below it.
WString FoldRegistryName(WStringView name);
inline constexpr WChar kFoldedSeparator = 0;
// Whether the key is a root, which cannot be deleted.
bool IsRegistryRoot(const RegistryKey& key);
// Whether an access mask of Win32 has a right to write.
bool AsksToWrite(std::uint32_t access);

// Returns the changes that a watch reports, of changes whose keys are full paths. `watched` is the
// folded full path of the watched key.
std::vector<RegistryChange> ChangesBelow(std::span<const RegistryChange> changes,
                                         WStringView watched);

}  // namespace yox::platform
