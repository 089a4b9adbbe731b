#include "yox/platform/registry/linux/RegistryStore.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

#include "yox/platform/registry/RegistryPaths.h"
#include "yox/platform/registry/linux/DatabaseError.h"
#include "yox/platform/registry/linux/StoreEditing.h"
#include "yox/platform/registry/linux/StoredText.h"

namespace yox::platform {
namespace {

namespace fs = std::filesystem;

// SQLite's write-ahead log, and the index of it that connections share.
constexpr const char* kLogFile = "registry.db-wal";
constexpr const char* kSharedMemoryFile = "registry.db-shm";

constexpr std::int64_t kFormat = 1;
// `path` is StoredText of a key's path, `folded` of its FoldRegistryName; `name` and the other
// `folded` is the same for a value's name.
constexpr const char* kSchema = R"(
  CREATE TABLE key(
    id INTEGER PRIMARY KEY,
    parent INTEGER NOT NULL,
    folded BLOB NOT NULL UNIQUE,
    path BLOB NOT NULL);
  CREATE INDEX key_parent ON key(parent, folded);
  CREATE TABLE value(
    id INTEGER PRIMARY KEY,
    key INTEGER NOT NULL,
    folded BLOB NOT NULL,
    name BLOB NOT NULL,
    type INTEGER NOT NULL,
    data BLOB NOT NULL,
    UNIQUE(key, folded));
  CREATE TABLE change(
    id INTEGER PRIMARY KEY,
    action INTEGER NOT NULL,
    key BLOB NOT NULL,
    name BLOB NOT NULL);
  PRAGMA user_version = 1;
)";

// A connection caches no longer value than this many bytes.
constexpr std::size_t kLongestCached = 4096;

// Returns whether there is such a file, and its state.
bool Stat(const PrivateFolder& folder, const char* name, struct stat& status) {
  if (fstatat(folder.descriptor(), name, &status, AT_SYMLINK_NOFOLLOW) == 0) return true;
  if (errno == ENOENT) return false;
  throw std::system_error(errno, std::generic_category(), (folder.path() / name).native());
}

// Whether commits are in the log that are not in the database yet.
bool HasLog(const PrivateFolder& folder) {
  struct stat status {};
  return Stat(folder, kLogFile, status) && status.st_size != 0;
}

// Whether files can be created in the folder; otherwise errno has the reason. AT_EACCESS: checks
// the effective user, as opening does.
bool IsWritable(const PrivateFolder& folder) {
  return faccessat(folder.descriptor(), ".", W_OK, AT_EACCESS) == 0;
}

// Takes the access to an existing file from other accounts, which a backup may have given them.
// Returns whether there is such a file. It is not opened: closing it would release the record locks
// that other connections of this process have on it.
bool MakePrivate(const PrivateFolder& folder, const char* name) {
  struct stat status {};
  const bool exists = Stat(folder, name, status);  // otherwise the mode is 0, of no regular file
  if (S_ISREG(status.st_mode) && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    fchmodat(folder.descriptor(), name, status.st_mode & S_IRWXU, AT_SYMLINK_NOFOLLOW);
  }
  return exists;
}

// Returns the version of the store's format, 0 for a file without content.
std::int64_t FormatOf(Database& database) {
  std::int64_t format = database.Number("PRAGMA user_version");
  if (format == 0) {
    // Both as of one moment: another process may be creating the tables.
    database.Run("BEGIN");
    const std::int64_t tables = database.Number("SELECT count(*) FROM sqlite_schema");
    format = database.Number("PRAGMA user_version");
    database.Run("COMMIT");
    if (format == 0 && tables != 0) {
      throw DatabaseError(DatabaseFault::kDamaged, "it is another program's database");
    }
  }
  if (format != 0 && format != kFormat) {
    throw DatabaseError(DatabaseFault::kLaterVersion, "its format is " + std::to_string(format) +
                                                          ", this version reads format " +
                                                          std::to_string(kFormat));
  }
  return format;
}

void MakeTables(const PrivateFolder& folder, Database& database) {
  // One process at a time: changing the journal's mode needs the database alone.
  const FileDescriptor lock = folder.OpenFile(CommitCounter::kFile, O_RDONLY);
  TEMP_FAILURE_RETRY(flock(lock.number(), LOCK_EX));
  if (FormatOf(database) != 0) return;
  database.Run("PRAGMA journal_mode = WAL");
  database.Run("BEGIN IMMEDIATE");
  database.Run(kSchema);
  database.Run("COMMIT");
}

RegistryType TypeOf(std::int64_t number) {
  return RegistryType{static_cast<std::uint32_t>(number)};
}

}  // namespace

std::unique_ptr<RegistryStore> RegistryStore::Create(const fs::path& path,
                                                     std::chrono::milliseconds patience) {
  if (path.empty())
    throw DatabaseError(DatabaseFault::kDenied, "this account has no folder for state");
  PrivateFolder folder = PrivateFolder::Create(path);
  if (!IsWritable(folder)) throw std::system_error(errno, std::generic_category(), path.native());
  for (const char* const name : {CommitCounter::kFile, kFile}) {
    if (!MakePrivate(folder, name)) folder.CreateFile(name);
  }
  for (const char* const name : {kLogFile, kSharedMemoryFile}) MakePrivate(folder, name);
  Database database(path / kFile, Database::Access::kShared, patience);
  if (FormatOf(database) == 0) MakeTables(folder, database);
  return std::unique_ptr<RegistryStore>(
      new RegistryStore(std::move(folder), std::move(database), std::nullopt));
}

std::unique_ptr<RegistryStore> RegistryStore::OpenExisting(const fs::path& path,
                                                           std::chrono::milliseconds patience) {
  struct stat status {};
  if (path.empty() || (stat(path.c_str(), &status) != 0 && errno == ENOENT)) return nullptr;
  const PrivateFolder folder(path);
  if (!Stat(folder, kFile, status)) return nullptr;
  const fs::path file = path / kFile;
  try {
    Database database(file, Database::Access::kShared, patience);
    if (FormatOf(database) == 0) return nullptr;
    return std::unique_ptr<RegistryStore>(
        new RegistryStore(PrivateFolder(path), std::move(database), std::nullopt));
  } catch (const DatabaseError&) {
    if (IsWritable(folder) || HasLog(folder)) throw;
  }
  return OpenUnlocked(PrivateFolder(path), file);
}

// SQLite's connections share an index of the log in a file, which they cannot create in a folder
// that is read-only. While the log is missing or empty, the database alone has everything.
std::unique_ptr<RegistryStore> RegistryStore::OpenUnlocked(PrivateFolder folder,
                                                           const fs::path& file) {
  const FileState state = StateOf(folder);
  Database database(file, Database::Access::kImmutable, {});
  if (FormatOf(database) == 0) return nullptr;
  return std::unique_ptr<RegistryStore>(
      new RegistryStore(std::move(folder), std::move(database), state));
}

RegistryStore::RegistryStore(PrivateFolder folder, Database database,
                             std::optional<FileState> unlocked_state)
    : folder_(std::move(folder)),
      database_(std::move(database)),
      unlocked_state_(unlocked_state),
      commits_(std::make_shared<const CommitCounter>(folder_)) {
  // What was committed outlives the process, and with NORMAL a power failure once the system has
  // written it.
  database_.Run("PRAGMA synchronous = NORMAL");
  // In KiB: enough for a look-up among very many keys to find the upper pages of the trees.
  database_.Run("PRAGMA cache_size = -16384");
}

RegistryStore::~RegistryStore() = default;

RegistryStore::FileState RegistryStore::StateOf(const PrivateFolder& folder) {
  struct stat status {};
  Stat(folder, kFile, status);
  return {status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

void RegistryStore::CheckUnchanged() const {
  if (!unlocked_state_) return;
  if (HasLog(folder_) || StateOf(folder_) != *unlocked_state_) {
    throw DatabaseError(DatabaseFault::kBusy,
                        "it changed while it was read from a read-only folder");
  }
}

template <class Result, class Read>
const Result& RegistryStore::Cached(ReadCache<Result>& cache, WString key, Read read) {
  const std::optional<std::uint64_t> commits = commits_->Count();
  if (!commits || commits != cached_commits_) {
    cached_keys_.Clear();
    cached_values_.Clear();
    // Asked after the number was read: see CommitCounter.
    cached_commits_ = commits && !commits_->IsCommitting() ? commits : std::nullopt;
  }
  return cache.Find(std::move(key), read);
}

std::int64_t RegistryStore::KeyId(const WString& path) {
  return Cached(cached_keys_, path, [this](WStringView asked) {
    const std::string folded = ToStored(FoldRegistryName(asked));
    get_key_.Bind(1, folded);
    const std::int64_t id = get_key_.Step() ? get_key_.Number(0) : 0;
    get_key_.Reset();
    return id;
  });
}

const std::optional<RegistryValue>& RegistryStore::Value(WString path, WStringView name) {
  // No path or name contains a zero.
  const std::size_t end = path.size();
  WString place = std::move(path);
  (place += WChar{0}) += name;
  const auto& found = Cached(cached_values_, std::move(place), [this, end](WStringView asked) {
    const std::string key = ToStored(FoldRegistryName(asked.substr(0, end)));
    const std::string folded = ToStored(FoldRegistryName(asked.substr(end + 1)));
    get_value_.Bind(1, key).Bind(2, folded);
    std::optional<RegistryValue> value;
    if (get_value_.Step()) {
      const std::string_view data = get_value_.Bytes(1);
      value = {TypeOf(get_value_.Number(0)), {data.begin(), data.end()}};
    }
    get_value_.Reset();
    return value;
  });
  if (found && found->data.size() > kLongestCached) cached_commits_.reset();
  return found;
}

std::vector<RegistryEntry> RegistryStore::Values(std::int64_t key, std::size_t longest_name) {
  std::vector<RegistryEntry> values;
  list_values_.Bind(1, key).Bind(2, static_cast<std::int64_t>(sizeof(WChar) * longest_name));
  while (list_values_.Step()) {
    const std::string_view data = list_values_.Bytes(2);
    values.push_back({FromStored(list_values_.Bytes(0)),
                      {TypeOf(list_values_.Number(1)), {data.begin(), data.end()}}});
  }
  return values;
}

std::vector<WString> RegistryStore::SubKeyPaths(std::int64_t key) {
  std::vector<WString> paths;
  list_keys_.Bind(1, key);
  while (list_keys_.Step()) paths.push_back(FromStored(list_keys_.Bytes(0)));
  return paths;
}

std::int64_t RegistryStore::LastChange() {
  last_change_.Step();  // there is one row always, with NULL for none
  const std::int64_t last = last_change_.Number(0);
  last_change_.Reset();
  return last;
}

std::vector<StoredChange> RegistryStore::ChangesSince(std::int64_t seen) {
  std::vector<StoredChange> changes;
  list_changes_.Bind(1, seen);
  while (list_changes_.Step()) {
    const std::int64_t action = list_changes_.Number(1);
    StoredChange stored{list_changes_.Number(0), {}};
    if (stored.id > seen + 1 && changes.empty()) {
      changes.push_back({stored.id - 1, {{}, {}, {}, true}});
    }
    stored.change.lost = action == kTooManyChanges;
    if (!stored.change.lost) stored.change.action = static_cast<RegistryAction>(action);
    stored.change.key = FromStored(list_changes_.Bytes(2));
    stored.change.name = FromStored(list_changes_.Bytes(3));
    changes.push_back(std::move(stored));
  }
  return changes;
}

StoreEditing& RegistryStore::editing() {
  if (editing_ == nullptr) editing_ = std::make_unique<StoreEditing>(database_);
  return *editing_;
}

}  // namespace yox::platform
