#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "yox/decision/Lint.h"

#include "host/yoxctl/Paint.h"

namespace yoxctl {

// What was found in one file; the findings in the order of their places.
struct LintedFile {
  std::string name;
  std::vector<yox::decision::LintFinding> findings;
};

// How many findings there are that no comment allows, and how many that one does.
struct LintCounts {
  std::size_t errors = 0;
  std::size_t warnings = 0;
  std::size_t allowed = 0;
};

LintCounts CountsOf(const std::vector<LintedFile>& files);

// "FILE:LINE:COLUMN: error: ..." as compilers write, so that editors jump there.
std::string LintText(const std::vector<LintedFile>& files, const Painter& paint);
std::string LintJson(const std::vector<LintedFile>& files);
// SARIF 2.1.0.
std::string LintSarif(const std::vector<LintedFile>& files);
// Workflow commands of GitHub Actions.
std::string LintGithub(const std::vector<LintedFile>& files);

}  // namespace yoxctl
