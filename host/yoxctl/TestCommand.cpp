#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/ListTest.h"
#include "yox/applicability/SimulatedProcess.h"
#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/ExplanationDocument.h"
#include "yox/decision/FilterDocument.h"
#include "yox/platform/simulated/DeviceProfile.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/ExplanationText.h"
#include "host/yoxctl/FactsQuestion.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/Paint.h"
#include "host/yoxctl/Table.h"

using yox::applicability::ListTest;
using yox::applicability::ListTestCase;
using yox::applicability::SimulatedProcess;
using yox::decision::ExplainedFilter;
using yox::decision::Explanation;
using yox::decision::ReadFilterDocument;
using yox::decision::Truth;

namespace yoxctl {
namespace {

using yox::platform::DeviceProfile;

struct TestOptions {
  std::vector<std::string> files;
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
    device.facts = yox::applicability::FactsOfCase(test, text);
  } catch (const yox::DocumentError& error) {
    const std::string file = YOX::String::UTF16ToUTF8(test.facts->file);
    throw Refusal(place + ".facts: " + (file.empty() ? "" : OneLine(file) + ": ") + error.what());
  }
  std::optional<std::string> now;
  if (test.now) now = YOX::String::UTF16ToUTF8(*test.now);
  device.now = MomentOn(device.facts, place + ".now", now);
  return device;
}

TestFile ReadTestFile(const std::string& name) {
  const ListTest test = ReadNamed(name, yox::applicability::ReadListTest);
  const std::filesystem::path folder = PathOf(name).parent_path();
  const auto beside = [&](const yox::WString& file) {
    return PathText(folder / PathOf(YOX::String::UTF16ToUTF8(file)));
  };
  TestFile file;
  file.name = name;
  if (test.list.empty()) {
    file.list = ReadNamed(ListBeside(name), ReadFilterDocument);
  } else {
    file.list = ReadBeside(NameOf(name) + ": list: ", beside(test.list), ReadFilterDocument);
  }
  for (const ListTestCase& one : test.cases) {
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
};

CaseAnswer AnswerCase(const TestFile& file, std::size_t index, const Painter& paint) {
  const Case& one = file.cases[index];
  const Explanation found = Decide(file.list, one);
  CaseAnswer answer{CaseJson(index, one, found), {}};
  if (!Passed(one.test, found)) answer.text = RelevantText(one.test, found, paint);
  return answer;
}

int Test(const GlobalOptions& global, const TestOptions& options) {
  if (global.device || global.state_dir) {
    throw Refusal("test: the cases name their devices: --device and --state-dir are not for it");
  }
  std::vector<TestFile> files;
  for (const std::string& name : options.files) files.push_back(ReadTestFile(name));

  const Painter paint = PainterOfOutput(global.colours);
  Json::Value document;
  std::size_t passed = 0;
  std::size_t failed = 0;
  for (const TestFile& file : files) {
    Json::Value& entry = document["files"].append(Json::objectValue);
    entry["file"] = file.name;
    if (!global.json) Print(OneLine(file.name) + "\n");
    for (std::size_t i = 0; i < file.cases.size(); ++i) {
      CaseAnswer answer = AnswerCase(file, i, paint);
      ++(answer.result["passed"].asBool() ? passed : failed);
      if (!global.json) Print(CaseText(answer.result, paint) + Indented(answer.text));
      entry["cases"].append(std::move(answer.result));
    }
  }
  if (global.json) {
    document["passed"] = Json::UInt64{passed};
    document["failed"] = Json::UInt64{failed};
    Print(yox::JsonText(document));
  } else {
    const std::string counts =
        std::to_string(passed) + " passed, " + std::to_string(failed) + " failed";
    Print(paint(failed == 0 ? Paint::kGood : Paint::kBad, counts) + "\n");
  }
  return failed == 0 ? kDone : kNegative;
}

}  // namespace

Command TestCommand() {
  const auto options = std::make_shared<TestOptions>();
  return {.name = "test",
          .help = "Whether filter lists decide as their test files expect",
          .options = {{.name = "LIST.test.json",
                       .help = "The test files",
                       .target = &options->files,
                       .required = true}},
          .run = [options](const GlobalOptions& global) { return Test(global, *options); }};
}

}  // namespace yoxctl
