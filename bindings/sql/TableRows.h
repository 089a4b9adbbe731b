#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "yox/base/LocalDate.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/DeviceFacts.h"

// The results of the functions that return tables, whatever the database.
namespace yox::sql {

using Cell = std::variant<std::monostate, std::int64_t, std::string>;  // NULL, integer, UTF-8 text
using Row = std::vector<Cell>;

inline constexpr std::array kCriteriaColumns = {"filter",   "criterion", "result",
                                                "required", "actual",    "missing_fact"};
// One row for each criterion that is set, in the order of evaluation. `result` is "held",
// "differs", "missing" or "unknown"; `missing_fact` names the facts that make it unknown.
std::vector<Row> CriteriaRows(const decision::CompiledList& list, decision::DeviceFacts& facts);

inline constexpr std::array kLintColumns = {"filter",   "criterion", "rule",
                                            "severity", "message",   "remedy"};
// One row for each finding; `filter` is NULL for the list as a whole. Throws DocumentError.
std::vector<Row> LintRows(std::string_view list, const LocalDate& today);

}  // namespace yox::sql
