#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "yox/base/Json.h"
#include "yox/decision/Lint.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Output.h"

using yox::decision::kFilterFieldNames;
using yox::decision::Lint;
using yox::decision::LintDocument;
using yox::decision::LintFinding;
using yox::decision::LintRuleRow;
using yox::decision::LintSeverity;
using yox::decision::MessageOf;
using yox::decision::RowOf;

namespace yoxctl {
namespace {

struct LintOptions {
  std::vector<std::string> lists;
  bool strict = false;
};

struct LintedFile {
  std::string name;
  std::vector<LintFinding> findings;
};

struct Counts {
  std::size_t errors = 0;
  std::size_t warnings = 0;
};

Counts CountsOf(const std::vector<LintedFile>& files) {
  Counts counts;
  for (const LintedFile& file : files) {
    for (const LintFinding& finding : file.findings) {
      const bool error = RowOf(finding.rule).severity == LintSeverity::kError;
      ++(error ? counts.errors : counts.warnings);
    }
  }
  return counts;
}

const char* WordOf(LintSeverity severity) {
  return severity == LintSeverity::kError ? "error" : "warning";
}

std::string Counted(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// "FILE:LINE:COLUMN: error: [FILTER] MESSAGE [rule]", as compilers write, so that editors jump
// there.
std::string ToText(const std::vector<LintedFile>& files, const Counts& counts) {
  std::string text;
  for (const LintedFile& file : files) {
    for (const LintFinding& finding : file.findings) {
      const LintRuleRow& rule = RowOf(finding.rule);
      text += NameOf(file.name) + ":" + std::to_string(finding.place.line) + ":" +
              std::to_string(finding.place.column) + ": " + WordOf(rule.severity) + ": ";
      if (finding.filter) text += "filter [" + std::to_string(*finding.filter) + "]: ";
      text += MessageOf(finding) + " [" + std::string(rule.id) + "]\n    " +
              std::string(rule.remedy) + "\n";
    }
  }
  if (text.empty()) return "nothing found\n";
  return text + Counted(counts.errors, "error") + ", " + Counted(counts.warnings, "warning") + "\n";
}

Json::Value ToJson(const LintedFile& file, const LintFinding& finding) {
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
  if (finding.field) {
    json["criterion"] = std::string(kFilterFieldNames[static_cast<std::size_t>(*finding.field)]);
    json["offset"] = Json::UInt64{finding.offset};
    json["length"] = Json::UInt64{finding.length};
  }
  return json;
}

std::string ToJson(const std::vector<LintedFile>& files, const Counts& counts) {
  Json::Value answer;
  answer["errors"] = Json::UInt64{counts.errors};
  answer["warnings"] = Json::UInt64{counts.warnings};
  answer["findings"] = Json::Value(Json::arrayValue);
  for (const LintedFile& file : files) {
    for (const LintFinding& finding : file.findings) {
      answer["findings"].append(ToJson(file, finding));
    }
  }
  return yox::JsonText(answer);
}

int Lint(const GlobalOptions& global, const LintOptions& options) {
  const ChosenDevice device(global);
  const auto& clock = yox::platform::Platform::Get().clock();
  const yox::LocalDate today = clock.ToLocalDate(clock.Now());
  std::vector<LintedFile> files;
  for (const std::string& name : options.lists) {
    files.push_back({name, ReadNamed(name, [&](const std::string& utf8) {
                       return LintDocument(utf8, today);
                     })});
    std::ranges::stable_sort(files.back().findings, {}, [](const LintFinding& finding) {
      return std::pair(finding.place.line, finding.place.column);
    });
  }
  const Counts counts = CountsOf(files);
  Print(global.json ? ToJson(files, counts) : ToText(files, counts));
  const bool clean = counts.errors == 0 && (counts.warnings == 0 || !options.strict);
  return clean ? kDone : kNegative;
}

}  // namespace

Command LintCommand() {
  const auto options = std::make_shared<LintOptions>();
  return {.name = "lint",
          .help = "What is wrong or suspicious in filter lists, on any device",
          .options = {{.name = "LIST.json",
                       .help = "The filter lists",
                       .target = &options->lists,
                       .required = true},
                      {.name = "--strict",
                       .help = "Warnings count as errors",
                       .target = &options->strict}},
          .run = [options](const GlobalOptions& global) { return Lint(global, *options); }};
}

}  // namespace yoxctl
