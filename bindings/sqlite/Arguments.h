#pragma once

#include <sqlite3ext.h>

#include <memory>
#include <new>
#include <span>
#include <string>
#include <string_view>

#include "yox/base/Document.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/facts/FactsLine.h"

#include "bindings/sql/ListCache.h"

extern const sqlite3_api_routines* sqlite3_api;

// What the arguments of the functions stand for.
namespace yox::sqlite {

using Values = std::span<sqlite3_value* const>;

// The text of a value, UTF-8; valid until the value is converted or freed. Empty for NULL.
std::string_view TextOf(sqlite3_value* value);
inline bool IsNull(sqlite3_value* value) { return sqlite3_value_type(value) == SQLITE_NULL; }

// Calls `read` and puts the name of the argument before the message of a DocumentError.
template <class Read>
auto NamingArgument(const char* name, Read read) {
  try {
    return read();
  } catch (const DocumentError& error) {
    throw DocumentError(std::string(name) + ": " + error.what());
  }
}

sql::ListCache::List ListOf(sqlite3_value* value, sql::ListCache& cache);
// A facts document, in memory that is kept from document to document.
class FactsArgument {
 public:
  // Valid until the next call.
  const facts::FactsLine& Read(sqlite3_value* value);

 private:
  std::string text_;  // with padding
  facts::FactsLine line_;
};

// Of the arguments `at` and `target_version`, each of which may be absent.
decision::Question QuestionOf(sqlite3_value* at, sqlite3_value* target_version);
// Seconds since 1970; now if there is no value.
std::int64_t MomentOf(sqlite3_value* at);

// Calls `body` and passes the message of what it throws to `fail(message)`, which is null when
// memory is out.
template <class Body, class Fail>
void Guarded(Body body, Fail fail) noexcept {
  try {
    body();
  } catch (const std::bad_alloc&) {
    fail(nullptr);
  } catch (const std::exception& error) {
    fail(error.what());
  }
}

}  // namespace yox::sqlite
