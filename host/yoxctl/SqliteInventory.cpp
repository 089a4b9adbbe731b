#include <sqlite3.h>

#include <span>

#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Inventory.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

// The generated columns are what lists ask for most, and what people look for.
constexpr const char* kSchema = R"(
CREATE TABLE IF NOT EXISTS devices(
  id TEXT PRIMARY KEY,
  facts TEXT NOT NULL CHECK (json_valid(facts)),
  seen_at TEXT NOT NULL DEFAULT (strftime('%Y-%m-%dT%H:%M:%SZ', 'now')),
  country TEXT AS (json_extract(facts, '$.country')) VIRTUAL,
  os_version TEXT AS (json_extract(facts, '$.os_version')) VIRTUAL,
  model TEXT AS (json_extract(facts, '$.model')) VIRTUAL
) WITHOUT ROWID;
CREATE INDEX IF NOT EXISTS devices_country ON devices(country);
CREATE INDEX IF NOT EXISTS devices_model ON devices(model);
CREATE INDEX IF NOT EXISTS devices_seen_at ON devices(seen_at);
CREATE TABLE IF NOT EXISTS imports(source TEXT PRIMARY KEY, devices INTEGER NOT NULL) WITHOUT ROWID;
)";

class Statement;

class SqliteInventory final : public Inventory {
 public:
  SqliteInventory(const std::string& file, bool may_create) : name_(NameOfDatabase(file)) {
    const int flags = SQLITE_OPEN_READWRITE | (may_create ? SQLITE_OPEN_CREATE : 0);
    sqlite3* database = nullptr;
    const int status = sqlite3_open_v2(file.c_str(), &database, flags, nullptr);
    database_.reset(database);
    if (status != SQLITE_OK) Fail();
    sqlite3_busy_timeout(database, kBusyMilliseconds);
  }

  // A reader does not wait for an import, nor an import for readers.
  void CreateSchema() override {
    Run("PRAGMA journal_mode = WAL");
    Run("PRAGMA synchronous = FULL");
    Run(kSchema);
  }

  std::uint64_t DevicesStoredOf(const std::string& source) override;
  void Store(const std::string& source, const std::vector<Device>& devices,
             std::uint64_t devices_stored) override;
  void Complete(const std::string& source) override;
  void BeginDevices() override;
  bool NextFacts(std::string& facts) override;
  // The database is in this process, and would do in one thread what yoxctl does in several.
  std::optional<yox::decision::Funnel> Count(const std::string&,
                                             const yox::decision::Question&) override {
    return std::nullopt;
  }
  std::optional<std::vector<std::uint64_t>> CountDays(const std::string&,
                                                      const yox::decision::DaySpan&,
                                                      const yox::decision::Question&) override {
    return std::nullopt;
  }
  std::optional<yox::decision::Funnel> Compare(
      const std::string&, const std::string&, const yox::decision::Question&,
      const std::function<void(const std::string&)>&) override {
    return std::nullopt;
  }

 private:
  friend class Statement;
  static constexpr int kBusyMilliseconds = 10'000;

  struct CloseDatabase {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
  };

  [[noreturn]] void Fail() const {
    throw Refusal(name_ + ": " + OneLine(sqlite3_errmsg(database_.get())));
  }
  void Run(const char* script) {
    if (sqlite3_exec(database_.get(), script, nullptr, nullptr, nullptr) != SQLITE_OK) Fail();
  }

  std::string name_;
  std::unique_ptr<sqlite3, CloseDatabase> database_;
  std::unique_ptr<Statement> devices_;
};

// A prepared statement of an inventory, which must outlive it.
class Statement {
 public:
  Statement(SqliteInventory& inventory, const char* text) : inventory_(inventory) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(inventory.database_.get(), text, -1, &statement, nullptr) != SQLITE_OK) {
      inventory.Fail();
    }
    statement_.reset(statement);
  }

  // `text` must stay until the next Step.
  void Bind(int number, const std::string& text) {
    sqlite3_bind_text64(statement_.get(), number, text.data(), text.size(), SQLITE_STATIC,
                        SQLITE_UTF8);
  }
  void Bind(int number, std::uint64_t value) {
    sqlite3_bind_int64(statement_.get(), number, static_cast<sqlite3_int64>(value));
  }
  // Whether there is a row.
  bool Step() {
    const int status = sqlite3_step(statement_.get());
    if (status != SQLITE_ROW && status != SQLITE_DONE) inventory_.Fail();
    return status == SQLITE_ROW;
  }
  // Runs a statement without rows once more.
  void Execute() {
    Step();
    sqlite3_reset(statement_.get());
  }
  std::string_view Text(int column) {
    const auto* const text =
        reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
    return {text, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column))};
  }
  std::uint64_t Number(int column) {
    return static_cast<std::uint64_t>(sqlite3_column_int64(statement_.get(), column));
  }

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };

  SqliteInventory& inventory_;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

std::uint64_t SqliteInventory::DevicesStoredOf(const std::string& source) {
  Statement statement(*this, "SELECT devices FROM imports WHERE source = ?");
  statement.Bind(1, source);
  return statement.Step() ? statement.Number(0) : 0;
}

// SQLite ends a transaction that is not committed when the database is closed.
void SqliteInventory::Store(const std::string& source, const std::vector<Device>& devices,
                            std::uint64_t devices_stored) {
  Run("BEGIN IMMEDIATE");
  Statement upsert(*this,
                   "INSERT INTO devices(id, facts) VALUES (?, ?) ON CONFLICT (id) DO UPDATE SET "
                   "facts = excluded.facts, seen_at = excluded.seen_at");
  for (const Device& device : devices) {
    upsert.Bind(1, device.id);
    upsert.Bind(2, device.facts);
    upsert.Execute();
  }
  Statement progress(*this, "INSERT OR REPLACE INTO imports VALUES (?, ?)");
  progress.Bind(1, source);
  progress.Bind(2, devices_stored);
  progress.Execute();
  Run("COMMIT");
}

void SqliteInventory::Complete(const std::string& source) {
  Statement statement(*this, "DELETE FROM imports WHERE source = ?");
  statement.Bind(1, source);
  statement.Execute();
}

void SqliteInventory::BeginDevices() {
  devices_ = std::make_unique<Statement>(*this, "SELECT facts FROM devices ORDER BY id");
}

bool SqliteInventory::NextFacts(std::string& facts) {
  if (!devices_->Step()) return false;
  facts = devices_->Text(0);
  return true;
}

}  // namespace

std::unique_ptr<Inventory> OpenSqlite(const std::string& file, bool may_create) {
  return std::make_unique<SqliteInventory>(file, may_create);
}

}  // namespace yoxctl
