#include <libpq-fe.h>

#include <array>
#include <initializer_list>
#include <utility>

#include "yox/base/String.h"

#include "host/yoxctl/Inventory.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

// The generated columns are what lists ask for most, and what people look for.
constexpr const char* kSchema = R"(
CREATE EXTENSION IF NOT EXISTS yox;
CREATE TABLE IF NOT EXISTS devices (
  id text PRIMARY KEY,
  facts jsonb NOT NULL CONSTRAINT facts_are_a_facts_document CHECK (yox.facts_problem(facts) IS NULL),
  seen_at timestamptz NOT NULL DEFAULT now(),
  country text GENERATED ALWAYS AS (facts ->> 'country') STORED,
  os_version text GENERATED ALWAYS AS (facts ->> 'os_version') STORED,
  model text GENERATED ALWAYS AS (facts ->> 'model') STORED,
  bucket integer GENERATED ALWAYS AS
    (coalesce((facts ->> 'rollout_bucket')::integer, yox.bucket(facts ->> 'serial_number'))) STORED
);
CREATE INDEX IF NOT EXISTS devices_country ON devices (country);
CREATE INDEX IF NOT EXISTS devices_model ON devices (model);
CREATE INDEX IF NOT EXISTS devices_bucket ON devices (bucket);
CREATE INDEX IF NOT EXISTS devices_seen_at ON devices (seen_at);
CREATE TABLE IF NOT EXISTS imports (source text PRIMARY KEY, devices bigint NOT NULL);
)";

// Unchanged facts are written too: `seen_at` says when a device was seen last.
constexpr const char* kUpsert = R"(
INSERT INTO devices (id, facts) SELECT id, facts FROM import_batch
ON CONFLICT (id) DO UPDATE SET facts = excluded.facts, seen_at = excluded.seen_at)";

struct ClearResult {
  void operator()(PGresult* result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, ClearResult>;

struct FinishConnection {
  void operator()(PGconn* connection) const { PQfinish(connection); }
};

// A value of a row in the text form of COPY.
void AppendCopied(std::string& text, std::string_view value) {
  for (const char byte : value) {
    switch (byte) {
      case '\\':
        text += "\\\\";
        break;
      case '\n':
        text += "\\n";
        break;
      case '\r':
        text += "\\r";
        break;
      case '\t':
        text += "\\t";
        break;
      default:
        text += byte;
    }
  }
}

class PostgresqlInventory final : public Inventory {
 public:
  explicit PostgresqlInventory(const std::string& url)
      : name_(NameOfDatabase(url)), connection_(PQconnectdb(url.c_str())) {
    if (PQstatus(connection_.get()) != CONNECTION_OK) Fail(PQerrorMessage(connection_.get()));
    PQsetNoticeReceiver(
        connection_.get(), [](void*, const PGresult*) {}, nullptr);
    PQsetClientEncoding(connection_.get(), "UTF8");
  }

  void CreateSchema() override { Run(kSchema); }

  std::uint64_t DevicesStoredOf(const std::string& source) override {
    const Result result = Query("SELECT devices FROM imports WHERE source = $1", {source.c_str()});
    return PQntuples(result.get()) == 0 ? 0 : std::stoull(PQgetvalue(result.get(), 0, 0));
  }

  void Store(const std::string& source, const std::vector<Device>& devices,
             std::uint64_t devices_stored) override {
    Run("BEGIN");
    Run("CREATE TEMPORARY TABLE IF NOT EXISTS import_batch (id text, facts jsonb) "
        "ON COMMIT DELETE ROWS");
    Copy(devices);
    Run(kUpsert);
    Query("INSERT INTO imports VALUES ($1, $2) ON CONFLICT (source) DO UPDATE SET devices = $2",
          {source.c_str(), std::to_string(devices_stored).c_str()});
    Run("COMMIT");
  }

  void Complete(const std::string& source) override {
    Query("DELETE FROM imports WHERE source = $1", {source.c_str()});
  }

  // A transaction of its own sees one state of the table, whatever is imported meanwhile.
  void BeginDevices() override { BeginFacts(""); }

  bool NextFacts(std::string& facts) override {
    char* row = nullptr;
    const int size = PQgetCopyData(connection_.get(), &row, 0);
    if (size < 0) {
      if (size == -2) Fail(PQerrorMessage(connection_.get()));
      const Result result(PQgetResult(connection_.get()));
      if (PQresultStatus(result.get()) != PGRES_COMMAND_OK) FailOf(result);
      return false;
    }
    // Of what COPY escapes, JSON that the server writes has backslashes only.
    facts.clear();
    for (int i = 0; i < size && row[i] != '\n'; ++i) {
      if (row[i] == '\\') ++i;
      facts += row[i];
    }
    PQfreemem(row);
    return true;
  }

  std::optional<yox::decision::Funnel> Count(const std::string& list,
                                             const yox::decision::Question& question) override {
    // Where the table is partitioned over servers, each counts its own.
    Run("SET enable_partitionwise_aggregate = on");
    const std::string part = "yox.funnel_part(" + Arguments(list, question) + ")";
    const Result result = Query(("SELECT substr(" + part + ", 9) FROM devices").c_str(), {});
    if (PQgetisnull(result.get(), 0, 0) != 0) return yox::decision::Funnel();
    std::size_t size = 0;
    const std::unique_ptr<unsigned char, decltype(&PQfreemem)> bytes(
        PQunescapeBytea(reinterpret_cast<unsigned char*>(PQgetvalue(result.get(), 0, 0)), &size),
        PQfreemem);
    const auto funnel = yox::decision::Funnel::FromBytes(
        {reinterpret_cast<const char*>(bytes.get()), bytes == nullptr ? 0 : size});
    if (!funnel) Fail("the server's extension yox is of another version than yoxctl");
    return funnel;
  }

  std::optional<std::vector<std::uint64_t>> CountDays(
      const std::string& list, const yox::decision::DaySpan& span,
      const yox::decision::Question& question) override {
    const auto day = [](std::int64_t number) {
      return "date '1970-01-01' + " + std::to_string(number);
    };
    const std::string text = "SELECT unnest(yox.rollout(" + Literal(list) + "::jsonb, facts, " +
                             day(span.first) + ", " + day(span.last) + ", " + TargetOf(question) +
                             ")) FROM devices";
    const Result result(PQexec(connection_.get(), text.c_str()));
    const char* const state = PQresultErrorField(result.get(), PG_DIAG_SQLSTATE);
    // An extension that was not updated has no such function: the caller reads the facts then.
    if (state != nullptr && std::string_view(state) == "42883") return std::nullopt;
    Require(result);
    std::vector<std::uint64_t> counts;
    for (int i = 0; i < PQntuples(result.get()); ++i) {
      counts.push_back(std::stoull(PQgetvalue(result.get(), i, 0)));
    }
    return counts;
  }

  std::optional<yox::decision::Funnel> Compare(
      const std::string& before, const std::string& after, const yox::decision::Question& question,
      const std::function<void(const std::string&)>& visit) override {
    Run("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
    const auto funnel = Count(before, question);
    // A condition that each server of a partitioned table evaluates for its own.
    BeginFacts(" WHERE yox.applies(" + Arguments(before, question) +
               ") IS DISTINCT FROM yox.applies(" + Arguments(after, question) + ")");
    std::string facts;
    while (NextFacts(facts)) visit(facts);
    Run("COMMIT");
    return funnel;
  }

 private:
  [[noreturn]] void Fail(const char* message) const {
    std::string text(message);
    while (text.ends_with('\n')) text.pop_back();
    throw Refusal(name_ + ": " + OneLine(text));
  }
  [[noreturn]] void FailOf(const Result& result) const {
    const char* const message = PQresultErrorField(result.get(), PG_DIAG_MESSAGE_PRIMARY);
    Fail(message != nullptr ? message : PQerrorMessage(connection_.get()));
  }
  void Require(const Result& result) const {
    const ExecStatusType status = PQresultStatus(result.get());
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) FailOf(result);
  }

  void Run(const char* script) { Require(Result(PQexec(connection_.get(), script))); }

  // Arguments are text; null is NULL.
  Result Query(const char* text, std::initializer_list<const char*> arguments) {
    Result result(PQexecParams(connection_.get(), text, static_cast<int>(arguments.size()), nullptr,
                               std::data(arguments), nullptr, nullptr, 0));
    Require(result);
    return result;
  }

  // A text as a literal of SQL.
  std::string Literal(const std::string& text) const {
    const std::unique_ptr<char, decltype(&PQfreemem)> literal(
        PQescapeLiteral(connection_.get(), text.data(), text.size()), PQfreemem);
    if (literal == nullptr) Fail(PQerrorMessage(connection_.get()));
    return literal.get();
  }

  // What the functions of the extension take: list, facts, at and target version.
  std::string Arguments(const std::string& list, const yox::decision::Question& question) const {
    return Literal(list) + "::jsonb, facts, to_timestamp(" + std::to_string(question.now) + "), " +
           TargetOf(question);
  }
  std::string TargetOf(const yox::decision::Question& question) const {
    const auto& target = question.target_version;
    return target ? Literal(yox::String::UTF16ToUTF8(*target)) : "NULL";
  }

  // Begins to read the facts of the devices that meet a condition.
  void BeginFacts(const std::string& where) {
    const std::string copy = "COPY (SELECT facts FROM devices" + where + " ORDER BY id) TO STDOUT";
    const Result result(PQexec(connection_.get(), copy.c_str()));
    if (PQresultStatus(result.get()) != PGRES_COPY_OUT) FailOf(result);
  }

  void Copy(const std::vector<Device>& devices) {
    const Result begun(PQexec(connection_.get(), "COPY import_batch FROM STDIN"));
    if (PQresultStatus(begun.get()) != PGRES_COPY_IN) FailOf(begun);
    std::string rows;
    for (const Device& device : devices) {
      AppendCopied(rows, device.id);
      rows += '\t';
      AppendCopied(rows, device.facts);
      rows += '\n';
    }
    if (PQputCopyData(connection_.get(), rows.data(), static_cast<int>(rows.size())) != 1 ||
        PQputCopyEnd(connection_.get(), nullptr) != 1) {
      Fail(PQerrorMessage(connection_.get()));
    }
    Require(Result(PQgetResult(connection_.get())));
    while (const Result rest = Result(PQgetResult(connection_.get()))) Require(rest);
  }

  std::string name_;
  std::unique_ptr<PGconn, FinishConnection> connection_;
};

}  // namespace

std::unique_ptr<Inventory> OpenPostgresql(const std::string& url) {
  return std::make_unique<PostgresqlInventory>(url);
}

}  // namespace yoxctl
