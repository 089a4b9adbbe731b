#pragma once

#include <map>
#include <string>
#include <string_view>

namespace yox::platform {

using Assignments = std::map<std::string, std::string, std::less<>>;  // name, value

// Reads the lines NAME=value of os-release, locale.conf and similar files as a shell would: quotes
// and backslashes are removed, nothing is expanded. Comments and lines of another form are skipped;
// if a name is assigned twice, the last value counts. Pure.
Assignments ReadAssignments(std::string_view text);

}  // namespace yox::platform
