#pragma once

#include <json/value.h>

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "yox/decision/SuggestedCases.h"

#include "host/yoxctl/Paint.h"

namespace yoxctl {

// A case that was decided: its document, with "name", "passed", "expected" and what was found, and
// the lines for people that say why it failed.
struct TestedCase {
  Json::Value result;
  std::string text;
};

struct TestedFile {
  std::string name;
  std::vector<yox::decision::CoverageGoal> goals;  // of its list
  std::set<yox::decision::CoverageGoal> reached;
  std::vector<TestedCase> results;
};

struct TestCounts {
  std::size_t passed = 0;
  std::size_t failed = 0;
};

TestCounts CountsOf(const std::vector<TestedFile>& files);
std::string CountsText(const TestCounts& counts, const Painter& paint);

// "filter [1] decides", "filter [1]: country is the first that fails".
std::string GoalText(const yox::decision::CoverageGoal& goal);
// What the cases of each file reach, and what they do not.
std::string CoverageText(const std::vector<TestedFile>& files);
// Whether the cases of each file reach as much of its list.
bool CoversAtLeast(const std::vector<TestedFile>& files, std::size_t percent);

std::string TestJson(const std::vector<TestedFile>& files, bool with_coverage);
// The XML that JUnit's reports have, which build servers read.
std::string TestJunit(const std::vector<TestedFile>& files);

}  // namespace yoxctl
