#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <variant>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/DeviceOfCase.h"
#include "yox/applicability/SimulatedProcess.h"
#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/ExplanationDocument.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/ListTest.h"
#include "yox/decision/SuggestedCases.h"
#include "yox/platform/simulated/DeviceProfile.h"
#include "yox/platform/waits/Event.h"
#include "yox/platform/waits/Waits.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/ExplanationText.h"
#include "host/yoxctl/FactsQuestion.h"
#include "host/yoxctl/Inputs.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/Paint.h"
#include "host/yoxctl/StopSignals.h"
#include "host/yoxctl/TestReport.h"

using yox::applicability::SimulatedProcess;
using yox::decision::CoverageGoal;
using yox::decision::ExplainedFilter;
using yox::decision::Explanation;
using yox::decision::ListTest;
using yox::decision::ListTestCase;
using yox::decision::ReadFilterDocument;
using yox::decision::Truth;

namespace yoxctl {
namespace {

using yox::platform::DeviceProfile;

struct TestOptions {
  std::vector<std::string> files;
  std::vector<std::string> names;  // patterns of cases; none: all
  std::optional<std::string> suggest;
  bool coverage = false;
  std::optional<std::size_t> least_coverage;
  bool watch = false;
};

// A device of a facts document, and the moment of its decision.
struct KnownDevice {
  yox::decision::FactsRecord facts;
  std::int64_t now = 0;
};

struct Case {
  ListTestCase test;
  std::variant<DeviceProfile, KnownDevice> device;
};

// A document of cases with all that it names, read.
struct TestFile {
  std::string name;
  ApplicabilityFilter list;
  std::vector<Case> cases;
  std::set<std::string> inputs;  // all files that were read
};

constexpr std::string_view kEnding = ".test.json";

// The list beside NAME.test.json is NAME.json.
std::string ListBeside(const std::string& file) {
  if (!file.ends_with(kEnding)) {
    throw Refusal(yox::Printable(file) +
                  ": its name does not end in .test.json, and it names no list");
  }
  return file.substr(0, file.size() - kEnding.size()) + ".json";
}

// A document that another one names, in the place that messages begin with.
template <class Read>
auto ReadBeside(const std::string& place, const std::string& file, Read read) {
  try {
    return ReadNamed(file, read);
  } catch (const Refusal& refusal) {
    throw Refusal(place + refusal.what());
  }
}

KnownDevice DeviceOfFacts(const ListTestCase& test, const std::string& place,
                          std::string_view text) {
  KnownDevice device;
  try {
    device.facts = yox::decision::FactsOfCase(test, text);
  } catch (const yox::DocumentError& error) {
    const std::string file = YOX::String::UTF16ToUTF8(test.facts->file);
    throw Refusal(place + ".facts: " + (file.empty() ? "" : OneLine(file) + ": ") + error.what());
  }
  std::optional<std::string> now;
  if (test.now) now = YOX::String::UTF16ToUTF8(*test.now);
  device.now = MomentOn(device.facts, place + ".now", now);
  return device;
}

// `inputs` receives the names of the files, also when one of them cannot be read.
TestFile ReadTestFile(const std::string& name, const std::optional<std::string>& now,
                      std::set<std::string>& inputs) {
  inputs.insert(name);
  ListTest test = ReadNamed(name, yox::decision::ReadListTest);
  const std::filesystem::path folder = PathOf(name).parent_path();
  const auto beside = [&](const yox::WString& file) {
    return *inputs.insert(PathText(folder / PathOf(YOX::String::UTF16ToUTF8(file)))).first;
  };
  TestFile file;
  file.name = name;
  if (test.list.empty()) {
    file.list = ReadNamed(*inputs.insert(ListBeside(name)).first, ReadFilterDocument);
  } else {
    file.list = ReadBeside(NameOf(name) + ": list: ", beside(test.list), ReadFilterDocument);
  }
  for (ListTestCase& one : test.cases) {
    if (!one.now && now) one.now = YOX::String::UTF8ToUTF16(ClockTextOf(*now));
    const std::string place = NameOf(name) + ": cases[" + std::to_string(file.cases.size()) + "]";
    if (one.facts) {
      const std::string facts_place = place + ".facts: ";
      std::string text;
      if (!one.facts->file.empty()) {
        text = ReadBeside(facts_place, beside(one.facts->file), [](std::string t) { return t; });
      }
      file.cases.push_back({one, DeviceOfFacts(one, place, text)});
      continue;
    }
    std::string profile = "{}";
    if (!one.profile.empty()) {
      profile = ReadBeside(place + ".profile: ", beside(one.profile),
                           [](std::string text) { return text; });
    }
    try {
      file.cases.push_back({one, yox::applicability::DeviceOfCase(one, profile)});
    } catch (const yox::DocumentError& error) {
      throw Refusal(place + "." + error.what());
    }
  }
  return file;
}

Explanation Decide(const ApplicabilityFilter& list, const Case& one) {
  ApplicabilityEvaluator::Pairs tags;
  for (const auto& [key, value] : one.test.tags) tags.emplace_back(key, value);
  const auto& target = one.test.target_version;
  if (const auto* const known = std::get_if<KnownDevice>(&one.device)) {
    return ExplainOn(known->facts, list, {known->now, target, tags});
  }
  const SimulatedProcess process(std::get<DeviceProfile>(one.device));
  return ApplicabilityEvaluator::CreateWithoutTasks()->Explain(list, target ? &*target : nullptr,
                                                               tags);
}

Truth TruthOf(const Explanation& found) {
  return found.is_undetermined ? Truth::kUnknown : yox::decision::TruthOf(found.applies);
}

bool Passed(const ListTestCase& test, const Explanation& found) {
  return TruthOf(found) == *test.applies &&
         (!test.decided_by || found.decided_by == std::size_t{*test.decided_by});
}

std::string ByFilter(const Json::Value& index) {
  return index.isNull() ? "no filter" : "filter [" + index.asString() + "]";
}

// The filters of an explanation that show why a case failed: the one that was to decide, the one
// that did, and else the nearest miss.
std::string RelevantText(const ListTestCase& test, const Explanation& found, const Painter& paint) {
  std::vector<std::size_t> filters;
  if (found.decided_by) filters.push_back(*found.decided_by);
  if (test.decided_by && *test.decided_by < found.filters.size()) {
    filters.push_back(*test.decided_by);
  }
  for (std::size_t i = 0; i < found.filters.size(); ++i) {
    if (found.filters[i].outcome == ExplainedFilter::Outcome::kUndecided) filters.push_back(i);
  }
  std::ranges::sort(filters);
  filters.erase(std::unique(filters.begin(), filters.end()), filters.end());
  std::string text;
  for (const std::size_t filter : filters) text += FilterText(found, filter, paint);
  if (TruthOf(found) != *test.applies && !found.is_undetermined) {
    text += NearestMissText(found, paint);
  }
  return text;
}

// A case in the JSON output.
Json::Value CaseJson(std::size_t index, const Case& one, const Explanation& found) {
  Json::Value json = ExplanationJson(found);
  const bool passed = Passed(one.test, found);
  if (passed) {
    json.removeMember("explain");
    json.removeMember("nearest_miss");
  }
  json["case"] = Json::UInt64{index};
  json["name"] = YOX::String::UTF16ToUTF8(one.test.name);
  json["passed"] = passed;
  json["expected"]["applies"] = *one.test.applies == Truth::kUnknown
                                    ? Json::Value()
                                    : Json::Value(*one.test.applies == Truth::kTrue);
  if (one.test.decided_by) json["expected"]["decided_by"] = *one.test.decided_by;
  return json;
}

std::string Expectation(const Json::Value& answer) {
  std::string text = AnswerWord(answer["applies"]);
  const char* separator = ", needs ";
  for (const Json::Value& fact : answer["needs"]) {
    text += separator + OneLine(fact.asString());
    separator = ", ";
  }
  if (answer.isMember("decided_by")) text += ", by " + ByFilter(answer["decided_by"]);
  return text;
}

std::string CaseText(const Json::Value& result, const Painter& paint) {
  const bool passed = result["passed"].asBool();
  std::string text = passed ? paint(Paint::kGood, "  ok    ") : paint(Paint::kBad, "  FAIL  ");
  text += "[" + result["case"].asString() + "] " + OneLine(result["name"].asString()) + "\n";
  if (passed) return text;
  text += "        expected: " + Expectation(result["expected"]) + "\n";
  return text + "        found:    " + Expectation(result) + "\n";
}

std::string Indented(const std::string& text) {
  constexpr const char* kIndent = "    ";
  std::string indented;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = text.find('\n', at) + 1;
    indented += kIndent + text.substr(at, end - at);
    at = end;
  }
  return indented;
}

// The document of one case, and the lines for people after its own line.
struct CaseAnswer {
  Json::Value result;
  std::string text;
  std::vector<CoverageGoal> reached;
};

CaseAnswer AnswerCase(const TestFile& file, std::size_t index, const Painter& paint) {
  const Case& one = file.cases[index];
  const Explanation found = Decide(file.list, one);
  CaseAnswer answer{CaseJson(index, one, found), {}, yox::decision::GoalsReached(found)};
  if (!Passed(one.test, found)) answer.text = RelevantText(one.test, found, paint);
  return answer;
}

// Whether a pattern with `*` for any letters matches, without regard to the letter case of ASCII.
bool NameMatches(std::string_view pattern, std::string_view name) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  std::size_t at = 0;
  std::size_t star = std::string_view::npos;
  std::size_t retry = 0;
  std::size_t i = 0;
  while (i < name.size()) {
    if (at < pattern.size() && pattern[at] == '*') {
      star = at++;
      retry = i;
    } else if (at < pattern.size() && lower(pattern[at]) == lower(name[i])) {
      ++at;
      ++i;
    } else if (star != std::string_view::npos) {
      at = star + 1;
      i = ++retry;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', at) == std::string_view::npos;
}

bool IsChosen(const Case& one, const TestOptions& options) {
  const std::string name = YOX::String::UTF16ToUTF8(one.test.name);
  return options.names.empty() ||
         std::ranges::any_of(
             options.names, [&](const std::string& pattern) { return NameMatches(pattern, name); });
}

// Decides the cases of a file and prints them.
TestedFile RunFile(const TestFile& file, const GlobalOptions& global, const TestOptions& options) {
  const bool text = global.format == "text";
  const Painter paint = PainterOfOutput(global.colours);
  TestedFile tested{file.name, yox::decision::CoverageGoals(file.list), {}, {}};
  if (text) Print(OneLine(file.name) + "\n");
  for (std::size_t i = 0; i < file.cases.size(); ++i) {
    if (!IsChosen(file.cases[i], options)) continue;
    CaseAnswer answer = AnswerCase(file, i, paint);
    tested.reached.insert(answer.reached.begin(), answer.reached.end());
    if (text) Print(CaseText(answer.result, paint) + Indented(answer.text));
    tested.results.push_back({std::move(answer.result), std::move(answer.text)});
  }
  return tested;
}

int RunAll(const GlobalOptions& global, const TestOptions& options) {
  std::vector<TestFile> files;
  const bool readable =
      ForEachInput(ExpandFolders(options.files, IsListTest), [&](const std::string& name) {
        std::set<std::string> inputs;
        files.push_back(ReadTestFile(name, global.now, inputs));
      });
  std::vector<TestedFile> tested;
  for (const TestFile& file : files) tested.push_back(RunFile(file, global, options));
  const TestCounts counts = CountsOf(tested);
  if (readable || !tested.empty()) {
    const Painter paint = PainterOfOutput(global.colours);
    const bool coverage = options.coverage || options.least_coverage;
    Print(global.json ? TestJson(tested, coverage)
          : global.format == "junit"
              ? TestJunit(tested)
              : (coverage ? CoverageText(tested) : "") + CountsText(counts, paint));
  }
  if (!readable) return kRefused;
  const bool covered = !options.least_coverage || CoversAtLeast(tested, *options.least_coverage);
  if (!covered) {
    Complain("the coverage is below " + std::to_string(*options.least_coverage) + " %");
  }
  return counts.failed == 0 && covered ? kDone : kNegative;
}

// The bytes of files; std::nullopt for one that cannot be read.
std::map<std::string, std::string> BytesOf(const std::set<std::string>& files) {
  std::map<std::string, std::string> bytes;
  for (const std::string& file : files) {
    try {
      bytes[file] = yox::ReadDocumentFile(PathOf(file));
    } catch (const yox::DocumentError&) {
      bytes[file] = {};
    }
  }
  return bytes;
}

// All files that the cases are read from.
std::set<std::string> InputsOf(const TestOptions& options) {
  std::set<std::string> inputs;
  for (const std::string& name : ExpandFolders(options.files, IsListTest)) {
    try {
      ReadTestFile(name, {}, inputs);
    } catch (const Refusal&) {
      // Its names up to there count.
    }
  }
  return inputs;
}

// Runs all cases, and again each time a file is edited, until the program is interrupted.
int Watch(const GlobalOptions& global, const TestOptions& options) {
  constexpr std::int64_t kLookMilliseconds = 100;
  yox::platform::Event stop;
  const StopSignals signals(stop);
  while (!stop.IsSet()) {
    // Looked at before the cases are read, so that no edit is missed in between.
    const std::set<std::string> inputs = InputsOf(options);
    const auto bytes = BytesOf(inputs);
    try {
      RunAll(global, options);
    } catch (const Refusal& refusal) {
      Complain(refusal.what());
    }
    while (!yox::platform::NativeWaitForAny({stop.handle()}, kLookMilliseconds).signalled() &&
           BytesOf(inputs) == bytes) {
    }
  }
  return kDone;
}

int Suggest(const std::string& list_name) {
  const ApplicabilityFilter list =
      Named(list_name, [&] { return ReadFilterDocument(ReadInput(list_name)); });
  const auto suggested = yox::decision::SuggestCases(list);
  for (const CoverageGoal& goal : suggested.open) {
    Complain(NameOf(list_name) + ": no device was found for: " + GoalText(goal));
  }
  if (suggested.cases.empty()) throw Refusal(NameOf(list_name) + ": there is nothing to test");
  Print(yox::decision::WriteCases(suggested.cases));
  return suggested.open.empty() ? kDone : kNegative;
}

int Test(const GlobalOptions& global, const TestOptions& options) {
  if (global.device || global.state_dir) {
    throw Refusal("test: the cases name their devices: --device and --state-dir are not for it");
  }
  if (global.now) ClockAt(*global.now);  // refused once, and not for each case
  if (options.suggest) {
    if (!options.files.empty()) throw Refusal("--suggest: takes the list alone");
    return Suggest(*options.suggest);
  }
  if (options.files.empty()) throw Refusal("LIST.test.json is required (see yoxctl --help)");
  if (options.watch && std::ranges::count(options.files, kStandardInput) != 0) {
    throw Refusal("--watch: standard input can be read only once");
  }
  if (options.watch) return Watch(global, options);
  return RunAll(global, options);
}

}  // namespace

Command TestCommand() {
  const auto options = std::make_shared<TestOptions>();
  return {
      .name = "test",
      .help = "Whether filter lists decide as their test files expect",
      .options = {{.name = "LIST.test.json",
                   .help = "The test files; a directory: all below it; -: standard input",
                   .target = &options->files},
                  {.name = "--name",
                   .type = "PATTERN",
                   .help = "Only cases with such a name, with * for any letters; may be given "
                           "several times",
                   .target = &options->names},
                  {.name = "--coverage",
                   .help = "Say which filters decided in no case, and which criteria never were "
                           "the first that failed",
                   .target = &options->coverage},
                  {.name = "--least-coverage",
                   .type = "PERCENT",
                   .help = "Exit with 1 if less of a list is covered",
                   .target = &options->least_coverage},
                  {.name = "--watch",
                   .help = "Run the cases again each time a file is edited",
                   .target = &options->watch},
                  {.name = "--suggest",
                   .type = "LIST.json",
                   .help = "Write cases that reach every filter and both sides of each criterion",
                   .target = &options->suggest}},
      .run = [options](const GlobalOptions& global) { return Test(global, *options); },
      .formats = {"junit"}};
}

}  // namespace yoxctl
