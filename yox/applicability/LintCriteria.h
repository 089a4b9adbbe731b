#pragma once

#include <cstddef>
#include <vector>

#include "yox/applicability/CompiledList.h"
#include "yox/applicability/Implications.h"
#include "yox/applicability/Lint.h"

namespace yox::decision {

// Adds what is wrong with one criterion of a filter, in the order of its text.
void LintCriterion(const CompiledList& list, const CompiledList::Program& program,
                   const CompiledList::Step& step, std::size_t filter,
                   const platform::LocalDate& today, Effort& effort,
                   std::vector<LintFinding>& findings);

}  // namespace yox::decision
