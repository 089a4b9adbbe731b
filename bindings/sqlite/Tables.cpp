#include "bindings/sqlite/Tables.h"

#include <array>
#include <cstddef>
#include <ctime>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "yox/base/TimeZone.h"

#include "bindings/sql/TableRows.h"
#include "bindings/sqlite/Arguments.h"

namespace yox::sqlite {
namespace {

using sql::Cell;
using sql::Row;

constexpr std::size_t kMostArguments = 4;
using Arguments = std::array<sqlite3_value*, kMostArguments>;  // null: not given

// A table-valued function: its columns, then its arguments, which SQLite sees as hidden columns.
struct TableFunction {
  const char* name;
  std::span<const char* const> columns;
  std::span<const char* const> arguments;
  std::size_t required;  // of the arguments
  std::vector<Row> (*rows)(const Arguments& arguments, sql::ListCache& lists);
};

std::vector<Row> Criteria(const Arguments& arguments, sql::ListCache& lists) {
  const auto list = ListOf(arguments[0], lists);
  FactsArgument argument;
  const decision::Question question = QuestionOf(arguments[2], arguments[3]);
  facts::LineFacts facts(argument.Read(arguments[1]), question);
  return sql::CriteriaRows(*list, facts);
}

std::vector<Row> Lint(const Arguments& arguments, sql::ListCache& /*lists*/) {
  const LocalDate today = TimeZone().ToLocalDate(MomentOf(arguments[1]));
  return NamingArgument("list", [&] { return sql::LintRows(TextOf(arguments[0]), today); });
}

constexpr std::array kCriteriaArguments = {"list", "facts", "at", "target_version"};
constexpr std::array kLintArguments = {"list", "at"};

constexpr std::array kTables = {
    TableFunction{"yox_criteria", sql::kCriteriaColumns, kCriteriaArguments, 2, Criteria},
    TableFunction{"yox_lint", sql::kLintColumns, kLintArguments, 1, Lint},
};

struct Table : sqlite3_vtab {
  const TableFunction* function;
  sql::ListCache lists;
};

struct Cursor : sqlite3_vtab_cursor {
  std::vector<Row> rows;
  std::size_t at = 0;
};

Table& TableOf(sqlite3_vtab* table) { return *static_cast<Table*>(table); }
Cursor& CursorOf(sqlite3_vtab_cursor* cursor) { return *static_cast<Cursor*>(cursor); }

// Calls `body`; what it throws becomes the table's error.
template <class Body>
int Run(sqlite3_vtab* table, Body body) noexcept {
  int status = SQLITE_OK;
  Guarded(body, [&](const char* message) {
    status = message == nullptr ? SQLITE_NOMEM : SQLITE_ERROR;
    if (message == nullptr) return;
    sqlite3_free(table->zErrMsg);
    table->zErrMsg = sqlite3_mprintf("%s", message);
  });
  return status;
}

std::string Declaration(const TableFunction& function) {
  std::string text = "CREATE TABLE x(";
  for (const char* const column : function.columns) text += std::string(column) + ", ";
  for (const char* const argument : function.arguments) {
    text += std::string(argument) + " HIDDEN, ";
  }
  text.replace(text.size() - 2, 2, ")");
  return text;
}

int Connect(sqlite3* database, void* function, int, const char* const*, sqlite3_vtab** table,
            char** message) {
  int status = SQLITE_OK;
  Guarded(
      [&] {
        auto made = std::make_unique<Table>();
        made->function = static_cast<const TableFunction*>(function);
        status = sqlite3_declare_vtab(database, Declaration(*made->function).c_str());
        if (status != SQLITE_OK) return;
        sqlite3_vtab_config(database, SQLITE_VTAB_INNOCUOUS);
        *table = made.release();
      },
      [&](const char* what) {
        status = what == nullptr ? SQLITE_NOMEM : SQLITE_ERROR;
        if (what != nullptr) *message = sqlite3_mprintf("%s", what);
      });
  return status;
}

int Disconnect(sqlite3_vtab* table) {
  delete &TableOf(table);
  return SQLITE_OK;
}

// The plan says which arguments are given, one bit each. SQLite tries the others when it cannot
// give a required one yet.
int BestIndex(sqlite3_vtab* table, sqlite3_index_info* info) {
  const TableFunction& function = *TableOf(table).function;
  const auto first = static_cast<int>(function.columns.size());
  std::array<int, kMostArguments> places;
  places.fill(-1);
  for (int i = 0; i < info->nConstraint; ++i) {
    const auto& constraint = info->aConstraint[i];
    const int argument = constraint.iColumn - first;
    if (argument < 0 || constraint.op != SQLITE_INDEX_CONSTRAINT_EQ) continue;
    if (!constraint.usable) return SQLITE_CONSTRAINT;
    places[static_cast<std::size_t>(argument)] = i;
  }
  int next = 0;
  for (std::size_t argument = 0; argument < function.arguments.size(); ++argument) {
    if (places[argument] < 0) continue;
    auto& usage = info->aConstraintUsage[places[argument]];
    usage.argvIndex = ++next;
    usage.omit = 1;
    info->idxNum |= 1 << argument;
  }
  info->estimatedCost = 100;
  info->estimatedRows = 20;
  return SQLITE_OK;
}

int Open(sqlite3_vtab* table, sqlite3_vtab_cursor** cursor) {
  return Run(table, [&] { *cursor = std::make_unique<Cursor>().release(); });
}

int Close(sqlite3_vtab_cursor* cursor) {
  delete &CursorOf(cursor);
  return SQLITE_OK;
}

int Filter(sqlite3_vtab_cursor* base, int given, const char*, int, sqlite3_value** values) {
  return Run(base->pVtab, [&] {
    Cursor& cursor = CursorOf(base);
    Table& table = TableOf(base->pVtab);
    const TableFunction& function = *table.function;
    cursor.rows.clear();
    cursor.at = 0;
    Arguments arguments{};
    for (std::size_t i = 0; i < function.arguments.size(); ++i) {
      if ((given & (1 << i)) != 0) arguments[i] = *values++;
      if (i < function.required && arguments[i] == nullptr) {
        throw DocumentError(std::string(function.name) + ": the argument " + function.arguments[i] +
                            " is missing");
      }
      // NULL gives no rows, except for the target version: then there is none.
      if (i < 3 && arguments[i] != nullptr && IsNull(arguments[i])) return;
    }
    cursor.rows = function.rows(arguments, table.lists);
  });
}

int Next(sqlite3_vtab_cursor* cursor) {
  ++CursorOf(cursor).at;
  return SQLITE_OK;
}

int AtEnd(sqlite3_vtab_cursor* base) {
  const Cursor& cursor = CursorOf(base);
  return cursor.at >= cursor.rows.size() ? 1 : 0;
}

int Column(sqlite3_vtab_cursor* base, sqlite3_context* context, int column) {
  const Cursor& cursor = CursorOf(base);
  const Row& row = cursor.rows[cursor.at];
  if (static_cast<std::size_t>(column) >= row.size()) return SQLITE_OK;  // an argument: NULL
  const Cell& cell = row[static_cast<std::size_t>(column)];
  if (const auto* const number = std::get_if<std::int64_t>(&cell)) {
    sqlite3_result_int64(context, *number);
  } else if (const auto* const text = std::get_if<std::string>(&cell)) {
    sqlite3_result_text64(context, text->data(), text->size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  }
  return SQLITE_OK;
}

int RowId(sqlite3_vtab_cursor* cursor, sqlite3_int64* id) {
  *id = static_cast<sqlite3_int64>(CursorOf(cursor).at);
  return SQLITE_OK;
}

// Without xCreate the table exists as a function only.
constexpr sqlite3_module kModule = [] {
  sqlite3_module module{};
  module.xConnect = Connect;
  module.xBestIndex = BestIndex;
  module.xDisconnect = Disconnect;
  module.xOpen = Open;
  module.xClose = Close;
  module.xFilter = Filter;
  module.xNext = Next;
  module.xEof = AtEnd;
  module.xColumn = Column;
  module.xRowid = RowId;
  return module;
}();

}  // namespace

int RegisterTables(sqlite3* database) {
  for (const TableFunction& function : kTables) {
    const int status = sqlite3_create_module_v2(database, function.name, &kModule,
                                                const_cast<TableFunction*>(&function), nullptr);
    if (status != SQLITE_OK) return status;
  }
  return SQLITE_OK;
}

}  // namespace yox::sqlite
