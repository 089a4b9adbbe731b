#include "yox/platform/registry/linux/Database.h"

#include <sqlite3.h>
#include <time.h>

#include <cerrno>

namespace yox::platform {
namespace {

// Waits for another process's transaction, a millisecond at a time and ten seconds at most.
// SQLite's own handler soon waits a hundred, although transactions are short.
int WaitWhileBusy(void*, int waited) {
  if (waited >= 10'000) return 0;
  const timespec millisecond{0, 1'000'000};
  nanosleep(&millisecond, nullptr);
  return 1;
}

[[noreturn]] void Fail(sqlite3* database) {
  const int code = sqlite3_errcode(database);
  const int system = sqlite3_system_errno(database);
  const bool denied =
      code == SQLITE_READONLY || code == SQLITE_PERM || code == SQLITE_AUTH ||
      (code == SQLITE_CANTOPEN && (system == EACCES || system == EPERM || system == EROFS));
  throw DatabaseError(sqlite3_errmsg(database), denied);
}

}  // namespace

Statement::Statement(sqlite3* database, const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v3(database, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
      SQLITE_OK) {
    Fail(database);
  }
  statement_.reset(statement);
}

void Statement::Finalizer::operator()(sqlite3_stmt* statement) const {
  sqlite3_finalize(statement);
}

Statement& Statement::Bind(int parameter, std::int64_t number) {
  Reset();
  sqlite3_bind_int64(statement_.get(), parameter, number);
  return *this;
}

Statement& Statement::Bind(int parameter, std::string_view bytes) {
  Reset();
  // A null pointer would bind NULL.
  const char* const data = bytes.data() == nullptr ? "" : bytes.data();
  sqlite3_bind_blob64(statement_.get(), parameter, data, bytes.size(), SQLITE_STATIC);
  return *this;
}

bool Statement::Step() {
  const int result = sqlite3_step(statement_.get());
  if (result == SQLITE_ROW) return true;
  if (result != SQLITE_DONE) Fail(sqlite3_db_handle(statement_.get()));
  return false;
}

void Statement::Run() {
  while (Step()) {
  }
  Reset();
}

void Statement::Reset() { sqlite3_reset(statement_.get()); }

std::int64_t Statement::Number(int column) const {
  return sqlite3_column_int64(statement_.get(), column);
}

std::string_view Statement::Bytes(int column) const {
  const void* const bytes = sqlite3_column_blob(statement_.get(), column);
  const int size = sqlite3_column_bytes(statement_.get(), column);
  return {static_cast<const char*>(bytes), static_cast<std::size_t>(size)};
}

Database::Database(const std::filesystem::path& file) {
  sqlite3* database = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX;
  const int result = sqlite3_open_v2(file.c_str(), &database, flags, nullptr);
  database_.reset(database);
  if (database == nullptr) throw DatabaseError("out of memory", false);
  if (result != SQLITE_OK) Fail(database);
  sqlite3_busy_handler(database, WaitWhileBusy, nullptr);
}

void Database::Closer::operator()(sqlite3* database) const { sqlite3_close_v2(database); }

void Database::Run(const char* sql) {
  if (sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    Fail(database_.get());
  }
}

std::int64_t Database::Number(const char* sql) {
  Statement statement = Prepare(sql);
  return statement.Step() ? statement.Number(0) : 0;
}

bool Database::IsReadOnly() const { return sqlite3_db_readonly(database_.get(), "main") != 0; }

}  // namespace yox::platform
