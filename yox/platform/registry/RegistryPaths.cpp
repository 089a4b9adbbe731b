#include "yox/platform/registry/RegistryPaths.h"

#include <algorithm>
#include <span>
#include <utility>

#include "yox/base/String.h"

namespace yox::platform {
namespace {

constexpr WChar kSeparator = '\\';

struct Root {
  HKEY root;
  WStringView name;
  WStringView long_name;
};

// A function because the handles are no constant expressions: the library runs no code at load.
std::span<const Root> Roots() {
  static const Root roots[] = {
      {HKEY_LOCAL_MACHINE, "HKLM"_wv, "HKEY_LOCAL_MACHINE"_wv},
      {HKEY_CURRENT_USER, "HKCU"_wv, "HKEY_CURRENT_USER"_wv},
      {HKEY_USERS, "HKU"_wv, "HKEY_USERS"_wv},
  };
  return roots;
}

constexpr WStringView kSystemAccount = "S-1-5-18"_wv;
constexpr WStringView kRedirected = "HKLM\\SOFTWARE"_wv;
constexpr WStringView kNode32 = "WOW6432Node"_wv;

WStringView FirstName(WStringView path) { return path.substr(0, path.find(kSeparator)); }

bool IsShared(WStringView below_software) {
  const WStringView first = FirstName(below_software);
  return String::CaseInsesitiveEqual(first, kNode32) ||
         String::CaseInsesitiveEqual(first, "Policies"_wv);
}

// Moves a path of the machine's software into its 32-bit view.
void Redirect(WString& name) {
  if (!String::CaseInsensitiveStartsWith(name, kRedirected)) return;
  const std::size_t end = kRedirected.size();
  if (name.size() != end && name[end] != kSeparator) return;
  if (name.size() != end && IsShared(WStringView(name).substr(end + 1))) return;
  name.insert(end, kNode32);
  name.insert(end, 1, kSeparator);
}

// Whether a folded path is `parent` or below it.
bool IsSameOrBelow(WStringView folded, WStringView parent) {
  return folded.starts_with(parent) &&
         (folded.size() == parent.size() || folded[parent.size()] == kFoldedSeparator);
}

}  // namespace

std::optional<RegistryKey> ParseRegistryPath(WStringView text) {
  const WStringView hive = FirstName(text);
  const std::span<const Root> roots = Roots();
  const auto row = std::ranges::find_if(roots, [&](const Root& root) {
    return String::CaseInsesitiveEqual(hive, root.name) ||
           String::CaseInsesitiveEqual(hive, root.long_name);
  });
  if (row == roots.end()) return std::nullopt;
  RegistryKey key;
  key.root = row->root;
  if (hive.size() < text.size()) key.path = text.substr(hive.size() + 1);
  return key;
}

WString RegistryPathText(const RegistryKey& key) {
  const std::span<const Root> roots = Roots();
  const auto row = std::ranges::find(roots, key.root, &Root::root);
  WString text(row == roots.end() ? WStringView() : row->long_name);
  if (!key.path.empty()) (text += kSeparator) += key.path;
  return text;
}

bool IsRegistryPath(WStringView path) {
  if (path.empty()) return true;
  if (path.find(WChar{0}) != WStringView::npos) return false;
  if (path.back() == kSeparator) path.remove_suffix(1);
  for (;;) {
    const WStringView name = FirstName(path);
    if (name.empty() || name.size() > kLongestRegistryKeyName) return false;
    if (name.size() == path.size()) return true;
    path.remove_prefix(name.size() + 1);
  }
}

bool IsRegistryValueName(WStringView name) {
  return name.size() <= kLongestRegistryValueName && name.find(WChar{0}) == WStringView::npos;
}

RegistryPaths::RegistryPaths(WString own_user) { SetOwnUser(std::move(own_user)); }

void RegistryPaths::SetOwnUser(WString own_user) {
  const MutexLock lock(mutex_);
  own_user_ = own_user.empty() ? WString(kSystemAccount) : std::move(own_user);
}

RegistryStatus RegistryPaths::Resolve(const RegistryKey& key, WString& full_path) const {
  if (!IsRegistryPath(key.path)) return RegistryStatus::kInvalid;
  if (key.root == HKEY_LOCAL_MACHINE) {
    full_path = "HKLM"_wv;
  } else if (key.root == HKEY_USERS) {
    full_path = "HKU"_wv;
  } else {
    const MutexLock lock(mutex_);
    if (key.root == HKEY_CURRENT_USER) {
      if (!IsRegistryPath(key.user)) return RegistryStatus::kInvalid;
      full_path = "HKU\\"_w + (key.user.empty() ? own_user_ : key.user);
    } else {
      const auto handle = handles_.find(reinterpret_cast<std::uintptr_t>(key.root));
      if (handle == handles_.end()) return RegistryStatus::kInvalid;
      full_path = handle->second;
    }
  }
  if (!key.path.empty()) (full_path += kSeparator) += key.path;
  if (full_path.back() == kSeparator) full_path.pop_back();
  if (key.view == RegistryView::k32Bit) Redirect(full_path);
  return RegistryStatus::kOk;
}

bool RegistryPaths::IsHive(WStringView full_path) const {
  const auto equals = [full_path](WStringView hive) {
    return String::CaseInsesitiveEqual(full_path, hive);
  };
  if (equals("HKLM"_wv) || equals("HKU"_wv)) return true;
  const MutexLock lock(mutex_);
  return equals("HKU\\"_w + own_user_);
}

HKEY RegistryPaths::OpenHandle(WString full_path) {
  const MutexLock lock(mutex_);
  // Looks like an address: never null, and no root has such a small number.
  last_handle_ += 16;
  handles_.emplace(last_handle_, std::move(full_path));
  return reinterpret_cast<HKEY>(last_handle_);  // NOLINT(performance-no-int-to-ptr)
}

void RegistryPaths::CloseHandle(HKEY handle) {
  const MutexLock lock(mutex_);
  handles_.erase(reinterpret_cast<std::uintptr_t>(handle));
}

WString FoldRegistryName(WStringView name) {
  WString folded(name);
  for (WChar& unit : folded) {
    unit = unit == kSeparator ? kFoldedSeparator : String::FoldCase(unit);
  }
  return folded;
}

bool IsRegistryRoot(const RegistryKey& key) {
  return key.path.empty() && (key.root == HKEY_LOCAL_MACHINE || key.root == HKEY_CURRENT_USER ||
                              key.root == HKEY_USERS);
}

bool AsksToWrite(std::uint32_t access) {
  constexpr std::uint32_t kSetValue = 0x2, kCreateSubKey = 0x4, kDelete = 0x10000;
  constexpr std::uint32_t kGenericWrite = 0x40000000, kGenericAll = 0x10000000;
  return (access & (kSetValue | kCreateSubKey | kDelete | kGenericWrite | kGenericAll)) != 0;
}

std::vector<RegistryChange> ChangesBelow(std::span<const RegistryChange> changes,
                                         WStringView watched) {
  std::vector<RegistryChange> seen;
  for (const RegistryChange& change : changes) {
    const WString folded = FoldRegistryName(change.key);
    if (change.lost) {
      seen.push_back(change);
    } else if (IsSameOrBelow(folded, watched)) {
      seen.push_back(change);
      WString& key = seen.back().key;
      key.erase(0, std::min(key.size(), watched.size() + 1));
    } else if (change.action == RegistryAction::kDeleteKey && IsSameOrBelow(watched, folded)) {
      seen.push_back({RegistryAction::kDeleteKey, {}, {}});
    }
  }
  return seen;
}

}  // namespace yox::platform
