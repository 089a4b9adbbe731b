#pragma once

#include <functional>
#include <vector>

#include "yox/decision/Lint.h"

#include "host/yoxctl/FactsSource.h"

namespace yoxctl {

// What no device of facts documents has.
struct FleetFindings {
  std::vector<std::vector<yox::decision::LintFinding>> of_lists;  // one for each list
  FactsCount count;
};

// Lints the lists of the input on all its devices. `progress`, if there is any, is called between
// devices, on several threads; what it throws ends the reading. Throws Refusal as ReadFleet.
FleetFindings LintOnFleet(const FactsInput& input, const std::function<void()>& progress = {});

}  // namespace yoxctl
