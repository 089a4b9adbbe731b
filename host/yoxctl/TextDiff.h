#pragma once

#include <string>
#include <string_view>

namespace yoxctl {

// Returns the differences between two texts as a unified diff of lines with three lines of context;
// empty if they are equal. The name is in its head.
std::string UnifiedDiff(const std::string& name, std::string_view before, std::string_view after);

}  // namespace yoxctl
