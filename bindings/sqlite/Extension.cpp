// The loadable extension "yox" for SQLite: decisions about devices as SQL functions (docs/sql.md).
//
// SQLite calls are C and throw nothing; what C++ code throws is turned into an SQL error before
// a callback returns.
#include <sqlite3ext.h>

#include <exception>

#include "bindings/sqlite/Functions.h"
#include "bindings/sqlite/Tables.h"

SQLITE_EXTENSION_INIT1

extern "C" {

int sqlite3_yox_init(sqlite3* database, char** message, const sqlite3_api_routines* api) {
  SQLITE_EXTENSION_INIT2(api);
  try {
    int status = yox::sqlite::RegisterFunctions(database);
    if (status == SQLITE_OK) status = yox::sqlite::RegisterTables(database);
    return status;
  } catch (const std::exception& error) {
    *message = sqlite3_mprintf("%s", error.what());
    return SQLITE_NOMEM;
  }
}
}
