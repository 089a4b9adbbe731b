#include "host/yoxctl/LintReport.h"

#include <json/value.h>

#include <filesystem>
#include <string_view>

#include "yox/base/Json.h"

#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Output.h"

using yox::decision::kFilterFieldNames;
using yox::decision::kLintRules;
using yox::decision::LintFinding;
using yox::decision::LintRuleRow;
using yox::decision::LintSeverity;
using yox::decision::MessageOf;
using yox::decision::RowOf;

namespace yoxctl {
namespace {

const char* WordOf(LintSeverity severity) {
  return severity == LintSeverity::kError ? "error" : "warning";
}

std::string Counted(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// "filter [1]: MESSAGE".
std::string PlacedMessage(const LintFinding& finding) {
  const std::string filter =
      finding.filter ? "filter [" + std::to_string(*finding.filter) + "]: " : "";
  return filter + MessageOf(finding);
}

Json::Value FindingJson(const LintedFile& file, const LintFinding& finding) {
  const LintRuleRow& rule = RowOf(finding.rule);
  Json::Value json;
  json["file"] = file.name;
  json["line"] = Json::UInt64{finding.place.line};
  json["column"] = Json::UInt64{finding.place.column};
  json["rule"] = std::string(rule.id);
  json["severity"] = WordOf(rule.severity);
  json["message"] = MessageOf(finding);
  json["remedy"] = std::string(rule.remedy);
  if (finding.filter) json["filter"] = Json::UInt64{*finding.filter};
  if (finding.allowed) json["reason"] = *finding.allowed;
  if (!finding.field) return json;
  json["criterion"] = std::string(kFilterFieldNames[static_cast<std::size_t>(*finding.field)]);
  json["offset"] = Json::UInt64{finding.offset};
  json["length"] = Json::UInt64{finding.length};
  if (finding.fix) {
    json["fix"]["offset"] = Json::UInt64{finding.fix->offset};
    json["fix"]["length"] = Json::UInt64{finding.fix->length};
    json["fix"]["replacement"] = finding.fix->replacement;
  }
  return json;
}

// Writes the characters that are not plain as %XX.
template <class IsPlain>
std::string WithPercents(std::string_view text, IsPlain is_plain) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (is_plain(c)) {
      result += c;
    } else {
      result += {'%', kDigits[byte / 16], kDigits[byte % 16]};
    }
  }
  return result;
}

// A value of a workflow command.
std::string Escaped(std::string_view text, std::string_view escaped) {
  return WithPercents(text, [&](char c) { return escaped.find(c) == std::string_view::npos; });
}

// The name of a file as a reference of RFC 3986.
std::string UriOf(const std::string& name) {
  constexpr std::string_view kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
  const std::filesystem::path path = PathOf(name);
  const std::string text = PathText(path.generic_u8string());
  const std::string uri =
      WithPercents(text, [&](char c) { return kPlain.find(c) != std::string_view::npos; });
  if (!path.is_absolute()) return uri;
  return (uri.starts_with('/') ? "file://" : "file:///") + uri;
}

Json::Value SarifRule(const LintRuleRow& rule) {
  Json::Value json;
  json["id"] = std::string(rule.id);
  json["shortDescription"]["text"] = std::string(rule.finding);
  json["help"]["text"] = std::string(rule.remedy);
  json["defaultConfiguration"]["level"] = WordOf(rule.severity);
  return json;
}

Json::Value SarifResult(const LintedFile& file, const LintFinding& finding) {
  const LintRuleRow& rule = RowOf(finding.rule);
  Json::Value json;
  json["ruleId"] = std::string(rule.id);
  json["ruleIndex"] = Json::UInt64{static_cast<std::size_t>(finding.rule)};
  json["level"] = WordOf(rule.severity);
  json["message"]["text"] = PlacedMessage(finding) + ": " + std::string(rule.remedy);
  Json::Value place;
  place["artifactLocation"]["uri"] = UriOf(file.name);
  place["region"]["startLine"] = Json::UInt64{finding.place.line};
  place["region"]["startColumn"] = Json::UInt64{finding.place.column};
  place["region"]["endLine"] = Json::UInt64{finding.end.line};
  place["region"]["endColumn"] = Json::UInt64{finding.end.column};
  json["locations"][0]["physicalLocation"] = place;
  if (finding.allowed) {
    json["suppressions"][0]["kind"] = "inSource";
    json["suppressions"][0]["justification"] = *finding.allowed;
  }
  return json;
}

std::string WorkflowCommand(const LintedFile& file, const LintFinding& finding) {
  const LintRuleRow& rule = RowOf(finding.rule);
  const std::string message = PlacedMessage(finding) + "\n" + std::string(rule.remedy);
  return std::string("::") + WordOf(rule.severity) + " file=" + Escaped(file.name, "%\r\n:,") +
         ",line=" + std::to_string(finding.place.line) +
         ",col=" + std::to_string(finding.place.column) +
         ",endLine=" + std::to_string(finding.end.line) +
         ",endColumn=" + std::to_string(finding.end.column) + ",title=" + std::string(rule.id) +
         "::" + Escaped(message, "%\r\n") + "\n";
}

template <class Visit>
void ForEachFinding(const std::vector<LintedFile>& files, Visit visit) {
  for (const LintedFile& file : files) {
    for (const LintFinding& finding : file.findings) visit(file, finding);
  }
}

}  // namespace

LintCounts CountsOf(const std::vector<LintedFile>& files) {
  LintCounts counts;
  ForEachFinding(files, [&](const LintedFile&, const LintFinding& finding) {
    const bool error = RowOf(finding.rule).severity == LintSeverity::kError;
    ++(finding.allowed ? counts.allowed : error ? counts.errors : counts.warnings);
  });
  return counts;
}

std::string LintText(const std::vector<LintedFile>& files, const Painter& paint) {
  std::string text;
  ForEachFinding(files, [&](const LintedFile& file, const LintFinding& finding) {
    if (finding.allowed) return;
    const LintRuleRow& rule = RowOf(finding.rule);
    text += NameOf(file.name) + ":" + std::to_string(finding.place.line) + ":" +
            std::to_string(finding.place.column) + ": " +
            paint(rule.severity == LintSeverity::kError ? Paint::kBad : Paint::kOdd,
                  WordOf(rule.severity)) +
            ": " + PlacedMessage(finding) + " [" + std::string(rule.id) + "]\n    " +
            std::string(rule.remedy) + "\n";
  });
  const LintCounts counts = CountsOf(files);
  text += text.empty()
              ? "nothing found"
              : Counted(counts.errors, "error") + ", " + Counted(counts.warnings, "warning");
  if (counts.allowed != 0) text += ", " + std::to_string(counts.allowed) + " allowed";
  return text + "\n";
}

std::string LintJson(const std::vector<LintedFile>& files) {
  const LintCounts counts = CountsOf(files);
  Json::Value answer;
  answer["errors"] = Json::UInt64{counts.errors};
  answer["warnings"] = Json::UInt64{counts.warnings};
  answer["findings"] = Json::Value(Json::arrayValue);
  answer["allowed"] = Json::Value(Json::arrayValue);
  ForEachFinding(files, [&](const LintedFile& file, const LintFinding& finding) {
    answer[finding.allowed ? "allowed" : "findings"].append(FindingJson(file, finding));
  });
  return yox::JsonText(answer);
}

std::string LintSarif(const std::vector<LintedFile>& files) {
  Json::Value log;
  log["$schema"] = "https://json.schemastore.org/sarif-2.1.0.json";
  log["version"] = "2.1.0";
  Json::Value& run = log["runs"][0];
  run["columnKind"] = "unicodeCodePoints";
  run["tool"]["driver"]["name"] = "yoxctl";
  run["tool"]["driver"]["version"] = YOXCTL_VERSION;
  for (const LintRuleRow& rule : kLintRules) {
    run["tool"]["driver"]["rules"].append(SarifRule(rule));
  }
  run["results"] = Json::Value(Json::arrayValue);
  ForEachFinding(files, [&](const LintedFile& file, const LintFinding& finding) {
    run["results"].append(SarifResult(file, finding));
  });
  return yox::JsonText(log);
}

std::string LintGithub(const std::vector<LintedFile>& files) {
  std::string text;
  ForEachFinding(files, [&](const LintedFile& file, const LintFinding& finding) {
    if (!finding.allowed) text += WorkflowCommand(file, finding);
  });
  return text;
}

}  // namespace yoxctl
