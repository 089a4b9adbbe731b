#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "yox/decision/Lint.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Inputs.h"
#include "host/yoxctl/LintReport.h"
#include "host/yoxctl/Output.h"

using yox::decision::LintDocument;
using yox::decision::LintFinding;

namespace yoxctl {
namespace {

struct LintOptions {
  std::vector<std::string> lists;
  bool strict = false;
};

LintedFile LintFile(const std::string& name, const yox::LocalDate& today) {
  LintedFile file{name, Named(name, [&] { return LintDocument(ReadInput(name), today); })};
  std::ranges::stable_sort(file.findings, {}, [](const LintFinding& finding) {
    return std::pair(finding.place.line, finding.place.column);
  });
  return file;
}

int Lint(const GlobalOptions& global, const LintOptions& options) {
  const yox::LocalDate today = Today(global);
  std::vector<LintedFile> files;
  const bool readable =
      ForEachInput(ExpandFolders(options.lists, IsFilterList),
                   [&](const std::string& name) { files.push_back(LintFile(name, today)); });
  if (!files.empty() || readable) {
    Print(global.format == "json"     ? LintJson(files)
          : global.format == "sarif"  ? LintSarif(files)
          : global.format == "github" ? LintGithub(files)
                                      : LintText(files));
  }
  if (!readable) return kRefused;
  const LintCounts counts = CountsOf(files);
  const bool clean = counts.errors == 0 && (counts.warnings == 0 || !options.strict);
  return clean ? kDone : kNegative;
}

}  // namespace

Command LintCommand() {
  const auto options = std::make_shared<LintOptions>();
  return {.name = "lint",
          .help = "What is wrong or suspicious in filter lists, on any device",
          .options = {{.name = "LIST.json",
                       .help = "The filter lists; a directory: all below it; -: standard input",
                       .target = &options->lists,
                       .required = true},
                      {.name = "--strict",
                       .help = "Warnings count as errors",
                       .target = &options->strict}},
          .run = [options](const GlobalOptions& global) { return Lint(global, *options); },
          .formats = {"sarif", "github"}};
}

}  // namespace yoxctl
