#include "yox/platform/registry/windows/WindowsRegistryWatch.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "yox/base/Sha256.h"
#include "yox/platform/registry/RegistryPaths.h"
#include "yox/platform/registry/windows/KeyContent.h"

namespace yox::platform {
namespace {

// The keys and values below a key, with a digest of each value.
class Subtree {
 public:
  LSTATUS Read(HKEY key) { return Read(key, {}); }

  // The changes that lead from `before` to `after`.
  static std::vector<RegistryChange> Changes(const Subtree& before, const Subtree& after) {
    std::vector<RegistryChange> changes;
    for (const auto& [folded, key] : before.keys_) {
      if (after.keys_.contains(folded)) continue;
      const std::size_t last = folded.rfind(kFoldedSeparator);
      const WString parent = last == WString::npos ? WString() : folded.substr(0, last);
      if (folded.empty() || after.keys_.contains(parent)) {
        changes.push_back({RegistryAction::kDeleteKey, key.path, {}});
      }
    }
    for (const auto& [folded, key] : after.keys_) {
      const auto former = before.keys_.find(folded);
      if (former == before.keys_.end()) {
        changes.push_back({RegistryAction::kCreateKey, key.path, {}});
      } else {
        for (const auto& [name, value] : former->second.values) {
          if (key.values.contains(name)) continue;
          changes.push_back({RegistryAction::kDeleteValue, key.path, value.name});
        }
      }
      for (const auto& [name, value] : key.values) {
        if (former != before.keys_.end()) {
          const auto same = former->second.values.find(name);
          if (same != former->second.values.end() && same->second.digest == value.digest) continue;
        }
        changes.push_back({RegistryAction::kSetValue, key.path, value.name});
      }
    }
    return changes;
  }

 private:
  struct Value {
    WString name;
    Sha256Digest digest;  // of type and data
  };
  struct Key {
    WString path;
    std::map<WString, Value> values;  // by folded name
  };

  LSTATUS Read(HKEY key, const WString& path) {
    Key& read = keys_[FoldRegistryName(path)];
    read.path = path;
    LSTATUS error = ForEachValue(ValueCalls::Of(key), kLongestRegistryValueName,
                                 [&](const WString& name, const RegistryValue& value) {
                                   std::string bytes =
                                       std::to_string(static_cast<std::uint32_t>(value.type)) + ' ';
                                   bytes.append(value.data.begin(), value.data.end());
                                   read.values[FoldRegistryName(name)] = {name, Sha256(bytes)};
                                 });
    std::vector<WString> names;
    if (error == ERROR_SUCCESS) {
      error = ForEachSubKey(key, [&](WString name) { names.push_back(std::move(name)); });
    }
    for (const WString& name : names) {
      OpenedKey below;
      // A key that is deleted meanwhile, or that this account may not read, counts as missing.
      if (RegOpenKeyExW(key, name.c_str(), 0, KEY_READ, below.out()) != ERROR_SUCCESS) continue;
      Read(below.get(), path.empty() ? name : path + L'\\' + name);
    }
    return error;
  }

  std::map<WString, Key> keys_;  // by folded path
};

}  // namespace

WindowsRegistryWatch::WindowsRegistryWatch(OpenedKey key, Registry::Changed changed)
    : key_(std::move(key)), changed_(std::move(changed)) {
  thread_ = std::thread([this] { Run(); });
  MutexLock lock(mutex_);
  while (!has_begun_) begun_.Wait(lock);
}

WindowsRegistryWatch::~WindowsRegistryWatch() {
  SetEvent(ending_.get());
  thread_.join();
}

// The call is over when the event was set once, or when the thread that made it ends.
LSTATUS WindowsRegistryWatch::Arm() {
  constexpr DWORD kAll = REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET;
  return RegNotifyChangeKeyValue(key_.get(), TRUE, kAll, change_.get(), TRUE);
}

void WindowsRegistryWatch::Run() {
  Subtree before;
  error_ = Arm();
  if (error_ == ERROR_SUCCESS) error_ = before.Read(key_.get());
  {
    const MutexLock lock(mutex_);
    has_begun_ = true;
  }
  begun_.NotifyOne();
  DWORD limit = INFINITE;
  while (error_ == ERROR_SUCCESS) {
    const HANDLE handles[] = {ending_.get(), change_.get()};
    const DWORD woken = WaitForMultipleObjects(2, handles, FALSE, limit);
    if (woken != WAIT_OBJECT_0 + 1 && woken != WAIT_TIMEOUT) return;
    // When the watched key is deleted right after something below it, the system may report the
    // first change only. Therefore another look after the last change.
    constexpr DWORD kSettling = 500;
    limit = woken == WAIT_TIMEOUT ? INFINITE : kSettling;
    // Armed before reading, so that a change in between wakes the thread again.
    const bool exists = woken == WAIT_TIMEOUT || Arm() == ERROR_SUCCESS;
    Subtree after;
    if (!exists || after.Read(key_.get()) != ERROR_SUCCESS) {
      changed_({{RegistryAction::kDeleteKey, {}, {}}});
      return;
    }
    const std::vector<RegistryChange> changes = Subtree::Changes(before, after);
    before = std::move(after);
    if (!changes.empty()) changed_(changes);
  }
}

}  // namespace yox::platform
