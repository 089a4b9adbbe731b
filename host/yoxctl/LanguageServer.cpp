#include "host/yoxctl/LanguageServer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <exception>
#include <stdexcept>
#include <utility>

#include "yox/base/Document.h"
#include "yox/base/DocumentLayout.h"
#include "yox/base/EnclosureNames.h"
#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"
#include "yox/decision/FieldHelp.h"
#include "yox/decision/ListTest.h"
#include "yox/decision/Vocabulary.h"

#include "host/yoxctl/InWords.h"
#include "host/yoxctl/ListScanner.h"

using yox::DocumentPlace;
using yox::decision::FilterField;
using yox::decision::HelpOf;
using yox::decision::kFilterFieldNames;
using yox::decision::LintFinding;
using yox::decision::LintSeverity;
using yox::decision::RowOf;

namespace yoxctl {
namespace {

// Error codes of JSON-RPC.
constexpr int kParseError = -32700;
constexpr int kInvalidRequest = -32600;
constexpr int kMethodNotFound = -32601;
constexpr int kInvalidParams = -32602;
constexpr int kContentModified = -32801;  // of the Language Server Protocol

// Diagnostics of one document beyond this number do not help, and editors are slow to show them.
constexpr std::size_t kMostDiagnostics = 500;

Json::Value Response(const Json::Value& id, Json::Value result) {
  Json::Value message;
  message["jsonrpc"] = "2.0";
  message["id"] = id;
  message["result"] = std::move(result);
  return message;
}

Json::Value ErrorResponse(const Json::Value& id, int code, const std::string& what) {
  Json::Value message;
  message["jsonrpc"] = "2.0";
  message["id"] = id;
  message["error"]["code"] = code;
  message["error"]["message"] = what;
  return message;
}

Json::Value Notification(const char* method, Json::Value params) {
  Json::Value message;
  message["jsonrpc"] = "2.0";
  message["method"] = method;
  message["params"] = std::move(params);
  return message;
}

std::optional<FilterField> FieldNamed(std::string_view name) {
  const auto* const found = std::ranges::find(kFilterFieldNames, name);
  if (found == std::end(kFilterFieldNames)) return std::nullopt;
  return static_cast<FilterField>(found - std::begin(kFilterFieldNames));
}

// Converts places in a text, which ascend from call to call, to positions of the protocol.
class PositionFinder {
 public:
  explicit PositionFinder(std::string_view text) : text_(text) {}

  Json::Value At(const DocumentPlace& place) {
    if (place.line < line_ || (place.line == line_ && place.column < column_))
      *this = PositionFinder(text_);
    while (at_ < text_.size() &&
           (line_ < place.line || (line_ == place.line && column_ < place.column))) {
      Step();
    }
    Json::Value position;
    position["line"] = Json::UInt64{line_ - 1};
    position["character"] = Json::UInt64{units_};
    return position;
  }

 private:
  void Step() {
    const auto byte = static_cast<unsigned char>(text_[at_++]);
    if (byte == '\n') {
      ++line_;
      column_ = 1;
      units_ = 0;
    } else if ((byte & 0xC0) != 0x80) {
      ++column_;
      units_ += byte >= 0xF0 ? 2 : 1;
      // The bytes that continue it belong to it.
      while (at_ < text_.size() && (static_cast<unsigned char>(text_[at_]) & 0xC0) == 0x80) ++at_;
    }
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::size_t line_ = 1;
  std::size_t column_ = 1;
  std::size_t units_ = 0;
};

Json::Value RangeOf(PositionFinder& positions, const DocumentPlace& begin,
                    const DocumentPlace& end) {
  Json::Value range;
  range["start"] = positions.At(begin);
  range["end"] = positions.At(end);
  return range;
}

Json::Value Diagnostic(Json::Value range, int severity, const std::string& code,
                       const std::string& text) {
  Json::Value diagnostic;
  diagnostic["range"] = std::move(range);
  diagnostic["severity"] = severity;
  diagnostic["source"] = "yoxctl";
  if (!code.empty()) {
    diagnostic["code"] = code;
    diagnostic["codeDescription"]["href"] = "https://yox.example/docs/lint.html#" + code;
  }
  diagnostic["message"] = text;
  return diagnostic;
}

Json::Value LintDiagnostic(const LintFinding& finding, PositionFinder& positions) {
  const auto& rule = RowOf(finding.rule);
  DocumentPlace end = finding.end;
  // Of a filter or list as a whole its first character, so that not everything is underlined.
  if (!finding.field) end = {finding.place.line, finding.place.column + 1};
  const bool error = rule.severity == LintSeverity::kError;
  return Diagnostic(RangeOf(positions, finding.place, end), error ? 1 : 2, std::string(rule.id),
                    MessageOf(finding) + ": " + std::string(rule.remedy));
}

bool IsTestDocument(const std::string& uri) { return uri.ends_with(".test.json"); }

// Whether a document, well-formed or not, is meant to be a filter list.
bool IsList(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string_view::npos) return false;
  return text[begin] == '[' || text.find("\"filters\"") != std::string_view::npos;
}

// Fewer comparisons than `yoxctl lint` makes, so that the answer to an edit does not take long in a
// list of thousands of filters.
constexpr std::uint32_t kEffortOfAnEdit = 300'000;

Json::Value CompletionItem(const std::string& label, int kind, const std::string& detail) {
  Json::Value item;
  item["label"] = label;
  item["kind"] = kind;
  if (!detail.empty()) item["detail"] = detail;
  return item;
}

// The text of the string that a place is in, up to the closing quotation mark.
std::string StringFrom(const std::string& text, std::size_t begin) {
  std::size_t end = begin;
  while (end < text.size() && text[end] != '"' && text[end] != '\n')
    end += text[end] == '\\' ? 2 : 1;
  const std::string written = "\"" + text.substr(begin, std::min(end, text.size()) - begin) + "\"";
  try {
    return yox::ParseDocument(written).asString();
  } catch (const yox::DocumentError&) {
    return {};
  }
}

std::size_t NumberOf(const Json::Value& value) {
  return value.isUInt() ? static_cast<std::size_t>(value.asUInt()) : 0;
}

// A position as a number that orders it.
std::pair<std::size_t, std::size_t> Order(const Json::Value& position) {
  return {NumberOf(position["line"]), NumberOf(position["character"])};
}

bool Overlap(const Json::Value& a, const Json::Value& b) {
  return Order(a["start"]) <= Order(b["end"]) && Order(b["start"]) <= Order(a["end"]);
}

// A text as it is written within a JSON string.
std::string Written(const std::string& text) {
  const std::string quoted = yox::JsonText(Json::Value(text), yox::JsonStyle::kReadableLine);
  const std::size_t end = quoted.rfind('"');
  return quoted.substr(1, end - 1);
}

const Json::Value& FiltersOf(const Json::Value& document) {
  return document.isArray() ? document : document["filters"];
}

// Replaces a range of the protocol in a text.
void Replace(std::string& text, const Json::Value& range, const std::string& replacement) {
  const auto byte_of = [&](const Json::Value& position) {
    return ByteOfPosition(text, NumberOf(position["line"]), NumberOf(position["character"]));
  };
  const std::size_t begin = byte_of(range["start"]);
  const std::size_t end = std::max(begin, byte_of(range["end"]));
  text.replace(begin, end - begin, replacement);
}

}  // namespace

const LanguageServer::Method LanguageServer::kRequests[] = {
    {"initialize", &LanguageServer::Initialize},
    {"shutdown", &LanguageServer::Shutdown},
    {"textDocument/hover", &LanguageServer::Hover},
    {"textDocument/completion", &LanguageServer::Completion},
    {"textDocument/codeAction", &LanguageServer::CodeAction},
    {"textDocument/formatting", &LanguageServer::Formatting},
    {"textDocument/definition", &LanguageServer::Definition},
};

LanguageServer::LanguageServer(Settings settings) : settings_(std::move(settings)) {}

std::vector<Json::Value> LanguageServer::Take(std::string_view message) {
  Json::Value request;
  try {
    request = yox::ParseDocument(message);
  } catch (const yox::DocumentError& error) {
    return {ErrorResponse(Json::Value(), kParseError, error.what())};
  }
  if (!request.isObject() || !request["method"].isString()) {
    // A response, of which there are none, or nothing that the protocol has.
    if (request.isObject() && (request.isMember("result") || request.isMember("error"))) return {};
    return {ErrorResponse(Json::Value(), kInvalidRequest, "not a request")};
  }
  const std::string method = request["method"].asString();
  const bool is_request = request.isMember("id");
  const Json::Value& id = request["id"];
  try {
    if (!is_request) {
      Notify(method, request["params"]);
      return std::exchange(due_, {});
    }
    if (method == "textDocument/codeLens") return AskForLens(id, request["params"]);
    const auto* const row = std::ranges::find(kRequests, method, &Method::name);
    if (row == std::end(kRequests)) {
      return {ErrorResponse(id, kMethodNotFound, "no such method: " + yox::Printable(method))};
    }
    return {Response(id, (this->*row->handler)(request["params"]))};
  } catch (const std::exception& error) {
    // Json::Exception for members of another type than the protocol has.
    if (!is_request) return {};
    return {ErrorResponse(id, kInvalidParams, yox::Printable(error.what()))};
  }
}

void LanguageServer::Notify(std::string_view method, const Json::Value& params) {
  if (method == "exit") has_ended_ = true;
  if (method == "textDocument/didOpen") Open(params);
  if (method == "textDocument/didChange") Change(params);
  if (method == "textDocument/didClose") {
    const std::string uri = params["textDocument"]["uri"].asString();
    documents_.erase(uri);
    edited_.erase(uri);
    Json::Value none;
    none["uri"] = uri;
    none["diagnostics"] = Json::Value(Json::arrayValue);
    due_.push_back(Notification("textDocument/publishDiagnostics", none));
  }
}

void LanguageServer::Open(const Json::Value& params) {
  const Json::Value& document = params["textDocument"];
  const std::string uri = document["uri"].asString();
  documents_[uri] = {document["text"].asString(), document["version"].asInt64()};
  edited_.insert(uri);
}

void LanguageServer::Change(const Json::Value& params) {
  const Json::Value& changes = params["contentChanges"];
  Document& document = Of(params);
  for (Json::ArrayIndex i = 0; i < changes.size(); ++i) {
    const std::string text = changes[i]["text"].asString();
    if (changes[i].isMember("range")) {
      Replace(document.text, changes[i]["range"], text);
    } else {
      document.text = text;
    }
  }
  document.version = params["textDocument"]["version"].asInt64();
  edited_.insert(params["textDocument"]["uri"].asString());
}

LanguageServer::Document& LanguageServer::Of(const Json::Value& params) {
  const auto found = documents_.find(params["textDocument"]["uri"].asString());
  if (found == documents_.end()) throw std::runtime_error("the document is not open");
  return found->second;
}

std::vector<Json::Value> LanguageServer::CheckEdited() {
  std::vector<Json::Value> messages;
  if (settings_.fleet_state && !edited_.empty()) {
    std::string state = settings_.fleet_state();
    if (state != fleet_state_) fleet_.Forget();
    fleet_state_ = std::move(state);
  }
  for (const std::string& uri : std::exchange(edited_, {})) {
    messages.push_back(
        Notification("textDocument/publishDiagnostics", Check(uri, documents_.at(uri))));
  }
  return messages;
}

Json::Value LanguageServer::Check(const std::string& uri, Document& document) {
  Json::Value params;
  params["uri"] = uri;
  params["version"] = Json::Int64{document.version};
  Json::Value& diagnostics = params["diagnostics"] = Json::Value(Json::arrayValue);
  PositionFinder positions(document.text);
  document.findings.clear();
  try {
    if (IsTestDocument(uri)) {
      yox::decision::ReadListTest(document.text);
    } else if (!IsList(document.text)) {
      yox::ParseDocument(document.text);
    } else {
      yox::decision::MoreFindings of_fleet;
      if (settings_.fleet_lint) {
        of_fleet = [&](const auto& list) { return fleet_.FindingsOf(list, unknown_); };
      }
      document.findings =
          yox::decision::LintDocument(document.text, settings_.today, kEffortOfAnEdit, of_fleet);
      std::erase_if(document.findings, [](const LintFinding& one) { return one.allowed; });
      std::ranges::stable_sort(document.findings, {}, [](const LintFinding& one) {
        return std::pair(one.place.line, one.place.column);
      });
    }
  } catch (const yox::DocumentError& error) {
    const DocumentPlace place = error.place().value_or(DocumentPlace{});
    diagnostics.append(Diagnostic(RangeOf(positions, place, {place.line, place.column + 1}), 1, "",
                                  error.message()));
  }
  const std::size_t shown = std::min(document.findings.size(), kMostDiagnostics);
  for (std::size_t i = 0; i < shown; ++i) {
    diagnostics.append(LintDiagnostic(document.findings[i], positions));
  }
  return params;
}

Json::Value LanguageServer::Initialize(const Json::Value& /*params*/) {
  Json::Value result;
  Json::Value& can = result["capabilities"];
  can["positionEncoding"] = "utf-16";
  can["textDocumentSync"]["openClose"] = true;
  can["textDocumentSync"]["change"] = 2;  // incremental
  can["hoverProvider"] = true;
  can["definitionProvider"] = true;
  can["documentFormattingProvider"] = true;
  can["codeActionProvider"]["codeActionKinds"].append("quickfix");
  Json::Value& triggers = can["completionProvider"]["triggerCharacters"];
  for (const char* const letter : {"\"", ",", "|"}) triggers.append(letter);
  if (settings_.fleet_count) can["codeLensProvider"]["resolveProvider"] = false;
  result["serverInfo"]["name"] = "yoxctl";
  result["serverInfo"]["version"] = YOXCTL_VERSION;
  return result;
}

Json::Value LanguageServer::Shutdown(const Json::Value& /*params*/) {
  has_shut_down_ = true;
  return {};
}

Json::Value LanguageServer::Hover(const Json::Value& params) {
  const Document& document = Of(params);
  const Json::Value& position = params["position"];
  const ListContext context = ContextAt(
      document.text,
      ByteOfPosition(document.text, NumberOf(position["line"]), NumberOf(position["character"])));
  const auto field = FieldNamed(context.field);
  if (!field || !context.filter || !context.in_string) return {};
  std::string text = "**" + context.field + "**: " + std::string(HelpOf(*field).meaning) + "\n\n";
  if (context.kind == ListContext::Kind::kFieldValue) {
    const std::string value = StringFrom(document.text, context.string_begin);
    text += InWords(*field, value) + "\n";
    if (settings_.device) {
      const std::string has = settings_.device(*field, value);
      if (!has.empty()) text += "\nThe device: " + has + "\n";
    }
  } else {
    text += "Form: " + std::string(HelpOf(*field).language) + "\n\nFor example: `" +
            std::string(HelpOf(*field).examples) + "`\n";
  }
  Json::Value hover;
  hover["contents"]["kind"] = "markdown";
  hover["contents"]["value"] = text;
  return hover;
}

void LanguageServer::AddFieldKeys(const std::vector<std::string>& present, bool quoted,
                                  Json::Value& items) const {
  constexpr int kProperty = 10;
  for (const std::string_view name : kFilterFieldNames) {
    if (std::ranges::count(present, name) != 0) continue;
    Json::Value item = CompletionItem(std::string(name), kProperty,
                                      std::string(HelpOf(*FieldNamed(name)).meaning));
    if (!quoted) item["insertText"] = "\"" + std::string(name) + "\": \"\"";
    items.append(item);
  }
}

void LanguageServer::AddWords(FilterField field, Json::Value& items) const {
  enum Kind : int { kText = 1, kEnumMember = 20 };
  const auto add = [&](std::string_view word, std::string_view detail, Kind kind = kEnumMember) {
    items.append(CompletionItem(std::string(word), kind, std::string(detail)));
  };
  switch (field) {
    case FilterField::country:
      for (const auto& row : yox::decision::Countries()) add(row.code, row.name);
      return;
    case FilterField::language:
      for (const auto& row : yox::decision::Languages()) add(std::string(row.code) + "*", row.name);
      return;
    case FilterField::enclosure:
      for (const std::string_view name : yox::kEnclosureNames) add(name, "");
      return;
    case FilterField::os_bitness:
      for (const char* const word : {"32", "64", "ARM64", "not supported"}) add(word, "");
      return;
    case FilterField::os:
      return add("Windows", "");
    case FilterField::default_:
    case FilterField::value:
      for (const char* const word : {"true", "false"}) add(word, "");
      return;
    case FilterField::os_version:
    case FilterField::version:
    case FilterField::target_version:
      for (const char* const sign : {">=", ">", "<=", "<", "!"}) add(sign, "compares versions");
      return;
    case FilterField::date_function:
      for (const char* const word : {"linear", "exponentialNormal", "exponentialSlow", "tenant"}) {
        add(word, "");
      }
      return;
    case FilterField::registry:
      for (const char* const hive : {"HKLM\\\\", "HKCU\\\\"}) add(hive, "hive");
      return;
    case FilterField::tag:
    case FilterField::installed_items:
      break;
    default:
      return;
  }
  // The keys that the open lists have.
  std::set<std::string> keys;
  const std::string member =
      "\"" + std::string(kFilterFieldNames[static_cast<std::size_t>(field)]) + "\"";
  for (const auto& [uri, document] : documents_) {
    for (std::size_t at = 0; (at = document.text.find(member, at)) != std::string::npos;) {
      at = document.text.find('"', at + member.size());
      if (at == std::string::npos) break;
      std::string value = StringFrom(document.text, ++at) + ",";
      for (std::size_t comma = 0; (comma = value.find(',')) != std::string::npos;
           value.erase(0, comma + 1)) {
        std::string key = value.substr(0, std::min(comma, value.find('|')));
        key.erase(0, key.find_first_not_of(" !"));
        if (!key.empty()) keys.insert(key);
      }
    }
  }
  for (const std::string& key : keys) add(key, "used in an open list", kText);
}

Json::Value LanguageServer::Completion(const Json::Value& params) {
  const Document& document = Of(params);
  const Json::Value& position = params["position"];
  const ListContext context = ContextAt(
      document.text,
      ByteOfPosition(document.text, NumberOf(position["line"]), NumberOf(position["character"])));
  Json::Value items(Json::arrayValue);
  if (context.kind == ListContext::Kind::kFieldKey) {
    AddFieldKeys(context.keys, context.in_string, items);
  } else if (context.kind == ListContext::Kind::kFieldValue) {
    if (const auto field = FieldNamed(context.field)) AddWords(*field, items);
  } else if (context.kind == ListContext::Kind::kRootKey && context.in_string) {
    for (const char* const key : {"filters", "comment", "$schema"}) {
      items.append(CompletionItem(key, 10, ""));
    }
  }
  return items;
}

Json::Value LanguageServer::CodeAction(const Json::Value& params) {
  Document& document = Of(params);
  const std::string uri = params["textDocument"]["uri"].asString();
  if (edited_.contains(uri)) Check(uri, document);
  Json::Value actions(Json::arrayValue);
  PositionFinder positions(document.text);
  for (const LintFinding& finding : document.findings) {
    if (!finding.fix) continue;
    const Json::Value range = RangeOf(positions, finding.place, finding.end);
    if (!Overlap(range, params["range"])) continue;
    Json::Value action;
    action["title"] = finding.fix->replacement.empty()
                          ? "Remove it"
                          : "Write \"" + yox::Printable(finding.fix->replacement) + "\"";
    action["kind"] = "quickfix";
    action["isPreferred"] = true;
    action["diagnostics"].append(LintDiagnostic(finding, positions));
    Json::Value edit;
    edit["range"] = RangeOf(positions, finding.fix->place, finding.fix->end);
    edit["newText"] = Written(finding.fix->replacement);
    action["edit"]["changes"][uri].append(edit);
    actions.append(action);
  }
  return actions;
}

Json::Value LanguageServer::Formatting(const Json::Value& params) {
  const Document& document = Of(params);
  Json::Value edits(Json::arrayValue);
  std::string laid_out;
  try {
    laid_out = yox::LayOutDocument(document.text);
  } catch (const yox::DocumentError&) {
    return edits;  // the diagnostics say why
  }
  if (laid_out == document.text) return edits;
  PositionFinder positions(document.text);
  Json::Value edit;
  edit["range"] = RangeOf(positions, {1, 1}, {SIZE_MAX, 1});
  edit["newText"] = laid_out;
  edits.append(edit);
  return edits;
}

Json::Value LanguageServer::Definition(const Json::Value& params) {
  Document& document = Of(params);
  const std::string uri = params["textDocument"]["uri"].asString();
  if (edited_.contains(uri)) Check(uri, document);
  const Json::Value& position = params["position"];
  const ListContext context = ContextAt(
      document.text,
      ByteOfPosition(document.text, NumberOf(position["line"]), NumberOf(position["character"])));
  const auto found = std::ranges::find_if(document.findings, [&](const LintFinding& finding) {
    return finding.covered_by && context.filter && finding.filter == context.filter;
  });
  if (found == document.findings.end()) return {};
  const Json::Value list = yox::ParseDocument(document.text);
  const Json::Value& filter = FiltersOf(list)[static_cast<Json::ArrayIndex>(*found->covered_by)];
  yox::PlaceFinder places(document.text);
  const DocumentPlace begin = places.At(static_cast<std::size_t>(filter.getOffsetStart()));
  const DocumentPlace end = places.At(static_cast<std::size_t>(filter.getOffsetLimit()));
  PositionFinder positions(document.text);
  Json::Value location;
  location["uri"] = uri;
  location["range"] = RangeOf(positions, begin, end);
  return location;
}

std::vector<Json::Value> LanguageServer::AskForLens(const Json::Value& id,
                                                    const Json::Value& params) {
  const Document& document = Of(params);
  const std::string uri = params["textDocument"]["uri"].asString();
  if (!settings_.fleet_count || IsTestDocument(uri)) {
    return {Response(id, Json::Value(Json::arrayValue))};
  }
  std::vector<Json::Value> messages;
  std::erase_if(lenses_, [&](const LensRequest& earlier) {
    if (earlier.uri != uri) return false;
    messages.push_back(ErrorResponse(earlier.id, kContentModified, "asked again"));
    return true;
  });
  lenses_.push_back({id, uri, document.text});
  return messages;
}

LanguageServer::FleetWork LanguageServer::TakeFleetWork() {
  // The findings first: an editor asks for a lens after each edit.
  std::erase_if(unknown_, [&](const CriterionText& one) { return fleet_.Knows(one); });
  if (!unknown_.empty()) return LintWork(std::exchange(unknown_, {}));
  if (lenses_.empty()) return {};
  LensRequest request = std::move(lenses_.front());
  lenses_.erase(lenses_.begin());
  return CountWork(std::move(request));
}

LanguageServer::FleetWork LanguageServer::CountWork(LensRequest request) const {
  return [request = std::move(request), count = settings_.fleet_count] {
    Json::Value lenses(Json::arrayValue);
    Json::Value message;
    try {
      const std::string counted = count(request.text);
      if (!counted.empty()) {
        PositionFinder positions(request.text);
        Json::Value lens;
        lens["range"] = RangeOf(positions, {1, 1}, {1, 1});
        lens["command"]["title"] = "applies to " + counted;
        lens["command"]["command"] = "";
        lenses.append(lens);
      }
      message = Response(request.id, lenses);
    } catch (const std::exception& error) {
      message = ErrorResponse(request.id, kInvalidParams, yox::Printable(error.what()));
    }
    return [message] { return std::vector{message}; };
  };
}

LanguageServer::FleetWork LanguageServer::LintWork(std::set<CriterionText> criteria) {
  return [this, criteria = std::move(criteria), state = fleet_state_, lint = settings_.fleet_lint] {
    std::vector<LintFinding> findings;
    std::string trouble;
    try {
      findings = lint(FleetKnowledge::ListOf(criteria));
    } catch (const std::exception& error) {
      trouble = yox::Printable(error.what());
    }
    return [this, criteria, state, findings, trouble]() -> std::vector<Json::Value> {
      if (!trouble.empty()) {
        if (std::exchange(fleet_trouble_, trouble) == trouble) return {};
        Json::Value params;
        params["type"] = 1;  // error
        params["message"] = trouble;
        return {Notification("window/showMessage", params)};
      }
      fleet_trouble_.clear();
      if (state != fleet_state_) {  // the fleet has changed meanwhile
        unknown_.insert(criteria.begin(), criteria.end());
        return {};
      }
      if (!fleet_.Learn(criteria, findings)) return {};
      for (const auto& [uri, document] : documents_) edited_.insert(uri);
      return CheckEdited();
    };
  };
}

}  // namespace yoxctl
