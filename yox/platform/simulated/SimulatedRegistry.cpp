#include "yox/platform/simulated/SimulatedRegistry.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "yox/platform/registry/RegistryPaths.h"

namespace yox::platform {
namespace {

constexpr WChar kSeparator = '\\';

}  // namespace

struct SimulatedRegistry::Key {
  WString path;                             // as it was written
  std::map<WString, RegistryEntry> values;  // by folded name
};

struct SimulatedRegistry::Watcher {
  const WString folded;  // the path of the watched key
  const Changed changed;

  // Recursive, because a callback may change what it watches.
  RecursiveMutex calling = {};
  bool ended YOX_GUARDED_BY(calling) = false;
};

class YOX_LOCAL SimulatedRegistry::SimulatedWatch final : public RegistryWatch {
 public:
  SimulatedWatch(SimulatedRegistry& registry, std::shared_ptr<Watcher> watcher)
      : registry_(registry), watcher_(std::move(watcher)) {}

  ~SimulatedWatch() override {
    {
      const MutexLock lock(registry_.mutex_);
      std::erase(registry_.watchers_, watcher_);
    }
    const RecursiveMutexLock lock(watcher_->calling);
    watcher_->ended = true;
  }

 private:
  SimulatedRegistry& registry_;
  std::shared_ptr<Watcher> watcher_;
};

class YOX_LOCAL SimulatedRegistry::SimulatedTracker final : public RegistryTracker {
 public:
  explicit SimulatedTracker(const SimulatedRegistry& registry) : registry_(registry) {}

  std::uint64_t Generation() override {
    return registry_.generation_.load(std::memory_order_acquire);
  }

 private:
  const SimulatedRegistry& registry_;
};

// Edits under way: what was changed, and how to undo it. Lives while the registry is locked.
class YOX_LOCAL SimulatedRegistry::Transaction {
 public:
  explicit Transaction(std::map<WString, Key>& keys) : keys_(keys) {}

  RegistryStatus Do(const RegistryEdit& edit, const WString& path) {
    const WString folded = FoldRegistryName(path);
    switch (edit.action) {
      case RegistryAction::kCreateKey:
        Create(path);
        return RegistryStatus::kOk;
      case RegistryAction::kDeleteKey:
        return IsRegistryRoot(edit.key) ? RegistryStatus::kInvalid : Delete(folded);
      case RegistryAction::kSetValue:
        return Set(folded, edit);
      case RegistryAction::kDeleteValue:
        return DeleteValue(folded, edit.name);
    }
    return RegistryStatus::kInvalid;
  }

  void Undo() {
    for (auto step = undo_.rbegin(); step != undo_.rend(); ++step) (*step)();
  }

  // With the keys' whole paths.
  const std::vector<RegistryChange>& changes() const { return changes_; }

 private:
  void Create(const WString& path) {
    for (std::size_t end = 0; end != WString::npos;) {
      end = path.find(kSeparator, end + 1);
      const WString name = path.substr(0, end);
      const auto [key, is_new] = keys_.try_emplace(FoldRegistryName(name));
      if (!is_new) continue;
      // The keys above keep the spelling they have.
      const std::size_t last = name.rfind(kSeparator);
      key->second.path = keys_.at(FoldRegistryName(name.substr(0, last))).path + name.substr(last);
      undo_.emplace_back([this, folded = key->first] { keys_.erase(folded); });
      changes_.push_back({RegistryAction::kCreateKey, key->second.path, {}});
    }
  }

  RegistryStatus Delete(const WString& folded) {
    const auto key = keys_.find(folded);
    if (key == keys_.end()) return RegistryStatus::kNotFound;
    changes_.push_back({RegistryAction::kDeleteKey, key->second.path, {}});
    auto gone = std::make_shared<std::map<WString, Key>>();
    gone->insert(keys_.extract(key));
    const WString below = folded + kFoldedSeparator;
    for (auto next = keys_.lower_bound(below);
         next != keys_.end() && next->first.starts_with(below);) {
      gone->insert(keys_.extract(next++));
    }
    undo_.emplace_back([this, gone] { keys_.merge(*gone); });
    return RegistryStatus::kOk;
  }

  RegistryStatus Set(const WString& folded, const RegistryEdit& edit) {
    const auto key = keys_.find(folded);
    if (key == keys_.end()) return RegistryStatus::kNotFound;
    auto& values = key->second.values;
    const auto [entry, is_new] = values.try_emplace(FoldRegistryName(edit.name));
    if (!is_new && entry->second.value == edit.value) return RegistryStatus::kOk;
    if (is_new) {
      entry->second.name = edit.name;
      undo_.emplace_back([&values, name = entry->first] { values.erase(name); });
    } else {
      undo_.emplace_back(
          [&values, name = entry->first, former = entry->second] { values.at(name) = former; });
    }
    entry->second.value = edit.value;
    changes_.push_back({RegistryAction::kSetValue, key->second.path, entry->second.name});
    return RegistryStatus::kOk;
  }

  RegistryStatus DeleteValue(const WString& folded, const WString& name) {
    const auto key = keys_.find(folded);
    if (key == keys_.end()) return RegistryStatus::kNotFound;
    auto& values = key->second.values;
    const auto entry = values.find(FoldRegistryName(name));
    if (entry == values.end()) return RegistryStatus::kNotFound;
    changes_.push_back({RegistryAction::kDeleteValue, key->second.path, entry->second.name});
    undo_.emplace_back([&values, former = *entry] { values.insert(former); });
    values.erase(entry);
    return RegistryStatus::kOk;
  }

  std::map<WString, Key>& keys_;
  std::vector<std::function<void()>> undo_;
  std::vector<RegistryChange> changes_;
};

SimulatedRegistry::SimulatedRegistry(const WString& own_user)
    : paths_(std::make_unique<RegistryPaths>(own_user)) {
  using namespace literals;
  for (const WStringView root : {"HKLM"_wv, "HKU"_wv}) {
    keys_[FoldRegistryName(root)].path = root;
  }
  SetOwnUser(own_user);
}

SimulatedRegistry::~SimulatedRegistry() = default;

void SimulatedRegistry::SetOwnUser(const WString& own_user) {
  paths_->SetOwnUser(own_user);
  WString path;
  paths_->Resolve({HKEY_CURRENT_USER, {}, {}, {}}, path);
  const MutexLock lock(mutex_);
  Transaction transaction(keys_);
  transaction.Do({RegistryAction::kCreateKey, {}, {}, {}}, path);
  generation_.fetch_add(1, std::memory_order_release);
}

void SimulatedRegistry::SetReadOnly(bool read_only) {
  const MutexLock lock(mutex_);
  read_only_ = read_only;
}

const SimulatedRegistry::Key* SimulatedRegistry::Find(const RegistryKey& key,
                                                      RegistryStatus& status) const {
  WString path;
  status = paths_->Resolve(key, path);
  if (status != RegistryStatus::kOk) return nullptr;
  const auto found = keys_.find(FoldRegistryName(path));
  if (found != keys_.end()) return &found->second;
  status = RegistryStatus::kNotFound;
  return nullptr;
}

RegistryStatus SimulatedRegistry::Open(const RegistryKey& key, std::uint32_t access, HKEY& opened) {
  const MutexLock lock(mutex_);
  RegistryStatus status{};
  const Key* const found = Find(key, status);
  if (found == nullptr) return status;
  if (read_only_ && AsksToWrite(access)) return RegistryStatus::kDenied;
  opened = paths_->OpenHandle(found->path);
  return RegistryStatus::kOk;
}

void SimulatedRegistry::Close(HKEY opened) { paths_->CloseHandle(opened); }

RegistryStatus SimulatedRegistry::Get(const RegistryKey& key, WStringView name,
                                      RegistryValue& value) {
  const MutexLock lock(mutex_);
  RegistryStatus status{};
  const Key* const found = Find(key, status);
  if (found == nullptr) return status;
  const auto entry = found->values.find(FoldRegistryName(name));
  if (entry == found->values.end()) return RegistryStatus::kNotFound;
  value = entry->second.value;
  return RegistryStatus::kOk;
}

RegistryStatus SimulatedRegistry::Values(const RegistryKey& key, std::vector<RegistryEntry>& values,
                                         std::size_t longest_name) {
  const MutexLock lock(mutex_);
  RegistryStatus status{};
  const Key* const found = Find(key, status);
  if (found == nullptr) return status;
  values.clear();
  for (const auto& [folded, entry] : found->values) {
    if (entry.name.size() <= longest_name) values.push_back(entry);
  }
  return RegistryStatus::kOk;
}

RegistryStatus SimulatedRegistry::SubKeys(const RegistryKey& key, std::vector<WString>& names) {
  const MutexLock lock(mutex_);
  RegistryStatus status{};
  const Key* const found = Find(key, status);
  if (found == nullptr) return status;
  names.clear();
  const WString below = FoldRegistryName(found->path) + kFoldedSeparator;
  for (auto next = keys_.lower_bound(below);
       next != keys_.end() && next->first.starts_with(below);) {
    names.push_back(next->second.path.substr(below.size()));
    // The next key that is not below this one.
    next = keys_.lower_bound(next->first + static_cast<WChar>(kFoldedSeparator + 1));
  }
  return RegistryStatus::kOk;
}

RegistryStatus SimulatedRegistry::Apply(std::span<const RegistryEdit> edits) {
  std::vector<RegistryChange> changes;
  std::vector<std::shared_ptr<Watcher>> watchers;
  {
    const MutexLock lock(mutex_);
    if (read_only_) return RegistryStatus::kDenied;
    Transaction transaction(keys_);
    for (const RegistryEdit& edit : edits) {
      WString path;
      RegistryStatus status = paths_->Resolve(edit.key, path);
      if (!IsRegistryValueName(edit.name)) status = RegistryStatus::kInvalid;
      if (status == RegistryStatus::kOk) status = transaction.Do(edit, path);
      if (status == RegistryStatus::kNotFound && edit.if_there) continue;
      if (status != RegistryStatus::kOk) {
        transaction.Undo();
        return status;
      }
    }
    changes = transaction.changes();
    if (!changes.empty()) {
      watchers = watchers_;
      generation_.fetch_add(1, std::memory_order_release);
    }
  }
  for (const std::shared_ptr<Watcher>& watcher : watchers) {
    const std::vector<RegistryChange> seen = ChangesBelow(changes, watcher->folded);
    if (seen.empty()) continue;
    const RecursiveMutexLock calling(watcher->calling);
    if (!watcher->ended) watcher->changed(seen);
  }
  return RegistryStatus::kOk;
}

RegistryStatus SimulatedRegistry::Watch(const RegistryKey& key, Changed changed,
                                        std::unique_ptr<RegistryWatch>& watch) {
  const MutexLock lock(mutex_);
  RegistryStatus status{};
  const Key* const found = Find(key, status);
  if (found == nullptr) return status;
  auto watcher =
      std::shared_ptr<Watcher>(new Watcher{FoldRegistryName(found->path), std::move(changed)});
  watchers_.push_back(watcher);
  watch = std::make_unique<SimulatedWatch>(*this, std::move(watcher));
  return RegistryStatus::kOk;
}

std::unique_ptr<RegistryTracker> SimulatedRegistry::Track(std::span<const RegistryKey>) {
  return std::make_unique<SimulatedTracker>(*this);
}

}  // namespace yox::platform
