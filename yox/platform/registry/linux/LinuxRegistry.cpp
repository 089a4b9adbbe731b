#include "yox/platform/registry/linux/LinuxRegistry.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <exception>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>

#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/platform/registry/linux/Database.h"

namespace yox::platform {
namespace {

constexpr WChar kSeparator = '\\';
constexpr const char* kStoreFile = "registry.db";
// Every writer opens it before it commits and closes it afterwards.
constexpr const char* kWakeFile = "registry.changed";
constexpr const char* kCountFile = "registry.count";
constexpr std::int64_t kSchemaVersion = 1;
// How many changes are remembered for watchers that were not quick enough.
constexpr std::int64_t kKeptChanges = 10'000;
// How many connections are kept for the next who read at once.
constexpr std::size_t kMostIdle = 16;
// How many answers a connection remembers, and how long, in bytes, a value may be to be one.
constexpr std::size_t kMostRecent = 256;
constexpr std::size_t kLongestRecent = 4096;
// In the log: more changed at once than is remembered.
constexpr std::int64_t kLost = -1;

// Names and keys are UTF-16 code units, big endian, so that bytes sort as code units do; `folded`
// is FoldRegistryName of the whole key or of the value's name.
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

std::string ToBytes(WStringView text) {
  std::string bytes;
  bytes.reserve(2 * text.size());
  for (const WChar unit : text) {
    bytes += static_cast<char>(unit >> 8);
    bytes += static_cast<char>(unit & 0xFF);
  }
  return bytes;
}

WString FromBytes(std::string_view bytes) {
  WString text(bytes.size() / 2, WChar{});
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto high = static_cast<unsigned char>(bytes[2 * i]);
    const auto low = static_cast<unsigned char>(bytes[2 * i + 1]);
    text[i] = static_cast<WChar>((high << 8) | low);
  }
  return text;
}

std::string_view AsText(const std::vector<std::uint8_t>& data) {
  return {reinterpret_cast<const char*>(data.data()), data.size()};
}

std::vector<std::uint8_t> AsData(std::string_view bytes) { return {bytes.begin(), bytes.end()}; }

class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }

  int number() const { return number_; }

  // Throws when the call that gave it failed.
  Descriptor&& Checked(const char* what) && {
    if (number_ < 0) {
      throw DatabaseError(std::string(what) + ": " + std::generic_category().message(errno),
                          errno == EACCES || errno == EPERM || errno == EROFS);
    }
    return std::move(*this);
  }

 private:
  int number_;
};

Descriptor OpenWakeFile(const std::filesystem::path& folder, int flags) {
  const std::filesystem::path file = folder / kWakeFile;
  return Descriptor(open(file.c_str(), flags | O_CLOEXEC | O_NOFOLLOW)).Checked(file.c_str());
}

void MakePrivateFolder(const std::filesystem::path& folder) {
  if (mkdir(folder.c_str(), S_IRWXU) == 0 || errno == EEXIST) return;
  std::error_code ignored;
  std::filesystem::create_directories(folder.parent_path(), ignored);
  if (mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
    Descriptor().Checked(folder.c_str());
  }
}

// Makes an empty file that only this account can open. An existing one loses what access others
// have, for it may have come from a backup; it is not opened, since closing it again would drop
// the locks that SQLite holds on it in this process.
void MakePrivateFile(const std::filesystem::path& file) {
  const Descriptor made(
      open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
  if (made.number() >= 0) return;
  struct stat status {};
  if (errno != EEXIST || lstat(file.c_str(), &status) != 0) Descriptor().Checked(file.c_str());
  if (S_ISREG(status.st_mode) && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    chmod(file.c_str(), status.st_mode & S_IRWXU);
  }
}

struct StoredChange {
  std::int64_t id = 0;
  RegistryChange change;
};

// Counts the commits of all processes in a word that they share: odd while one is under way, and
// when its writer was killed over it until the next is made.
class CommitCount {
 public:
  // Makes the file where it is missing; one process at a time.
  static void Make(const std::filesystem::path& folder) {
    const std::filesystem::path file = folder / kCountFile;
    MakePrivateFile(file);
    const Descriptor opened(open(file.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
    struct stat status {};
    // Where nothing can be written, nothing has to be counted.
    if (fstat(opened.number(), &status) != 0 || status.st_size != 0) return;
    constexpr Word kNone{0};
    if (pwrite(opened.number(), &kNone, sizeof kNone, 0) != ssize_t{sizeof kNone}) {
      Descriptor().Checked(file.c_str());
    }
  }

  explicit CommitCount(const std::filesystem::path& folder) {
    const Descriptor opened(open((folder / kCountFile).c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
    struct stat status {};
    if (fstat(opened.number(), &status) != 0 || status.st_size < ssize_t{sizeof(Word)}) return;
    void* const shared =
        mmap(nullptr, sizeof(Word), PROT_READ | PROT_WRITE, MAP_SHARED, opened.number(), 0);
    if (shared != MAP_FAILED) word_ = static_cast<Word*>(shared);
  }
  ~CommitCount() {
    if (word_ != nullptr) munmap(word_, sizeof(Word));
  }
  CommitCount(const CommitCount&) = delete;
  CommitCount& operator=(const CommitCount&) = delete;

  bool IsThere() const { return word_ != nullptr; }
  // Nothing while it cannot be told: what is read now may be of before or after a commit.
  std::optional<std::uint64_t> Now() const {
    if (word_ == nullptr) return std::nullopt;
    const std::uint64_t count = word_->load();
    return count % 2 == 0 ? std::optional(count) : std::nullopt;
  }

  // A commit: made while the database is held, and ended when it is done.
  class Commit {
   public:
    explicit Commit(const CommitCount& count) : word_(*count.word_), odd_(word_.load()) {
      std::uint64_t former = odd_;
      do {
        odd_ = former + 1 + former % 2;
      } while (!word_.compare_exchange_weak(former, odd_));
    }
    // Unless the next has begun.
    ~Commit() { word_.compare_exchange_strong(odd_, odd_ + 1); }
    Commit(const Commit&) = delete;
    Commit& operator=(const Commit&) = delete;

   private:
    std::atomic<std::uint64_t>& word_;
    std::uint64_t odd_;
  };

 private:
  using Word = std::atomic<std::uint64_t>;
  static_assert(Word::is_always_lock_free, "shared by processes");

  Word* word_ = nullptr;
};

// What was read since the last commit, by what was asked for.
template <class Answer>
class Recent {
 public:
  template <class Read>
  const Answer& Find(std::string asked, Read read) {
    const auto known = answers_.find(asked);
    if (known != answers_.end()) return known->second;
    if (answers_.size() >= kMostRecent) answers_.clear();
    return answers_.emplace(std::move(asked), read()).first->second;
  }
  void Clear() { answers_.clear(); }

 private:
  std::unordered_map<std::string, Answer> answers_;
};

}  // namespace

// One connection to the database, with its statements. One thread at a time.
class LinuxRegistry::Store {
 public:
  // Creates the store where it is missing.
  static std::unique_ptr<Store> Create(const std::filesystem::path& folder) {
    if (folder.empty()) throw DatabaseError("no folder for it", true);
    MakePrivateFolder(folder);
    MakePrivateFile(folder / kWakeFile);
    MakePrivateFile(folder / kStoreFile);
    const Descriptor wake = OpenWakeFile(folder, O_RDONLY);
    // One process at a time makes what follows.
    while (flock(wake.number(), LOCK_EX) != 0 && errno == EINTR) {
    }
    CommitCount::Make(folder);
    Database database(folder / kStoreFile);
    if (Version(database) == 0) {
      database.Run("PRAGMA journal_mode = WAL");
      database.Run("BEGIN IMMEDIATE");
      database.Run(kSchema);
      database.Run("COMMIT");
    }
    return std::make_unique<Store>(folder, std::move(database));
  }

  // Null where there is no store yet.
  static std::unique_ptr<Store> OpenExisting(const std::filesystem::path& folder) {
    if (folder.empty()) return nullptr;
    struct stat status {};
    if (stat((folder / kStoreFile).c_str(), &status) != 0) {
      if (errno == EACCES || errno == EPERM) Descriptor().Checked(folder.c_str());
      return nullptr;
    }
    Database database(folder / kStoreFile);
    if (Version(database) == 0) return nullptr;
    return std::make_unique<Store>(folder, std::move(database));
  }

  Store(const std::filesystem::path& folder, Database opened)
      : folder_(folder), database_(std::move(opened)), commits_(folder) {
    // A commit outlives its process at once, and a power failure once the system has written it.
    database_.Run("PRAGMA synchronous = NORMAL");
    // As much of it, in KiB, as keeps a look-up's cost the same among very many keys.
    database_.Run("PRAGMA cache_size = -16384");
  }

  const std::filesystem::path& folder() const { return folder_; }
  Database& database() { return database_; }

  // 0 when there is no such key.
  std::int64_t KeyId(const std::string& folded) {
    return Remembered(keys_, folded, [&] {
      find_key_.Bind(1, folded);
      const std::int64_t id = find_key_.Step() ? find_key_.Number(0) : 0;
      find_key_.Reset();
      return id;
    });
  }

  // Nothing when there is no such value.
  const std::optional<RegistryValue>& Value(const std::string& key, const std::string& name) {
    const auto& found = Remembered(values_, std::to_string(key.size()) + ":" + key + name, [&] {
      get_value_.Bind(1, key).Bind(2, name);
      std::optional<RegistryValue> value;
      if (get_value_.Step()) value = {Type(get_value_.Number(0)), AsData(get_value_.Bytes(1))};
      get_value_.Reset();
      return value;
    });
    if (found && found->data.size() > kLongestRecent) remembered_.reset();
    return found;
  }

  // Without it others would not learn of a commit.
  bool CountsCommits() const { return commits_.IsThere(); }

  std::vector<RegistryEntry> Values(std::int64_t key, std::size_t longest_name) {
    std::vector<RegistryEntry> values;
    list_values_.Bind(1, key).Bind(2, static_cast<std::int64_t>(2 * longest_name));
    while (list_values_.Step()) {
      values.push_back({FromBytes(list_values_.Bytes(0)),
                        {Type(list_values_.Number(1)), AsData(list_values_.Bytes(2))}});
    }
    list_values_.Reset();
    return values;
  }

  std::vector<WString> SubKeyPaths(std::int64_t key) {
    std::vector<WString> paths;
    list_keys_.Bind(1, key);
    while (list_keys_.Step()) paths.push_back(FromBytes(list_keys_.Bytes(0)));
    list_keys_.Reset();
    return paths;
  }

  std::int64_t LastChange() { return Single(last_change_); }

  // Behind the change with this number, in order.
  std::vector<StoredChange> ChangesSince(std::int64_t seen) {
    std::vector<StoredChange> changes;
    list_changes_.Bind(1, seen);
    while (list_changes_.Step()) {
      const std::int64_t action = list_changes_.Number(1);
      StoredChange stored{list_changes_.Number(0), {}};
      if (stored.id > seen + 1 && changes.empty()) {
        changes.push_back({stored.id - 1, {{}, {}, {}, true}});
      }
      stored.change.lost = action == kLost;
      if (!stored.change.lost) stored.change.action = static_cast<RegistryAction>(action);
      stored.change.key = FromBytes(list_changes_.Bytes(2));
      stored.change.name = FromBytes(list_changes_.Bytes(3));
      changes.push_back(std::move(stored));
    }
    list_changes_.Reset();
    return changes;
  }

 private:
  friend class Transaction;

  static std::int64_t Version(Database& database) {
    const std::int64_t version = database.Number("PRAGMA user_version");
    if (version > kSchemaVersion) {
      throw DatabaseError("made by a later version of this software", false);
    }
    return version;
  }

  static RegistryType Type(std::int64_t number) {
    return RegistryType{static_cast<std::uint32_t>(number)};
  }

  static std::int64_t Single(Statement& statement) {
    const std::int64_t number = statement.Step() ? statement.Number(0) : 0;
    statement.Reset();
    return number;
  }

  template <class Answer, class Read>
  const Answer& Remembered(Recent<Answer>& answers, std::string asked, Read read) {
    const std::optional<std::uint64_t> now = commits_.Now();
    if (!now || now != remembered_) {
      keys_.Clear();
      values_.Clear();
      remembered_ = now;
    }
    const Answer& answer = answers.Find(std::move(asked), read);
    if (commits_.Now() != remembered_) remembered_.reset();
    return answer;
  }

  std::filesystem::path folder_;
  Database database_;
  CommitCount commits_;
  std::optional<std::uint64_t> remembered_;  // the commits before what the two that follow hold
  Recent<std::int64_t> keys_;
  Recent<std::optional<RegistryValue>> values_;

  Statement find_key_ = database_.Prepare("SELECT id, path FROM key WHERE folded = ?");
  Statement get_value_ = database_.Prepare(
      "SELECT value.type, value.data FROM key JOIN value ON value.key = key.id"
      " WHERE key.folded = ? AND value.folded = ?");
  Statement list_values_ = database_.Prepare(
      "SELECT name, type, data FROM value WHERE key = ? AND length(name) <= ? ORDER BY folded");
  Statement list_keys_ = database_.Prepare("SELECT path FROM key WHERE parent = ? ORDER BY folded");
  Statement last_change_ = database_.Prepare("SELECT max(id) FROM change");
  Statement list_changes_ =
      database_.Prepare("SELECT id, action, key, name FROM change WHERE id > ? ORDER BY id");

  Statement add_key_ =
      database_.Prepare("INSERT INTO key(parent, folded, path) VALUES(?, ?, ?) RETURNING id");
  Statement delete_values_below_ = database_.Prepare(
      "DELETE FROM value WHERE key IN"
      " (SELECT id FROM key WHERE folded = ?1 OR (folded >= ?2 AND folded < ?3))");
  Statement delete_keys_below_ =
      database_.Prepare("DELETE FROM key WHERE folded = ?1 OR (folded >= ?2 AND folded < ?3)");
  Statement find_value_ =
      database_.Prepare("SELECT id, name, type, data FROM value WHERE key = ? AND folded = ?");
  Statement add_value_ =
      database_.Prepare("INSERT INTO value(key, folded, name, type, data) VALUES(?, ?, ?, ?, ?)");
  Statement set_value_ = database_.Prepare("UPDATE value SET type = ?2, data = ?3 WHERE id = ?1");
  Statement delete_value_ = database_.Prepare("DELETE FROM value WHERE id = ?");
  Statement add_change_ =
      database_.Prepare("INSERT INTO change(action, key, name) VALUES(?, ?, ?)");
  Statement forget_changes_ =
      database_.Prepare("DELETE FROM change WHERE id <= (SELECT max(id) FROM change) - ?");
};

// Edits under way: taken back unless committed.
class LinuxRegistry::Transaction {
 public:
  explicit Transaction(Store& store) : store_(store) { store_.database_.Run("BEGIN IMMEDIATE"); }

  ~Transaction() {
    if (committed_) return;
    try {
      store_.database_.Run("ROLLBACK");
    } catch (const DatabaseError&) {
      // Some errors have already rolled back.
    }
  }

  RegistryStatus Do(const RegistryEdit& edit, const WString& path) {
    switch (edit.action) {
      case RegistryAction::kCreateKey:
        CreateKey(path);
        return RegistryStatus::kOk;
      case RegistryAction::kDeleteKey:
        return IsRegistryRoot(edit.key) ? RegistryStatus::kInvalid : DeleteKey(path);
      case RegistryAction::kSetValue:
        return SetValue(path, edit);
      case RegistryAction::kDeleteValue:
        return DeleteValue(path, edit.name);
    }
    return RegistryStatus::kInvalid;
  }

  void CreateKey(const WString& path) {
    Key above;
    for (std::size_t end = 0; end != WString::npos;) {
      end = path.find(kSeparator, end + 1);
      const WString name = path.substr(0, end);
      const std::string folded = ToBytes(FoldRegistryName(name));
      Key key = Find(folded);
      if (key.id == 0) {
        // The keys above keep the spelling they have.
        const std::size_t last = name.rfind(kSeparator);
        const WString stored =
            last == WString::npos ? name : FromBytes(above.path) + name.substr(last);
        key.path = ToBytes(stored);
        Statement& add = store_.add_key_;
        add.Bind(1, above.id).Bind(2, folded).Bind(3, key.path).Step();
        key.id = add.Number(0);
        add.Run();
        Changed(RegistryAction::kCreateKey, key.path, {});
      }
      above = std::move(key);
    }
  }

  void Commit() {
    if (changes_.empty()) return;
    // Closed by the kernel if this process dies: watchers are told either way.
    const Descriptor wake = OpenWakeFile(store_.folder_, O_WRONLY);
    if (std::ssize(changes_) > kKeptChanges) {
      store_.add_change_.Bind(1, kLost).Bind(2, {}).Bind(3, {}).Run();
    } else {
      for (const Change& change : changes_) {
        const auto action = static_cast<std::int64_t>(change.action);
        store_.add_change_.Bind(1, action).Bind(2, change.key).Bind(3, change.name).Run();
      }
    }
    store_.forget_changes_.Bind(1, kKeptChanges).Run();
    const CommitCount::Commit commit(store_.commits_);  // ended before watchers are told
    store_.database_.Run("COMMIT");
    committed_ = true;
  }

 private:
  struct Key {
    std::int64_t id = 0;
    std::string path;
  };
  struct Change {
    RegistryAction action;
    std::string key;
    std::string name;
  };

  void Changed(RegistryAction action, std::string key, std::string name) {
    changes_.push_back({action, std::move(key), std::move(name)});
  }

  Key Find(std::string_view folded) {
    Statement& find = store_.find_key_;
    Key key;
    if (find.Bind(1, folded).Step()) key = {find.Number(0), std::string(find.Bytes(1))};
    find.Reset();
    return key;
  }

  RegistryStatus DeleteKey(const WString& path) {
    const WString name = FoldRegistryName(path);
    const std::string folded = ToBytes(name);
    const std::string first = ToBytes(name + kFoldedSeparator);
    const std::string behind = ToBytes(name + static_cast<WChar>(kFoldedSeparator + 1));
    Key key = Find(folded);
    if (key.id == 0) return RegistryStatus::kNotFound;
    for (Statement* const all : {&store_.delete_values_below_, &store_.delete_keys_below_}) {
      all->Bind(1, folded).Bind(2, first).Bind(3, behind).Run();
    }
    Changed(RegistryAction::kDeleteKey, std::move(key.path), {});
    return RegistryStatus::kOk;
  }

  RegistryStatus SetValue(const WString& path, const RegistryEdit& edit) {
    Key key = Find(ToBytes(FoldRegistryName(path)));
    if (key.id == 0) return RegistryStatus::kNotFound;
    const std::string folded = ToBytes(FoldRegistryName(edit.name));
    const auto type = static_cast<std::int64_t>(edit.value.type);
    const std::string_view data = AsText(edit.value.data);
    Statement& find = store_.find_value_;
    std::string name;
    if (find.Bind(1, key.id).Bind(2, folded).Step()) {
      const bool same = find.Number(2) == type && find.Bytes(3) == data;
      const std::int64_t id = find.Number(0);
      name = find.Bytes(1);
      find.Reset();
      if (same) return RegistryStatus::kOk;
      store_.set_value_.Bind(1, id).Bind(2, type).Bind(3, data).Run();
    } else {
      find.Reset();
      name = ToBytes(edit.name);
      Statement& add = store_.add_value_;
      add.Bind(1, key.id).Bind(2, folded).Bind(3, name).Bind(4, type).Bind(5, data).Run();
    }
    Changed(RegistryAction::kSetValue, std::move(key.path), std::move(name));
    return RegistryStatus::kOk;
  }

  RegistryStatus DeleteValue(const WString& path, const WString& name) {
    Key key = Find(ToBytes(FoldRegistryName(path)));
    if (key.id == 0) return RegistryStatus::kNotFound;
    const std::string folded = ToBytes(FoldRegistryName(name));
    Statement& find = store_.find_value_;
    if (!find.Bind(1, key.id).Bind(2, folded).Step()) return RegistryStatus::kNotFound;
    const std::int64_t id = find.Number(0);
    std::string stored(find.Bytes(1));
    find.Reset();
    store_.delete_value_.Bind(1, id).Run();
    Changed(RegistryAction::kDeleteValue, std::move(key.path), std::move(stored));
    return RegistryStatus::kOk;
  }

  Store& store_;
  std::vector<Change> changes_;
  bool committed_ = false;
};

// The thread that waits for changes on behalf of all watches.
class LinuxRegistry::Watcher {
 public:
  struct Watch {
    WString folded;
    Changed changed;
    std::int64_t seen = 0;  // the last change it was told of; only the thread writes it

    std::mutex calling;
    bool ended = false;  // guarded by calling
  };

  explicit Watcher(const std::filesystem::path& folder)
      : inotify_(Descriptor(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)).Checked("inotify")),
        poke_(Descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)).Checked("eventfd")),
        store_(Store::Create(folder)) {
    const std::filesystem::path file = folder / kWakeFile;
    if (inotify_add_watch(inotify_.number(), file.c_str(), IN_CLOSE_WRITE) < 0) {
      Descriptor().Checked(file.c_str());
    }
    thread_ = std::thread([this] { Run(); });
  }

  ~Watcher() {
    {
      const std::lock_guard lock(mutex_);
      ending_ = true;
    }
    Poke();
    thread_.join();
  }

  void Add(std::shared_ptr<Watch> watch) {
    {
      const std::lock_guard lock(mutex_);
      watches_.push_back(std::move(watch));
    }
    // What was written since the caller looked may have been read past already.
    Poke();
  }

  void Remove(const std::shared_ptr<Watch>& watch) {
    {
      const std::lock_guard lock(mutex_);
      std::erase(watches_, watch);
    }
    const std::lock_guard lock(watch->calling);
    watch->ended = true;
  }

 private:
  void Poke() { eventfd_write(poke_.number(), 1); }

  void Run() {
    std::array<pollfd, 2> sources{{{inotify_.number(), POLLIN, 0}, {poke_.number(), POLLIN, 0}}};
    for (;;) {
      poll(sources.data(), sources.size(), -1);
      Drain();
      std::vector<std::shared_ptr<Watch>> watches;
      {
        const std::lock_guard lock(mutex_);
        if (ending_) return;
        watches = watches_;
      }
      try {
        Report(watches);
      } catch (const DatabaseError& error) {
        g_log.e("%s registry changes cannot be read: %s", "LinuxRegistry::Watch", error.what());
      }
    }
  }

  void Drain() {
    alignas(inotify_event) std::array<char, 4096> events;
    while (read(inotify_.number(), events.data(), events.size()) > 0) {
    }
    eventfd_t count = 0;
    eventfd_read(poke_.number(), &count);
  }

  void Report(const std::vector<std::shared_ptr<Watch>>& watches) {
    if (watches.empty()) return;
    const auto oldest = std::ranges::min_element(
        watches, {}, [](const std::shared_ptr<Watch>& watch) { return watch->seen; });
    const std::vector<StoredChange> changes = store_->ChangesSince((*oldest)->seen);
    for (const std::shared_ptr<Watch>& watch : watches) {
      std::vector<RegistryChange> unseen;
      for (const StoredChange& stored : changes) {
        if (stored.id > watch->seen) unseen.push_back(stored.change);
      }
      if (!changes.empty()) watch->seen = std::max(watch->seen, changes.back().id);
      const std::vector<RegistryChange> below = ChangesBelow(unseen, watch->folded);
      if (below.empty()) continue;
      const std::lock_guard lock(watch->calling);
      if (!watch->ended) watch->changed(below);
    }
  }

  const Descriptor inotify_;
  const Descriptor poke_;
  const std::unique_ptr<Store> store_;  // the thread's own
  std::mutex mutex_;
  // Guarded by mutex_.
  std::vector<std::shared_ptr<Watch>> watches_;
  bool ending_ = false;
  std::thread thread_;
};

class LinuxRegistry::LinuxWatch final : public RegistryWatch {
 public:
  LinuxWatch(std::shared_ptr<Watcher> watcher, std::shared_ptr<Watcher::Watch> watch)
      : watcher_(std::move(watcher)), watch_(std::move(watch)) {}
  ~LinuxWatch() override { watcher_->Remove(watch_); }

 private:
  std::shared_ptr<Watcher> watcher_;
  std::shared_ptr<Watcher::Watch> watch_;
};

LinuxRegistry::LinuxRegistry(std::function<std::filesystem::path()> folder, WString own_user)
    : folder_(std::move(folder)), paths_(std::move(own_user)) {
  idle_.reserve(kMostIdle);
}

LinuxRegistry::~LinuxRegistry() = default;

WString LinuxRegistry::UserIdentifier(unsigned user) {
  return user == 0 ? WString() : "S-1-22-1-"_w + String::UTF8ToUTF16(std::to_string(user));
}

// One operation's connection: an idle one, or a new one where all are in use.
class LinuxRegistry::Session {
 public:
  explicit Session(LinuxRegistry& registry) : registry_(registry) {}
  ~Session() {
    // An operation that failed may have left something in it.
    if (store_ == nullptr || std::uncaught_exceptions() > exceptions_) return;
    const std::lock_guard lock(registry_.mutex_);
    if (registry_.idle_.size() < kMostIdle) registry_.idle_.push_back(std::move(store_));
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Null where there is no store yet.
  Store* ForReading() {
    if (!HasStore()) store_ = Store::OpenExisting(registry_.folder_());
    return store_.get();
  }
  Store& ForWriting() {
    if (!HasStore() || !store_->CountsCommits()) store_ = Store::Create(registry_.folder_());
    if (!store_->CountsCommits()) {
      throw DatabaseError("commits cannot be counted", store_->database().IsReadOnly());
    }
    return *store_;
  }

 private:
  bool HasStore() {
    if (store_ != nullptr) return true;
    const std::lock_guard lock(registry_.mutex_);
    if (registry_.idle_.empty()) return false;
    store_ = std::move(registry_.idle_.back());
    registry_.idle_.pop_back();
    return true;
  }

  LinuxRegistry& registry_;
  const int exceptions_ = std::uncaught_exceptions();
  std::unique_ptr<Store> store_;
};

template <class Operation>
RegistryStatus LinuxRegistry::Guarded(const char* name, Operation operation) {
  try {
    Session session(*this);
    return operation(session);
  } catch (const DatabaseError& error) {
    g_log.e("%s registry store in %s: %s", name, folder_().native(), error.what());
    return error.denied() ? RegistryStatus::kDenied : RegistryStatus::kFailed;
  }
}

// Where a key is in the store, which is null while it does not exist; the key's number is 0 for a
// hive that nothing was written to.
struct LinuxRegistry::Place {
  WString path;
  std::string folded;
  Store* store = nullptr;
  std::int64_t key = 0;
};

RegistryStatus LinuxRegistry::Find(Session& session, const RegistryKey& key, Place& place) {
  const RegistryStatus status = paths_.Resolve(key, place.path);
  if (status != RegistryStatus::kOk) return status;
  place.folded = ToBytes(FoldRegistryName(place.path));
  place.store = session.ForReading();
  if (place.store != nullptr) place.key = place.store->KeyId(place.folded);
  const bool found = place.key != 0 || paths_.IsHive(place.path);
  return found ? RegistryStatus::kOk : RegistryStatus::kNotFound;
}

RegistryStatus LinuxRegistry::Open(const RegistryKey& key, std::uint32_t access, HKEY& opened) {
  return Guarded("LinuxRegistry::Open", [&](Session& session) {
    Place place;
    const RegistryStatus status = Find(session, key, place);
    if (status != RegistryStatus::kOk) return status;
    if (AsksToWrite(access) && session.ForWriting().database().IsReadOnly()) {
      return RegistryStatus::kDenied;
    }
    opened = paths_.OpenHandle(std::move(place.path));
    return RegistryStatus::kOk;
  });
}

void LinuxRegistry::Close(HKEY opened) { paths_.CloseHandle(opened); }

RegistryStatus LinuxRegistry::Get(const RegistryKey& key, WStringView name, RegistryValue& value) {
  return Guarded("LinuxRegistry::Get", [&](Session& session) {
    WString path;
    const RegistryStatus status = paths_.Resolve(key, path);
    if (status != RegistryStatus::kOk) return status;
    Store* const store = session.ForReading();
    if (store == nullptr) return RegistryStatus::kNotFound;
    const auto& stored =
        store->Value(ToBytes(FoldRegistryName(path)), ToBytes(FoldRegistryName(name)));
    if (!stored) return RegistryStatus::kNotFound;
    value = *stored;
    return RegistryStatus::kOk;
  });
}

RegistryStatus LinuxRegistry::Values(const RegistryKey& key, std::vector<RegistryEntry>& values,
                                     std::size_t longest_name) {
  return Guarded("LinuxRegistry::Values", [&](Session& session) {
    Place place;
    const RegistryStatus status = Find(session, key, place);
    if (status != RegistryStatus::kOk) return status;
    values.clear();
    if (place.key != 0) values = place.store->Values(place.key, longest_name);
    return RegistryStatus::kOk;
  });
}

RegistryStatus LinuxRegistry::SubKeys(const RegistryKey& key, std::vector<WString>& names) {
  return Guarded("LinuxRegistry::SubKeys", [&](Session& session) {
    Place place;
    const RegistryStatus status = Find(session, key, place);
    if (status != RegistryStatus::kOk) return status;
    names.clear();
    if (place.key == 0) return RegistryStatus::kOk;
    names = place.store->SubKeyPaths(place.key);
    for (WString& name : names) name.erase(0, place.path.size() + 1);
    return RegistryStatus::kOk;
  });
}

RegistryStatus LinuxRegistry::Apply(std::span<const RegistryEdit> edits) {
  return Guarded("LinuxRegistry::Apply", [&](Session& session) {
    const std::lock_guard lock(writing_);
    Transaction transaction(session.ForWriting());
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
    return RegistryStatus::kOk;
  });
}

std::shared_ptr<LinuxRegistry::Watcher> LinuxRegistry::WatcherOfAll() {
  const std::lock_guard lock(mutex_);
  std::shared_ptr<Watcher> watcher = watcher_.lock();
  if (watcher == nullptr) watcher_ = watcher = std::make_shared<Watcher>(folder_());
  return watcher;
}

RegistryStatus LinuxRegistry::Watch(const RegistryKey& key, Changed changed,
                                    std::unique_ptr<RegistryWatch>& watch) {
  return Guarded("LinuxRegistry::Watch", [&](Session& session) {
    Place place;
    RegistryStatus status = Find(session, key, place);
    if (status != RegistryStatus::kOk) return status;
    std::shared_ptr<Watcher> watcher = WatcherOfAll();
    auto watched = std::make_shared<Watcher::Watch>();
    watched->folded = FoldRegistryName(place.path);
    watched->changed = std::move(changed);
    Store* const store = session.ForReading();
    if (store == nullptr) return RegistryStatus::kFailed;  // the watcher has just made it
    watched->seen = store->LastChange();
    // Again, as of then: a deletion before that would not be reported.
    status = Find(session, key, place);
    if (status != RegistryStatus::kOk) return status;
    watcher->Add(watched);
    watch = std::make_unique<LinuxWatch>(std::move(watcher), std::move(watched));
    return RegistryStatus::kOk;
  });
}

}  // namespace yox::platform
