#pragma once

#include <string>
#include <string_view>

#include "yox/decision/FilterFields.h"

namespace yoxctl {

// Returns what a field's text requires, in words, one line for each alternative or term; UTF-8. For
// people: not everything that is odd is said, which is what lint is for.
std::string InWords(yox::decision::FilterField field, std::string_view text);

}  // namespace yoxctl
