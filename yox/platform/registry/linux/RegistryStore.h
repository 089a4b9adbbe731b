#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "yox/platform/files/linux/PrivateFolder.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/linux/CommitCounter.h"
#include "yox/platform/registry/linux/Database.h"
#include "yox/platform/registry/linux/ReadCache.h"

namespace yox::platform {

struct StoreEditing;

// A change as the store records it, with its number.
struct StoredChange {
  std::int64_t id = 0;
  RegistryChange change;  // with the whole path of the key
};

// One connection to the registry's database, with its prepared statements and what it read since
// the last commit of any process. Paths begin with "HKLM" or "HKU" (see RegistryPaths). Every
// failure is a DatabaseError or, from files beside the database, a std::system_error. One thread at
// a time.
class RegistryStore {
 public:
  static constexpr const char* kFile = "registry.db";
  // How many changes are recorded for watches that are slow to read them.
  static constexpr std::int64_t kRecordedChanges = 10'000;
  // The action that is recorded where a transaction makes more changes than that.
  static constexpr std::int64_t kTooManyChanges = -1;

  // Opens the store for writing; creates folder and files where they are missing.
  static std::unique_ptr<RegistryStore> Create(const std::filesystem::path& folder,
                                               std::chrono::milliseconds patience);
  // Opens the store for reading. Returns null when there is none, or one without content.
  static std::unique_ptr<RegistryStore> OpenExisting(const std::filesystem::path& folder,
                                                     std::chrono::milliseconds patience);
  ~RegistryStore();
  RegistryStore(const RegistryStore&) = delete;
  RegistryStore& operator=(const RegistryStore&) = delete;

  // A key's number, 0 when there is no such key.
  std::int64_t KeyId(const WString& path);
  // A value, std::nullopt when there is none. The reference is valid until the next call.
  const std::optional<RegistryValue>& Value(WString path, WStringView name);
  // The values of a key whose names are not longer.
  std::vector<RegistryEntry> Values(std::int64_t key, std::size_t longest_name);
  // The paths of the keys directly below a key.
  std::vector<WString> SubKeyPaths(std::int64_t key);

  // The number of the last recorded change, 0 when there is none.
  std::int64_t LastChange();
  // The changes after the one with this number, in their order; the first one is marked `lost` when
  // others before it are no longer recorded.
  std::vector<StoredChange> ChangesSince(std::int64_t seen);

  // Whether the connection may be kept for later operations: one that reads a database without its
  // locks may not.
  bool IsReusable() const { return !unlocked_state_; }
  // Throws when such a database was written since it was opened: what was read may be mixed.
  void CheckUnchanged() const;

  // Compared before every use of what the connection caches. May outlive the store.
  const std::shared_ptr<const CommitCounter>& commits() const { return commits_; }

  // For RegistryTransaction. Statements that write are prepared when they are first needed.
  Database& database() { return database_; }
  const PrivateFolder& folder() const { return folder_; }
  StoreEditing& editing();

 private:
  // What a write to the database changes, seen from outside.
  struct FileState {
    ino_t inode = 0;
    off_t size = 0;
    std::int64_t modified_seconds = 0;
    std::int64_t modified_nanoseconds = 0;  // of that second
    friend bool operator==(const FileState&, const FileState&) = default;
  };

  RegistryStore(PrivateFolder folder, Database database, std::optional<FileState> unlocked_state);

  static FileState StateOf(const PrivateFolder& folder);
  static std::unique_ptr<RegistryStore> OpenUnlocked(PrivateFolder folder,
                                                     const std::filesystem::path& file);
  template <class Result, class Read>
  const Result& Cached(ReadCache<Result>& cache, WString key, Read read);

  PrivateFolder folder_;
  Database database_;
  const std::optional<FileState> unlocked_state_;
  const std::shared_ptr<const CommitCounter> commits_;
  // The commits that are part of what the caches have; std::nullopt: drop it before the next use.
  std::optional<std::uint64_t> cached_commits_;
  ReadCache<std::int64_t> cached_keys_;
  ReadCache<std::optional<RegistryValue>> cached_values_;
  std::unique_ptr<StoreEditing> editing_;

  Statement get_key_ = database_.Prepare("SELECT id FROM key WHERE folded = ?");
  Statement get_value_ = database_.Prepare(
      "SELECT value.type, value.data FROM key JOIN value ON value.key = key.id"
      " WHERE key.folded = ? AND value.folded = ?");
  Statement list_values_ = database_.Prepare(
      "SELECT name, type, data FROM value WHERE key = ? AND length(name) <= ? ORDER BY folded");
  Statement list_keys_ = database_.Prepare("SELECT path FROM key WHERE parent = ? ORDER BY folded");
  Statement last_change_ = database_.Prepare("SELECT max(id) FROM change");
  Statement list_changes_ =
      database_.Prepare("SELECT id, action, key, name FROM change WHERE id > ? ORDER BY id");
};

}  // namespace yox::platform
