#pragma once

#include <string>
#include <vector>

#include "yox/decision/Explanation.h"

namespace yoxctl {

// Returns what the chosen device has where a field with this text is looked at; empty for `default`
// and `value`, and for a text that is blank.
std::vector<yox::decision::ExplainedFact> FactsOfField(yox::decision::FilterField field,
                                                       const std::string& text);

// Returns "US (region)", or "nothing" and why.
std::string FactText(const yox::decision::ExplainedFact& fact);

}  // namespace yoxctl
