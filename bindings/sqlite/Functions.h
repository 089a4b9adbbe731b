#pragma once

#include <sqlite3ext.h>

namespace yox::sqlite {

// Registers the scalar functions and the aggregate. Returns SQLite's status.
int RegisterFunctions(sqlite3* database);

}  // namespace yox::sqlite
