#pragma once

#include <string>
#include <vector>

#include "yox/base/Export.h"
#include "yox/decision/CompiledList.h"

namespace yox::decision {

// What a filter says, in English for people who do not read filter lists. UTF-8.
struct FilterWords {
  // One for each criterion, in the order of evaluation: "the country is US or CA". All of them must
  // be met; empty if the filter decides for every device that comes to it.
  std::vector<std::string> conditions;
  bool applies = false;  // what it decides
};

// The words of each filter of the list. What lint reports as an error is said as it is written.
YOX_API std::vector<FilterWords> WordsOf(const CompiledList& list);

}  // namespace yox::decision
