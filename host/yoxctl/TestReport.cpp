#include "host/yoxctl/TestReport.h"

#include <algorithm>

#include "yox/base/Json.h"
#include "yox/decision/FilterFields.h"

#include "host/yoxctl/Output.h"
#include "host/yoxctl/XmlText.h"

using yox::decision::CoverageGoal;
using yox::decision::kFilterFieldNames;

namespace yoxctl {
namespace {

bool Passed(const TestedCase& one) { return one.result["passed"].asBool(); }

std::size_t ReachedOf(const TestedFile& file) {
  return static_cast<std::size_t>(std::ranges::count_if(
      file.goals, [&](const CoverageGoal& goal) { return file.reached.contains(goal); }));
}

std::string FieldName(const CoverageGoal& goal) {
  return std::string(kFilterFieldNames[static_cast<std::size_t>(*goal.failing)]);
}

Json::Value CoverageJson(const TestedFile& file) {
  Json::Value json;
  json["goals"] = Json::UInt64{file.goals.size()};
  json["reached"] = Json::UInt64{ReachedOf(file)};
  json["missing"] = Json::Value(Json::arrayValue);
  for (const CoverageGoal& goal : file.goals) {
    if (file.reached.contains(goal)) continue;
    Json::Value missing;
    missing["filter"] = Json::UInt64{goal.filter};
    if (goal.failing) missing["criterion"] = FieldName(goal);
    json["missing"].append(missing);
  }
  return json;
}

// On one line.
std::string Xml(std::string_view text) { return XmlText(OneLine(text)); }

std::string XmlLines(std::string_view text) {
  std::string lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines += Xml(text.substr(0, end)) + "\n";
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

std::string CaseXml(const TestedFile& file, const TestedCase& one) {
  const std::string name =
      "[" + one.result["case"].asString() + "] " + one.result["name"].asString();
  std::string text =
      "    <testcase classname=\"" + Xml(file.name) + "\" name=\"" + Xml(name) + "\"";
  if (Passed(one)) return text + "/>\n";
  const bool applies = one.result["applies"].asBool();
  return text + ">\n      <failure message=\"" + (applies ? "applies" : "does not apply") + "\">" +
         XmlLines(one.text) + "</failure>\n    </testcase>\n";
}

TestCounts CountsOfFile(const TestedFile& file) {
  const auto passed = static_cast<std::size_t>(std::ranges::count_if(file.results, Passed));
  return {passed, file.results.size() - passed};
}

}  // namespace

TestCounts CountsOf(const std::vector<TestedFile>& files) {
  TestCounts counts;
  for (const TestedFile& file : files) {
    const TestCounts of_file = CountsOfFile(file);
    counts.passed += of_file.passed;
    counts.failed += of_file.failed;
  }
  return counts;
}

std::string CountsText(const TestCounts& counts, const Painter& paint) {
  const std::string text =
      std::to_string(counts.passed) + " passed, " + std::to_string(counts.failed) + " failed";
  return paint(counts.failed == 0 ? Paint::kGood : Paint::kBad, text) + "\n";
}

std::string GoalText(const CoverageGoal& goal) {
  const std::string filter = "filter [" + std::to_string(goal.filter) + "]";
  if (!goal.failing) return filter + " decides";
  return filter + ": " + FieldName(goal) + " is the first that fails";
}

std::string CoverageText(const std::vector<TestedFile>& files) {
  std::string text;
  for (const TestedFile& file : files) {
    const std::size_t reached = ReachedOf(file);
    const std::size_t percent = file.goals.empty() ? 100 : reached * 100 / file.goals.size();
    text += "coverage of " + OneLine(file.name) + ": " + std::to_string(reached) + " of " +
            std::to_string(file.goals.size()) + " (" + std::to_string(percent) + " %)\n";
    for (const CoverageGoal& goal : file.goals) {
      if (!file.reached.contains(goal)) text += "  in no case: " + GoalText(goal) + "\n";
    }
  }
  return text;
}

bool CoversAtLeast(const std::vector<TestedFile>& files, std::size_t percent) {
  return std::ranges::all_of(files, [&](const TestedFile& file) {
    return ReachedOf(file) * 100 >= percent * file.goals.size();
  });
}

std::string TestJson(const std::vector<TestedFile>& files, bool with_coverage) {
  const TestCounts counts = CountsOf(files);
  Json::Value document;
  document["passed"] = Json::UInt64{counts.passed};
  document["failed"] = Json::UInt64{counts.failed};
  for (const TestedFile& file : files) {
    Json::Value& entry = document["files"].append(Json::objectValue);
    entry["file"] = file.name;
    for (const TestedCase& one : file.results) entry["cases"].append(one.result);
    if (with_coverage) entry["coverage"] = CoverageJson(file);
  }
  return yox::JsonText(document);
}

std::string TestJunit(const std::vector<TestedFile>& files) {
  const TestCounts counts = CountsOf(files);
  const auto numbers = [](const TestCounts& of) {
    return " tests=\"" + std::to_string(of.passed + of.failed) + "\" failures=\"" +
           std::to_string(of.failed) + "\"";
  };
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites" + numbers(counts) + ">\n";
  for (const TestedFile& file : files) {
    text += "  <testsuite name=\"" + Xml(file.name) + "\"" + numbers(CountsOfFile(file)) + ">\n";
    for (const TestedCase& one : file.results) text += CaseXml(file, one);
    text += "  </testsuite>\n";
  }
  return text + "</testsuites>\n";
}

}  // namespace yoxctl
