#include "yox/platform/registry/linux/LinuxRegistry.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "yox/base/String.h"
#include "yox/platform/registry/linux/CommitCounter.h"
#include "yox/platform/registry/linux/DatabaseError.h"
#include "yox/platform/registry/linux/DiskReserve.h"
#include "yox/platform/registry/linux/RegistryStore.h"
#include "yox/platform/registry/linux/RegistryTransaction.h"
#include "yox/platform/registry/linux/RegistryWatcher.h"

namespace yox::platform {
namespace {

// How many connections are kept for threads that read at the same time.
constexpr std::size_t kMostIdle = 16;

DatabaseError AsDatabaseError(const std::exception& error) {
  if (const auto* const of_store = dynamic_cast<const DatabaseError*>(&error)) return *of_store;
  if (const auto* const of_system = dynamic_cast<const std::system_error*>(&error)) {
    return DatabaseError(*of_system);
  }
  return DatabaseError(DatabaseFault::kOther, error.what());
}

bool OnlyDeletes(std::span<const RegistryEdit> edits) {
  return std::ranges::all_of(edits, [](const RegistryEdit& edit) {
    return edit.action == RegistryAction::kDeleteKey || edit.action == RegistryAction::kDeleteValue;
  });
}

}  // namespace

// What an operation is for the log and for a full disk.
struct LinuxRegistry::Operation {
  const char* name;
  const char* failure;          // "cannot be read"
  bool may_use_reserve = true;  // of the disk, see DiskReserve.h
};

// Leases a connection for one operation: an idle one, or a new one when all are in use.
class LinuxRegistry::Session {
 public:
  explicit Session(LinuxRegistry& registry) : registry_(registry) {}
  ~Session() {
    if (store_ == nullptr || !store_->IsReusable()) return;
    // A failed operation may have left a transaction open.
    if (std::uncaught_exceptions() > exceptions_) {
      ++registry_.connections_;
      return;
    }
    const MutexLock lock(registry_.mutex_);
    if (registry_.idle_.size() < kMostIdle) registry_.idle_.push_back(std::move(store_));
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Returns null where there is no store yet.
  RegistryStore* ForReading() {
    if (!HasStore()) {
      store_ = RegistryStore::OpenExisting(registry_.folder_(), registry_.patience_);
      ++registry_.connections_;
    }
    return store_.get();
  }
  RegistryStore& ForWriting() {
    if (!HasStore() || !store_->IsReusable()) {
      store_ = RegistryStore::Create(registry_.folder_(), registry_.patience_);
      ++registry_.connections_;
    }
    return *store_;
  }
  // Throws when what was read cannot be trusted.
  void Finish() const {
    if (store_ != nullptr) store_->CheckUnchanged();
  }

 private:
  bool HasStore() {
    if (store_ != nullptr) return true;
    const MutexLock lock(registry_.mutex_);
    if (registry_.idle_.empty()) return false;
    store_ = std::move(registry_.idle_.back());
    registry_.idle_.pop_back();
    return true;
  }

  LinuxRegistry& registry_;
  const int exceptions_ = std::uncaught_exceptions();
  std::unique_ptr<RegistryStore> store_;
};

class LinuxRegistry::LinuxWatch final : public RegistryWatch {
 public:
  LinuxWatch(std::shared_ptr<RegistryWatcher> watcher,
             std::shared_ptr<RegistryWatcher::Watch> watch)
      : watcher_(std::move(watcher)), watch_(std::move(watch)) {}
  ~LinuxWatch() override { watcher_->Remove(watch_); }

 private:
  std::shared_ptr<RegistryWatcher> watcher_;
  std::shared_ptr<RegistryWatcher::Watch> watch_;
};

class LinuxRegistry::LinuxTracker final : public RegistryTracker {
 public:
  explicit LinuxTracker(LinuxRegistry& registry) : registry_(registry) {}
  std::uint64_t Generation() override { return registry_.Generation(); }

 private:
  LinuxRegistry& registry_;
};

LinuxRegistry::LinuxRegistry(std::function<std::filesystem::path()> folder, WString own_user,
                             std::chrono::milliseconds patience)
    : folder_(std::move(folder)), patience_(patience), paths_(std::move(own_user)) {
  idle_.reserve(kMostIdle);
}

LinuxRegistry::~LinuxRegistry() = default;

WString LinuxRegistry::UserIdentifier(unsigned user) {
  return user == 0 ? WString() : "S-1-22-1-"_w + String::UTF8ToUTF16(std::to_string(user));
}

// Turns failures of the store into a status. Where the disk is full, tries again with the room of
// the reserve.
template <class Work>
RegistryStatus LinuxRegistry::Run(const Operation& operation, Work work) {
  for (;;) {
    try {
      Session session(*this);
      const RegistryStatus status = work(session);
      session.Finish();
      return status;
    } catch (const std::exception& error) {
      const bool full = AsDatabaseError(error).fault() == DatabaseFault::kFull;
      if (full && operation.may_use_reserve && ReleaseReserve()) continue;
      return Failed(operation, error);
    }
  }
}

RegistryStatus LinuxRegistry::Failed(const Operation& operation, const std::exception& error) {
  const DatabaseError failure = AsDatabaseError(error);
  const std::filesystem::path folder = folder_();
  const std::string place =
      folder.empty() ? "the registry" : "registry " + (folder / RegistryStore::kFile).native();
  ReportFailure(operation.name, place + " " + operation.failure + ": " + failure.what());
  const bool denied =
      failure.fault() == DatabaseFault::kDenied || failure.fault() == DatabaseFault::kReadOnly;
  return denied ? RegistryStatus::kDenied : RegistryStatus::kFailed;
}

bool LinuxRegistry::ReleaseReserve() try {
  has_reserve_ = false;
  return ReleaseDiskReserve(PrivateFolder(folder_()));
} catch (const std::system_error&) {
  return false;
}

// Where a key is.
struct LinuxRegistry::Place {
  WString path;
  RegistryStore* store = nullptr;  // null where there is no store
  std::int64_t key = 0;            // 0 for a hive without any key
};

RegistryStatus LinuxRegistry::Find(Session& session, const RegistryKey& key, Place& place) {
  const RegistryStatus status = paths_.Resolve(key, place.path);
  if (status != RegistryStatus::kOk) return status;
  place.store = session.ForReading();
  if (place.store != nullptr) place.key = place.store->KeyId(place.path);
  const bool found = place.key != 0 || paths_.IsHive(place.path);
  return found ? RegistryStatus::kOk : RegistryStatus::kNotFound;
}

RegistryStatus LinuxRegistry::Open(const RegistryKey& key, std::uint32_t access, HKEY& opened) {
  Operation operation{"LinuxRegistry::Open", "cannot be read"};
  return Run(operation, [&](Session& session) {
    Place place;
    const RegistryStatus status = Find(session, key, place);
    if (status != RegistryStatus::kOk) return status;
    if (AsksToWrite(access)) {
      operation.failure = "cannot be opened for writing";
      if (session.ForWriting().database().IsReadOnly())
        throw DatabaseError(DatabaseFault::kReadOnly);
    }
    opened = paths_.OpenHandle(std::move(place.path));
    return RegistryStatus::kOk;
  });
}

void LinuxRegistry::Close(HKEY opened) { paths_.CloseHandle(opened); }

RegistryStatus LinuxRegistry::Get(const RegistryKey& key, WStringView name, RegistryValue& value) {
  return Run({"LinuxRegistry::Get", "cannot be read"}, [&](Session& session) {
    WString path;
    const RegistryStatus status = paths_.Resolve(key, path);
    if (status != RegistryStatus::kOk) return status;
    RegistryStore* const store = session.ForReading();
    if (store == nullptr) return RegistryStatus::kNotFound;
    const std::optional<RegistryValue>& stored = store->Value(std::move(path), name);
    if (!stored) return RegistryStatus::kNotFound;
    value = *stored;
    return RegistryStatus::kOk;
  });
}

RegistryStatus LinuxRegistry::Values(const RegistryKey& key, std::vector<RegistryEntry>& values,
                                     std::size_t longest_name) {
  return Run({"LinuxRegistry::Values", "cannot be read"}, [&](Session& session) {
    Place place;
    const RegistryStatus status = Find(session, key, place);
    if (status != RegistryStatus::kOk) return status;
    std::vector<RegistryEntry> found;
    if (place.key != 0) found = place.store->Values(place.key, longest_name);
    values = std::move(found);
    return RegistryStatus::kOk;
  });
}

RegistryStatus LinuxRegistry::SubKeys(const RegistryKey& key, std::vector<WString>& names) {
  return Run({"LinuxRegistry::SubKeys", "cannot be read"}, [&](Session& session) {
    Place place;
    const RegistryStatus status = Find(session, key, place);
    if (status != RegistryStatus::kOk) return status;
    std::vector<WString> found;
    if (place.key != 0) found = place.store->SubKeyPaths(place.key);
    for (WString& name : found) name.erase(0, place.path.size() + 1);
    names = std::move(found);
    return RegistryStatus::kOk;
  });
}

RegistryStatus LinuxRegistry::Apply(std::span<const RegistryEdit> edits) {
  const Operation operation{"LinuxRegistry::Apply", "cannot be written", OnlyDeletes(edits)};
  return Run(operation, [&](Session& session) { return Write(session, edits); });
}

RegistryStatus LinuxRegistry::Write(Session& session, std::span<const RegistryEdit> edits) {
  const MutexLock lock(writing_);
  RegistryTransaction transaction(session.ForWriting());
  for (const RegistryEdit& edit : edits) {
    WString path;
    RegistryStatus status = paths_.Resolve(edit.key, path);
    if (!IsRegistryValueName(edit.name)) status = RegistryStatus::kInvalid;
    if (status == RegistryStatus::kOk) {
      if (paths_.IsHive(path)) transaction.CreateKey(path);
      status = transaction.Do(edit, path);
    }
    if (status == RegistryStatus::kNotFound && edit.if_there) continue;
    if (status != RegistryStatus::kOk) return status;
  }
  transaction.Commit();
  if (!has_reserve_) has_reserve_ = FillDiskReserve(session.ForWriting().folder());
  return RegistryStatus::kOk;
}

std::shared_ptr<RegistryWatcher> LinuxRegistry::SharedWatcher() {
  const MutexLock lock(mutex_);
  std::shared_ptr<RegistryWatcher> watcher = watcher_.lock();
  if (watcher == nullptr) {
    const auto failed = [this](const std::exception& error) {
      Failed({"LinuxRegistry::Watch", "cannot be read"}, error);
    };
    watcher = std::make_shared<RegistryWatcher>(folder_(), patience_, failed);
    watcher_ = watcher;
  }
  return watcher;
}

RegistryStatus LinuxRegistry::Watch(const RegistryKey& key, Changed changed,
                                    std::unique_ptr<RegistryWatch>& watch) {
  Operation operation{"LinuxRegistry::Watch", "cannot be read"};
  return Run(operation, [&](Session& session) {
    Place place;
    RegistryStatus status = Find(session, key, place);
    if (status != RegistryStatus::kOk) return status;
    operation.failure = "cannot be watched";
    std::shared_ptr<RegistryWatcher> watcher = SharedWatcher();
    auto watched = std::make_shared<RegistryWatcher::Watch>();
    watched->folded = FoldRegistryName(place.path);
    watched->changed = changed;
    RegistryStore* const store = session.ForReading();
    if (store == nullptr) return RegistryStatus::kFailed;  // the watcher has just made it
    watched->seen = store->LastChange();
    // Again: a deletion before LastChange would not be reported.
    status = Find(session, key, place);
    if (status != RegistryStatus::kOk) return status;
    watcher->Add(watched);
    watch = std::make_unique<LinuxWatch>(std::move(watcher), std::move(watched));
    return RegistryStatus::kOk;
  });
}

std::unique_ptr<RegistryTracker> LinuxRegistry::Track(std::span<const RegistryKey>) {
  return std::make_unique<LinuxTracker>(*this);
}

std::uint64_t LinuxRegistry::Generation() {
  const std::uint64_t generation =
      generation_.Get(connections_, [this] { return commits_.Load(); });
  return generation != 0 ? generation : GenerationByCall();
}

// Where the count is not in memory, or another one.
std::uint64_t LinuxRegistry::GenerationByCall() {
  {
    const MutexLock lock(settling_);
    if (settled_.counter != nullptr && settled_.connections == connections_ &&
        settled_.counter->Count() == settled_.commits) {
      return settled_.generation;
    }
  }
  return Settle();
}

std::uint64_t LinuxRegistry::Settle() try {
  Session session(*this);
  RegistryStore* const store = session.ForReading();
  if (store == nullptr || !store->IsReusable()) return 0;
  const MutexLock lock(settling_);
  Settled next;
  next.connections = connections_;
  next.counter = store->commits();
  const std::optional<std::uint64_t> commits = next.counter->Count();
  // Asked after the number was read: see CommitCounter.
  if (!commits || next.counter->IsCommitting()) return 0;
  next.commits = *commits;
  next.generation = settled_.generation + 1;
  settled_ = next;
  generation_.Set(next.generation, next.connections, next.commits,
                  [&] { next.counter->MapTo(commits_); });
  return next.generation;
} catch (const std::exception&) {
  return 0;  // Get reports the failure
}

}  // namespace yox::platform
