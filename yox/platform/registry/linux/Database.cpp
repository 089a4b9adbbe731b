#include "yox/platform/registry/linux/Database.h"

#include <sqlite3.h>
#include <time.h>

#include <string>
#include <system_error>

namespace yox::platform {
namespace {

// SQLite's busy handler: waits a millisecond and returns whether to try again. Its own handler soon
// waits 100 ms at a time, although transactions are short.
int WaitWhileBusy(void* patience, int waited) {
  if (waited >= static_cast<int>(reinterpret_cast<std::intptr_t>(patience))) return 0;
  const timespec millisecond{0, 1'000'000};
  nanosleep(&millisecond, nullptr);
  return 1;
}

DatabaseFault FaultOf(int code, int system_error) {
  switch (code) {
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return DatabaseFault::kDenied;
    case SQLITE_READONLY:
      return DatabaseFault::kReadOnly;
    case SQLITE_FULL:
      return DatabaseFault::kFull;
    case SQLITE_BUSY:
    case SQLITE_PROTOCOL:  // the write-ahead log stays locked
      return DatabaseFault::kBusy;
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
    case SQLITE_ERROR:  // the SQL is right, so the tables are not those of a store
      return DatabaseFault::kDamaged;
    case SQLITE_CANTOPEN:
    case SQLITE_IOERR:
      return FaultOfSystemError(system_error);
    default:
      return DatabaseFault::kOther;
  }
}

[[noreturn]] void Fail(sqlite3* database) {
  const int code = sqlite3_errcode(database);
  const int system_error = sqlite3_system_errno(database);
  std::string text = sqlite3_errmsg(database);
  if (code == SQLITE_CANTOPEN || code == SQLITE_IOERR) {
    text += ", error number " + std::to_string(system_error);
  }
  throw DatabaseError(FaultOf(code, system_error), text);
}

// The path without links to folders: NOFOLLOW refuses those too.
std::filesystem::path Resolved(const std::filesystem::path& file) {
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::canonical(file.parent_path(), error);
  return error ? file : folder / file.filename();
}

// The path as an URI of SQLite, where only three characters have a meaning of their own:
// https://www.sqlite.org/uri.html.
std::string ImmutableUri(const std::filesystem::path& file) {
  constexpr std::string_view kSpecial = "%?#";
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string uri = "file:";
  for (const char c : file.native()) {
    if (kSpecial.find(c) != std::string_view::npos) {
      const auto byte = static_cast<unsigned char>(c);
      uri += '%';
      uri += kDigits[byte >> 4];
      uri += kDigits[byte & 0xF];
    } else {
      uri += c;
    }
  }
  return uri + "?immutable=1";
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

Database::Database(const std::filesystem::path& file, Access access,
                   std::chrono::milliseconds patience) {
  const bool immutable = access == Access::kImmutable;
  // NOMUTEX: connections are never shared by threads. NOFOLLOW: an account that puts a link in the
  // place of the file does not choose another one to be written.
  const int flags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW |
                    (immutable ? SQLITE_OPEN_READONLY | SQLITE_OPEN_URI : SQLITE_OPEN_READWRITE);
  const std::filesystem::path resolved = Resolved(file);
  const std::string name = immutable ? ImmutableUri(resolved) : resolved.native();
  sqlite3* database = nullptr;
  const int result = sqlite3_open_v2(name.c_str(), &database, flags, nullptr);
  database_.reset(database);
  if (database == nullptr) throw DatabaseError(DatabaseFault::kOther, "out of memory");
  if (result != SQLITE_OK) Fail(database);
  const auto milliseconds = static_cast<std::intptr_t>(patience.count());
  sqlite3_busy_handler(database, WaitWhileBusy,
                       reinterpret_cast<void*>(milliseconds));  // NOLINT: a number for the handler
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

bool Database::IsInTransaction() const { return sqlite3_get_autocommit(database_.get()) == 0; }

bool Database::IsReadOnly() const { return sqlite3_db_readonly(database_.get(), "main") != 0; }

}  // namespace yox::platform
