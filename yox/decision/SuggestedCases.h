#pragma once

#include <compare>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "yox/base/Export.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/Filter.h"
#include "yox/decision/ListTest.h"

namespace yox::decision {

// A thing that a list's tests should show: that a filter decides, or that a criterion is the first
// that fails in its filter.
struct CoverageGoal {
  std::size_t filter = 0;
  std::optional<FilterField> failing;  // absent: the filter decides

  friend auto operator<=>(const CoverageGoal&, const CoverageGoal&) = default;
};

// All goals of a list, in its order: for each filter that it decides, and its criteria in the order
// of evaluation.
YOX_API std::vector<CoverageGoal> CoverageGoals(const ApplicabilityFilter& list);
// Those that a decision reaches.
YOX_API std::vector<CoverageGoal> GoalsReached(const Explanation& explanation);

struct SuggestedCases {
  std::vector<ListTestCase> cases;  // on bare devices, with what the list asks for in `changes`
  std::vector<CoverageGoal> open;   // for which no device was found
};

// Devices made from a list's own requirements that reach each of its goals, in few cases: a local
// search for each goal, and a greedy choice among what it finds. What it finds is decided by the
// list; that it finds all that can be reached is not certain.
YOX_API SuggestedCases SuggestCases(const ApplicabilityFilter& list);

// Returns the document of cases, UTF-8, laid out.
YOX_API std::string WriteCases(const std::vector<ListTestCase>& cases);

}  // namespace yox::decision
