#include "yox/platform/registry/windows/WindowsRegistry.h"

#include <windows.h>

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "yox/base/Log.h"
#include "yox/base/Sha256.h"
#include "yox/platform/registry/RegistryPaths.h"

namespace yox::platform {
namespace {

RegistryStatus StatusOf(LSTATUS error) {
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
      g_log.e("%s registry error %ld", "WindowsRegistry", error);
      return RegistryStatus::kFailed;
  }
}

class OpenedKey {
 public:
  OpenedKey() = default;
  OpenedKey(OpenedKey&& other) noexcept : key_(std::exchange(other.key_, nullptr)) {}
  OpenedKey& operator=(OpenedKey&& other) noexcept {
    std::swap(key_, other.key_);
    return *this;
  }
  ~OpenedKey() {
    if (key_ != nullptr) RegCloseKey(key_);
  }

  HKEY get() const { return key_; }
  HKEY* out() { return &key_; }
  HKEY release() { return std::exchange(key_, nullptr); }

 private:
  HKEY key_ = nullptr;
};

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

// A key as Win32 takes it: another user's hive is a path below HKEY_USERS.
struct Place {
  HKEY root = nullptr;
  WString path;
  REGSAM view = 0;
};

RegistryStatus Resolve(const RegistryKey& key, Place& place) {
  if (key.root == nullptr || !IsRegistryPath(key.path)) return RegistryStatus::kInvalid;
  place = {key.root, key.path, ViewFlag(key.view)};
  if (key.root == HKEY_CURRENT_USER && !key.user.empty()) {
    if (!IsRegistryPath(key.user)) return RegistryStatus::kInvalid;
    place.root = HKEY_USERS;
    place.path = key.user;
    if (!key.path.empty()) place.path += L'\\' + key.path;
  }
  if (place.path.ends_with(L'\\')) place.path.pop_back();
  return RegistryStatus::kOk;
}

RegistryStatus OpenPlace(const RegistryKey& key, REGSAM access, OpenedKey& opened) {
  Place place;
  const RegistryStatus status = Resolve(key, place);
  if (status != RegistryStatus::kOk) return status;
  return StatusOf(
      RegOpenKeyExW(place.root, place.path.c_str(), 0, access | place.view, opened.out()));
}

LSTATUS ReadValue(HKEY key, const WString& name, RegistryValue& value) {
  DWORD type = 0;
  DWORD size = static_cast<DWORD>(value.data.size());
  for (;;) {
    // Without a buffer the call succeeds and tells the size alone.
    BYTE* const buffer = value.data.empty() ? nullptr : value.data.data();
    const LSTATUS error = RegQueryValueExW(key, name.c_str(), nullptr, &type, buffer, &size);
    if (error != ERROR_SUCCESS && error != ERROR_MORE_DATA) return error;
    if (error == ERROR_SUCCESS && size <= value.data.size()) {
      value.data.resize(size);
      value.type = RegistryType{type};
      return ERROR_SUCCESS;
    }
    // It may grow between two calls.
    value.data.resize(size);
  }
}

// Calls back with every value of a name that is not too long; others are passed over.
template <class Visit>
LSTATUS ForEachValue(HKEY key, std::size_t longest_name, Visit visit) {
  DWORD longest_data = 0;
  const LSTATUS error = RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                         nullptr, nullptr, &longest_data, nullptr, nullptr);
  if (error != ERROR_SUCCESS) return error;
  WString name(longest_name + 1, L'\0');
  std::vector<BYTE> data(longest_data);
  for (DWORD index = 0;; ++index) {
    auto size = static_cast<DWORD>(name.size());
    DWORD type = 0;
    auto data_size = static_cast<DWORD>(data.size());
    LSTATUS result =
        RegEnumValueW(key, index, name.data(), &size, nullptr, &type, data.data(), &data_size);
    if (result == ERROR_MORE_DATA) {
      // A name that does not fit, or a value that has grown.
      size = static_cast<DWORD>(name.size());
      result = RegEnumValueW(key, index, name.data(), &size, nullptr, nullptr, nullptr, nullptr);
      if (result == ERROR_MORE_DATA) continue;
      RegistryValue value;
      const WString found(name, 0, size);
      if (result == ERROR_SUCCESS) result = ReadValue(key, found, value);
      if (result == ERROR_FILE_NOT_FOUND) continue;
      if (result == ERROR_SUCCESS) visit(found, std::move(value));
    } else if (result == ERROR_SUCCESS) {
      visit(WString(name, 0, size),
            RegistryValue{RegistryType{type}, {data.begin(), data.begin() + data_size}});
    }
    if (result == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
    if (result != ERROR_SUCCESS) return result;
  }
}

template <class Visit>
LSTATUS ForEachSubKey(HKEY key, Visit visit) {
  WString name(kLongestRegistryKeyName + 1, L'\0');
  for (DWORD index = 0;; ++index) {
    auto size = static_cast<DWORD>(name.size());
    const LSTATUS result =
        RegEnumKeyExW(key, index, name.data(), &size, nullptr, nullptr, nullptr, nullptr);
    if (result == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
    if (result != ERROR_SUCCESS) return result;
    visit(WString(name, 0, size));
  }
}

RegistryStatus DeleteTree(const RegistryKey& key) {
  if (IsRegistryRoot(key)) return RegistryStatus::kInvalid;
  Place place;
  const RegistryStatus status = Resolve(key, place);
  if (status != RegistryStatus::kOk) return status;
  {
    // With a path, RegDeleteTree would ask for the default view.
    OpenedKey opened;
    LSTATUS error = RegOpenKeyExW(
        place.root, place.path.c_str(), 0,
        DELETE | KEY_ENUMERATE_SUB_KEYS | KEY_QUERY_VALUE | KEY_SET_VALUE | place.view,
        opened.out());
    if (error == ERROR_SUCCESS) error = RegDeleteTreeW(opened.get(), nullptr);
    if (error != ERROR_SUCCESS) return StatusOf(error);
  }
  return StatusOf(RegDeleteKeyExW(place.root, place.path.c_str(), place.view, 0));
}

RegistryStatus Do(const RegistryEdit& edit) {
  if (!IsRegistryValueName(edit.name)) return RegistryStatus::kInvalid;
  OpenedKey opened;
  if (edit.action == RegistryAction::kDeleteKey) return DeleteTree(edit.key);
  if (edit.action == RegistryAction::kCreateKey) {
    Place place;
    const RegistryStatus status = Resolve(edit.key, place);
    if (status != RegistryStatus::kOk) return status;
    return StatusOf(RegCreateKeyExW(place.root, place.path.c_str(), 0, nullptr, 0,
                                    KEY_READ | place.view, nullptr, opened.out(), nullptr));
  }
  const RegistryStatus status = OpenPlace(edit.key, KEY_SET_VALUE, opened);
  if (status != RegistryStatus::kOk) return status;
  if (edit.action == RegistryAction::kDeleteValue) {
    return StatusOf(RegDeleteValueW(opened.get(), edit.name.c_str()));
  }
  // Windows looks behind a text without a terminator, and stores one that it happens to find there.
  std::vector<BYTE> data = edit.value.data;
  data.insert(data.end(), sizeof(WCHAR), 0xFF);
  return StatusOf(RegSetValueExW(opened.get(), edit.name.c_str(), 0,
                                 static_cast<DWORD>(edit.value.type), data.data(),
                                 static_cast<DWORD>(edit.value.data.size())));
}

// What is below a key, for comparing.
class Subtree {
 public:
  LSTATUS Read(HKEY key) { return Read(key, {}); }

  // What has to be done to `before` to get `after`.
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
    std::map<WString, Value> values;
  };

  LSTATUS Read(HKEY key, const WString& path) {
    Key& read = keys_[FoldRegistryName(path)];
    read.path = path;
    LSTATUS error = ForEachValue(
        key, kLongestRegistryValueName, [&](const WString& name, const RegistryValue& value) {
          std::string bytes = std::to_string(static_cast<std::uint32_t>(value.type)) + ' ';
          bytes.append(value.data.begin(), value.data.end());
          read.values[FoldRegistryName(name)] = {name, Sha256(bytes)};
        });
    std::vector<WString> names;
    if (error == ERROR_SUCCESS) {
      error = ForEachSubKey(key, [&](WString name) { names.push_back(std::move(name)); });
    }
    for (const WString& name : names) {
      OpenedKey below;
      // What goes meanwhile, or may not be read, is not there.
      if (RegOpenKeyExW(key, name.c_str(), 0, KEY_READ, below.out()) != ERROR_SUCCESS) continue;
      Read(below.get(), path.empty() ? name : path + L'\\' + name);
    }
    return error;
  }

  std::map<WString, Key> keys_;
};

class Handle {
 public:
  Handle() : handle_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}
  ~Handle() {
    if (handle_ != nullptr) CloseHandle(handle_);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
};

class WindowsWatch final : public RegistryWatch {
 public:
  WindowsWatch(OpenedKey key, Registry::Changed changed)
      : key_(std::move(key)), changed_(std::move(changed)) {
    thread_ = std::thread([this] { Run(); });
    std::unique_lock lock(mutex_);
    begun_.wait(lock, [this] { return has_begun_; });
  }

  ~WindowsWatch() override {
    SetEvent(ending_.get());
    thread_.join();
  }

  LSTATUS error() const { return error_; }

 private:
  // The call lasts until the event is set once, and belongs to the thread that makes it.
  LSTATUS Arm() {
    constexpr DWORD kAll = REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET;
    return RegNotifyChangeKeyValue(key_.get(), TRUE, kAll, event_.get(), TRUE);
  }

  void Run() {
    Subtree before;
    error_ = Arm();
    if (error_ == ERROR_SUCCESS) error_ = before.Read(key_.get());
    {
      const std::lock_guard lock(mutex_);
      has_begun_ = true;
    }
    begun_.notify_one();
    DWORD limit = INFINITE;
    while (error_ == ERROR_SUCCESS) {
      const HANDLE handles[] = {ending_.get(), event_.get()};
      const DWORD woken = WaitForMultipleObjects(2, handles, FALSE, limit);
      if (woken != WAIT_OBJECT_0 + 1 && woken != WAIT_TIMEOUT) return;
      // Nobody may be told when the watched key goes right after something below it: one more look,
      // when the changes have settled.
      constexpr DWORD kSettling = 500;
      limit = woken == WAIT_TIMEOUT ? INFINITE : kSettling;
      // Armed before it is read: what changes meanwhile is found by the next reading.
      const bool lives = woken == WAIT_TIMEOUT || Arm() == ERROR_SUCCESS;
      Subtree after;
      if (!lives || after.Read(key_.get()) != ERROR_SUCCESS) {
        changed_({{RegistryAction::kDeleteKey, {}, {}}});
        return;
      }
      const std::vector<RegistryChange> changes = Subtree::Changes(before, after);
      before = std::move(after);
      if (!changes.empty()) changed_(changes);
    }
  }

  const OpenedKey key_;
  const Registry::Changed changed_;
  const Handle event_;
  const Handle ending_;
  LSTATUS error_ = ERROR_SUCCESS;
  std::mutex mutex_;
  std::condition_variable begun_;
  bool has_begun_ = false;  // guarded by mutex_
  std::thread thread_;
};

}  // namespace

RegistryStatus WindowsRegistry::Open(const RegistryKey& key, std::uint32_t access, HKEY& opened) {
  OpenedKey made;
  const RegistryStatus status = OpenPlace(key, access, made);
  if (status == RegistryStatus::kOk) opened = made.release();
  return status;
}

void WindowsRegistry::Close(HKEY opened) { RegCloseKey(opened); }

RegistryStatus WindowsRegistry::Get(const RegistryKey& key, WStringView name,
                                    RegistryValue& value) {
  OpenedKey opened;
  const RegistryStatus status = OpenPlace(key, KEY_QUERY_VALUE, opened);
  if (status != RegistryStatus::kOk) return status;
  RegistryValue read;
  const LSTATUS error = ReadValue(opened.get(), WString(name), read);
  if (error == ERROR_SUCCESS) value = std::move(read);
  return StatusOf(error);
}

RegistryStatus WindowsRegistry::Values(const RegistryKey& key, std::vector<RegistryEntry>& values,
                                       std::size_t longest_name) {
  OpenedKey opened;
  const RegistryStatus status = OpenPlace(key, KEY_QUERY_VALUE, opened);
  if (status != RegistryStatus::kOk) return status;
  std::vector<RegistryEntry> found;
  const LSTATUS error =
      ForEachValue(opened.get(), longest_name, [&](WString name, RegistryValue value) {
        found.push_back({std::move(name), std::move(value)});
      });
  if (error == ERROR_SUCCESS) values = std::move(found);
  return StatusOf(error);
}

RegistryStatus WindowsRegistry::SubKeys(const RegistryKey& key, std::vector<WString>& names) {
  OpenedKey opened;
  const RegistryStatus status = OpenPlace(key, KEY_ENUMERATE_SUB_KEYS, opened);
  if (status != RegistryStatus::kOk) return status;
  std::vector<WString> found;
  const LSTATUS error =
      ForEachSubKey(opened.get(), [&](WString name) { found.push_back(std::move(name)); });
  if (error == ERROR_SUCCESS) names = std::move(found);
  return StatusOf(error);
}

RegistryStatus WindowsRegistry::Apply(std::span<const RegistryEdit> edits) {
  for (const RegistryEdit& edit : edits) {
    const RegistryStatus status = Do(edit);
    if (status == RegistryStatus::kNotFound && edit.if_there) continue;
    if (status != RegistryStatus::kOk) return status;
  }
  return RegistryStatus::kOk;
}

RegistryStatus WindowsRegistry::Watch(const RegistryKey& key, Changed changed,
                                      std::unique_ptr<RegistryWatch>& watch) {
  OpenedKey opened;
  const RegistryStatus status = OpenPlace(key, KEY_NOTIFY | KEY_READ, opened);
  if (status != RegistryStatus::kOk) return status;
  auto made = std::make_unique<WindowsWatch>(std::move(opened), std::move(changed));
  if (made->error() != ERROR_SUCCESS) return StatusOf(made->error());
  watch = std::move(made);
  return RegistryStatus::kOk;
}

}  // namespace yox::platform
