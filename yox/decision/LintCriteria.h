#pragma once

#include <cstddef>
#include <vector>

#include "yox/decision/CompiledList.h"
#include "yox/decision/Implications.h"
#include "yox/decision/Lint.h"

namespace yox::decision {

// Adds what is wrong with one criterion of a filter, in the order of its text.
void LintCriterion(const CompiledList& list, const CompiledList::Program& program,
                   const CompiledList::Step& step, std::size_t filter, const LocalDate& today,
                   Effort& effort, std::vector<LintFinding>& findings);

}  // namespace yox::decision
