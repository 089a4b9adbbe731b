#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string_view>

#include "yox/platform/registry/linux/DatabaseError.h"

struct sqlite3;
struct sqlite3_stmt;

// The part of SQLite's interface (https://www.sqlite.org/c3ref/intro.html) that the library uses.
// Every failure is a DatabaseError.
namespace yox::platform {

// A prepared SQL statement. One thread at a time.
class Statement {
 public:
  // The database must outlive the statement.
  Statement(sqlite3* database, const char* sql);

  // Sets a parameter, numbered from 1 as in SQL, and resets the statement. The bytes are not
  // copied: they must stay valid until the statement has been executed.
  Statement& Bind(int parameter, std::int64_t number);
  Statement& Bind(int parameter, std::string_view bytes);
  // Moves to the next row; returns false after the last one.
  bool Step();
  // Executes the statement to its end.
  void Run();
  // Ends the execution before the last row, and with it the transaction that reading may have
  // begun.
  void Reset();

  // A column of the current row, numbered from 0. The bytes are valid until the next Step or Reset.
  std::int64_t Number(int column) const;
  std::string_view Bytes(int column) const;

 private:
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const;
  };
  std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
};

// A connection to an existing database file. One thread at a time.
class Database {
 public:
  enum class Access {
    kShared,  // read and write, together with other processes; only read where nothing else is
              // allowed
    // Only read, without locks and without the two files that connections share: for a database
    // that no process changes meanwhile.
    kImmutable,
  };

  // Opens the file; a symbolic link in its place is an error. An operation waits up to `patience`
  // for the lock of another connection.
  explicit Database(const std::filesystem::path& file, Access access = Access::kShared,
                    std::chrono::milliseconds patience = std::chrono::seconds(10));

  // Executes statements that return no rows, separated by ";".
  void Run(const char* sql);
  // Returns the first column of the first row, 0 when there is no row.
  std::int64_t Number(const char* sql);
  Statement Prepare(const char* sql) { return Statement(database_.get(), sql); }
  // Whether a BEGIN has no COMMIT or ROLLBACK yet; some failures roll back by themselves.
  bool IsInTransaction() const;
  bool IsReadOnly() const;

 private:
  struct Closer {
    void operator()(sqlite3* database) const;
  };
  std::unique_ptr<sqlite3, Closer> database_;
};

}  // namespace yox::platform
