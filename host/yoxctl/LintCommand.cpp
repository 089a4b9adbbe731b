#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "yox/decision/FilterDocument.h"
#include "yox/decision/Lint.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/FactsSource.h"
#include "host/yoxctl/FleetFindings.h"
#include "host/yoxctl/Inputs.h"
#include "host/yoxctl/LintReport.h"
#include "host/yoxctl/Output.h"

using yox::decision::kLintEffort;
using yox::decision::LintDocument;
using yox::decision::LintFinding;
using yox::decision::ReadFilterDocument;

namespace yoxctl {
namespace {

struct LintOptions {
  std::vector<std::string> lists;
  std::vector<std::string> facts;
  bool strict = false;
};

// A list that was read.
struct Input {
  std::string name;
  std::string text;
};

// What no device of the facts documents has, for each list; empty without facts documents.
std::vector<std::vector<LintFinding>> FindingsOfFleet(
    const std::vector<std::string>& sources, const std::vector<ApplicabilityFilter>& lists) {
  if (sources.empty()) return std::vector<std::vector<LintFinding>>(lists.size());
  FleetFindings findings = LintOnFleet({.sources = sources, .skip_bad = true, .lists = lists});
  ComplainOf(findings.count);
  return std::move(findings.of_lists);
}

int Lint(const GlobalOptions& global, const LintOptions& options) {
  const yox::LocalDate today = Today(global);
  std::vector<Input> inputs;
  std::vector<ApplicabilityFilter> lists;
  const bool readable =
      ForEachInput(ExpandFolders(options.lists, IsFilterList), [&](const std::string& name) {
        Input input{name, ReadInput(name)};
        lists.push_back(Named(name, [&] { return ReadFilterDocument(input.text); }));
        inputs.push_back(std::move(input));
      });
  const auto fleet = FindingsOfFleet(options.facts, lists);
  std::vector<LintedFile> files;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    files.push_back({inputs[i].name, LintDocument(inputs[i].text, today, kLintEffort,
                                                  [&](const auto&) { return fleet[i]; })});
    std::ranges::stable_sort(files.back().findings, {}, [](const LintFinding& finding) {
      return std::pair(finding.place.line, finding.place.column);
    });
  }
  if (!files.empty() || readable) {
    Print(global.format == "json"     ? LintJson(files)
          : global.format == "sarif"  ? LintSarif(files)
          : global.format == "github" ? LintGithub(files)
                                      : LintText(files, PainterOfOutput(global.colours)));
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
                      {.name = "--facts",
                       .type = "FILE",
                       .help = "Also say what no device of these facts documents has, and the "
                               "nearest that exists; may be given several times",
                       .target = &options->facts},
                      {.name = "--strict",
                       .help = "Warnings count as errors",
                       .target = &options->strict}},
          .run = [options](const GlobalOptions& global) { return Lint(global, *options); },
          .formats = {"sarif", "github"}};
}

}  // namespace yoxctl
