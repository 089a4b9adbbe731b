#pragma once

#include <sqlite3ext.h>

namespace yox::sqlite {

// Registers the table-valued functions. Returns SQLite's status.
int RegisterTables(sqlite3* database);

}  // namespace yox::sqlite
