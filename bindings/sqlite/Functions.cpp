#include "bindings/sqlite/Functions.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "yox/base/String.h"
#include "yox/decision/Decide.h"
#include "yox/decision/ExplanationDocument.h"
#include "yox/decision/Funnel.h"
#include "yox/decision/ReasonText.h"

#include "bindings/sql/Buckets.h"
#include "bindings/sqlite/Arguments.h"

namespace yox::sqlite {
namespace {

using decision::Truth;
using facts::LineFacts;
using List = sql::ListCache::List;

// Of one connection: SQLite calls the functions of a connection on one thread at a time.
struct Connection {
  sql::ListCache lists;
  FactsArgument facts;
};

void ResultText(sqlite3_context* context, std::string_view text) {
  sqlite3_result_text64(context, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

// Runs a function's body; what it throws becomes the error of the statement.
template <class Body>
void Run(sqlite3_context* context, Body body) noexcept {
  Guarded(body, [&](const char* message) {
    if (message == nullptr) return sqlite3_result_error_nomem(context);
    sqlite3_result_error(context, message, -1);
  });
}

Connection& ConnectionOf(sqlite3_context* context) {
  return **static_cast<std::shared_ptr<Connection>*>(sqlite3_user_data(context));
}

// The object that argument `index` stands for. One of a constant argument is made once for a
// statement; SQLite frees it. It may do so at once, so the caller gets a share.
template <class Value, class Make>
std::shared_ptr<Value> Kept(sqlite3_context* context, int index, Make make) {
  using Shared = std::shared_ptr<Value>;
  if (const void* const kept = sqlite3_get_auxdata(context, index)) {
    return *static_cast<const Shared*>(kept);
  }
  auto value = std::make_unique<Shared>(make());
  Shared shared = *value;
  sqlite3_set_auxdata(context, index, value.release(),
                      [](void* kept) { delete static_cast<Shared*>(kept); });
  return shared;
}

List KeptList(sqlite3_context* context, sqlite3_value* value) {
  return Kept<const decision::CompiledList>(
      context, 0, [&] { return ListOf(value, ConnectionOf(context).lists); });
}

bool HasNull(Values arguments) {
  for (std::size_t i = 0; i < arguments.size() && i < 3; ++i) {
    if (IsNull(arguments[i])) return true;
  }
  return false;
}

// Of list, facts [, at [, target_version]].
decision::Question QuestionIn(Values arguments) {
  return QuestionOf(arguments.size() > 2 ? arguments[2] : nullptr,
                    arguments.size() > 3 ? arguments[3] : nullptr);
}

// A function of a list and a device: NULL when one of the arguments before `target_version` is.
template <void Result(sqlite3_context*, const decision::CompiledList&, decision::DeviceFacts&)>
void OfDecision(sqlite3_context* context, int count, sqlite3_value** values) {
  Run(context, [&] {
    const Values arguments(values, static_cast<std::size_t>(count));
    if (HasNull(arguments)) return;
    const List list = KeptList(context, arguments[0]);
    const decision::Question question = QuestionIn(arguments);
    LineFacts facts(ConnectionOf(context).facts.Read(arguments[1]), question);
    Result(context, *list, facts);
  });
}

void Applies(sqlite3_context* context, const decision::CompiledList& list,
             decision::DeviceFacts& facts) {
  const Truth applies = Decide(list, facts).applies;
  if (applies != Truth::kUnknown) sqlite3_result_int(context, applies == Truth::kTrue ? 1 : 0);
}

void Reason(sqlite3_context* context, const decision::CompiledList& list,
            decision::DeviceFacts& facts) {
  WString reason;
  decision::ReasonText observer(list, reason);
  if (Decide(list, facts, &observer).applies == Truth::kUnknown) return;
  ResultText(context, String::UTF16ToUTF8(reason));
}

void DecidedBy(sqlite3_context* context, const decision::CompiledList& list,
               decision::DeviceFacts& facts) {
  const auto filter = Decide(list, facts).decided_by;
  if (filter) sqlite3_result_int64(context, static_cast<sqlite3_int64>(*filter));
}

void Explain(sqlite3_context* context, const decision::CompiledList& list,
             decision::DeviceFacts& facts) {
  ResultText(context,
             JsonText(ExplanationJson(decision::Explain(list, facts)), JsonStyle::kReadableLine));
  sqlite3_result_subtype(context, 'J');  // as SQLite's own JSON functions mark it
}

void Bucket(sqlite3_context* context, int /*count*/, sqlite3_value** values) {
  Run(context, [&] {
    if (!IsNull(values[0])) sqlite3_result_int(context, sql::BucketOf(TextOf(values[0])));
  });
}

void Share(sqlite3_context* context, int count, sqlite3_value** values) {
  Run(context, [&] {
    if (HasNull(Values(values, static_cast<std::size_t>(count)))) return;
    const std::int64_t at = MomentOf(count > 1 ? values[1] : nullptr);
    sqlite3_result_double(context, sql::ShareAt(TextOf(values[0]), at));
  });
}

// The state of a funnel. SQLite gives zeroed memory, in which no C++ object is built yet.
struct FunnelState {
  List list;
  decision::Funnel funnel;
};

void CountRow(sqlite3_context* context, int count, sqlite3_value** values) {
  Run(context, [&] {
    const Values arguments(values, static_cast<std::size_t>(count));
    if (HasNull(arguments)) return;
    auto** const place =
        static_cast<FunnelState**>(sqlite3_aggregate_context(context, sizeof(FunnelState*)));
    if (place == nullptr) throw std::bad_alloc();
    Connection& connection = ConnectionOf(context);
    const List list = ListOf(arguments[0], connection.lists);
    const decision::Question question = QuestionIn(arguments);
    LineFacts facts(connection.facts.Read(arguments[1]), question);
    if (*place == nullptr) *place = new FunnelState{list, {}};
    if (!sql::AreSame(*(*place)->list, *list)) {
      throw DocumentError("list: differs within the group");
    }
    (*place)->funnel.Add(*list, facts);
  });
}

void FinishFunnel(sqlite3_context* context) {
  auto** const place = static_cast<FunnelState**>(sqlite3_aggregate_context(context, 0));
  const std::unique_ptr<FunnelState> state(place == nullptr ? nullptr : *place);
  Run(context, [&] {
    const decision::Funnel none;
    ResultText(context, (state ? state->funnel : none).ToJsonText(JsonStyle::kReadableLine));
    sqlite3_result_subtype(context, 'J');
  });
}

using Scalar = void(sqlite3_context*, int, sqlite3_value**);

struct Function {
  const char* name;
  Scalar* scalar;  // null: the aggregate
  int fewest;
  int most;
  int of_moment;  // with fewer arguments the result depends on the clock
};

constexpr std::array kFunctions = {
    Function{"yox_applies", OfDecision<Applies>, 2, 4, 3},
    Function{"yox_reason", OfDecision<Reason>, 2, 4, 3},
    Function{"yox_decided_by", OfDecision<DecidedBy>, 2, 4, 3},
    Function{"yox_explain", OfDecision<Explain>, 2, 4, 3},
    Function{"yox_bucket", Bucket, 1, 1, 1},
    Function{"yox_share", Share, 1, 2, 2},
    Function{"yox_funnel", nullptr, 2, 4, 3},
};

int Register(sqlite3* database, const Function& function, int count,
             const std::shared_ptr<Connection>& connection) {
  // May be used in indexes, generated columns, views and triggers where the moment is given.
  const int flags = SQLITE_UTF8 | SQLITE_INNOCUOUS | SQLITE_SUBTYPE |
                    (count >= function.of_moment ? SQLITE_DETERMINISTIC : 0);
  auto* const data = new std::shared_ptr<Connection>(connection);
  // SQLite calls the destructor also when it returns an error.
  const bool is_scalar = function.scalar != nullptr;
  return sqlite3_create_function_v2(
      database, function.name, count, flags, data, function.scalar, is_scalar ? nullptr : CountRow,
      is_scalar ? nullptr : FinishFunnel,
      [](void* kept) { delete static_cast<std::shared_ptr<Connection>*>(kept); });
}

}  // namespace

int RegisterFunctions(sqlite3* database) {
  const auto connection = std::make_shared<Connection>();
  for (const Function& function : kFunctions) {
    for (int count = function.fewest; count <= function.most; ++count) {
      const int status = Register(database, function, count, connection);
      if (status != SQLITE_OK) return status;
    }
  }
  return SQLITE_OK;
}

}  // namespace yox::sqlite
