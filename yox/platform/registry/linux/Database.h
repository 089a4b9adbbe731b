#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace yox::platform {

// What SQLite says went wrong.
class DatabaseError : public std::runtime_error {
 public:
  DatabaseError(const std::string& message, bool denied)
      : std::runtime_error(message), denied_(denied) {}
  // Whether this account may not.
  bool denied() const { return denied_; }

 private:
  bool denied_;
};

// A prepared statement. Bound bytes have to outlive the steps. One thread at a time.
class Statement {
 public:
  Statement(sqlite3* database, const char* sql);

  // Numbered from 1, as in SQL. Binding starts the statement anew.
  Statement& Bind(int parameter, std::int64_t number);
  Statement& Bind(int parameter, std::string_view bytes);
  // False behind the last row.
  bool Step();
  // Steps to the end and starts anew.
  void Run();
  // Ends reading, so that nothing is kept locked.
  void Reset();

  // Columns of the row, numbered from 0; bytes live until the next step.
  std::int64_t Number(int column) const;
  std::string_view Bytes(int column) const;

 private:
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const;
  };
  std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
};

// A connection to an existing file; every failure is a DatabaseError. One thread at a time.
class Database {
 public:
  explicit Database(const std::filesystem::path& file);

  void Run(const char* sql);
  std::int64_t Number(const char* sql);
  Statement Prepare(const char* sql) { return Statement(database_.get(), sql); }
  bool IsReadOnly() const;

 private:
  struct Closer {
    void operator()(sqlite3* database) const;
  };
  std::unique_ptr<sqlite3, Closer> database_;
};

}  // namespace yox::platform
