#pragma once

#include <cstdint>
#include <variant>
#include <vector>

#include "yox/base/WString.h"

namespace yox::platform {

// A value of a management object. `NoValue` is a value of a type that the library does not use.
struct NoValue {
  friend bool operator==(NoValue, NoValue) = default;
};
using ManagementValue = std::variant<NoValue, bool, std::int32_t, WString>;

// One object of the result: its property, or why that could not be read.
struct ManagementRow {
  std::uint32_t error = 0;
  ManagementValue value;
};

// The result of a query.
struct ManagementAnswer {
  // The first thing that failed; the rows are those that came before it.
  enum class Step { kNone, kThread, kLocator, kConnect, kSecurity, kQuery };
  Step failed = Step::kNone;
  std::uint32_t error = 0;  // of the failed step
  std::vector<ManagementRow> rows;
};

// The operating system's management interface, queried in its language (WQL).
class ManagementQueries {
 public:
  virtual ~ManagementQueries() = default;

  // One property of every object that the query selects. Where the system has no such service, the
  // operating system's facts answer the queries whose answer they are; any other selects nothing.
  // Safe from any thread; may take seconds.
  virtual ManagementAnswer Ask(WStringView name_space, WStringView query, WStringView property) = 0;
};

}  // namespace yox::platform
