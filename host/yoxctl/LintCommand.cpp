#include <algorithm>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "yox/decision/FilterDocument.h"
#include "yox/decision/FleetLint.h"
#include "yox/decision/Lint.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/facts/FactsLine.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/FactsSource.h"
#include "host/yoxctl/Inputs.h"
#include "host/yoxctl/LintReport.h"
#include "host/yoxctl/Output.h"

using yox::decision::FleetLint;
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

// What no device of facts documents has, for each list; nothing without facts documents.
std::vector<std::vector<LintFinding>> FleetFindings(const std::vector<std::string>& sources,
                                                    const std::vector<Input>& inputs) {
  std::vector<std::vector<LintFinding>> findings(inputs.size());
  if (sources.empty()) return findings;
  std::vector<ApplicabilityFilter> lists;
  for (const Input& input : inputs) {
    lists.push_back(Named(input.name, [&] { return ReadFilterDocument(input.text); }));
  }
  std::deque<FleetLint> lints;
  for (const ApplicabilityFilter& list : lists) lints.emplace_back(list);
  const yox::decision::Question question;
  const FactsInput fleet{.sources = sources, .skip_bad = true, .lists = lists};
  ComplainOf(ReadFleet(fleet, [&](FactsBatch& batch) {
    std::vector<FleetLint::Tally> tallies(lints.begin(), lints.end());
    while (batch.Next()) {
      for (FleetLint::Tally& tally : tallies) {
        yox::facts::LineFacts facts(batch.line(), question);
        tally.Add(facts);
      }
    }
    return [&lints, tallies = std::move(tallies)] {
      for (std::size_t i = 0; i < lints.size(); ++i) lints[i].Add(tallies[i]);
    };
  }));
  for (std::size_t i = 0; i < lints.size(); ++i) findings[i] = lints[i].Findings();
  return findings;
}

int Lint(const GlobalOptions& global, const LintOptions& options) {
  const yox::LocalDate today = Today(global);
  std::vector<Input> inputs;
  const bool readable =
      ForEachInput(ExpandFolders(options.lists, IsFilterList), [&](const std::string& name) {
        Input input{name, ReadInput(name)};
        Named(name, [&] { return ReadFilterDocument(input.text); });
        inputs.push_back(std::move(input));
      });
  auto fleet = FleetFindings(options.facts, inputs);
  std::vector<LintedFile> files;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    files.push_back(
        {inputs[i].name, LintDocument(inputs[i].text, today, kLintEffort, std::move(fleet[i]))});
    std::ranges::stable_sort(files.back().findings, {}, [](const LintFinding& finding) {
      return std::pair(finding.place.line, finding.place.column);
    });
  }
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
