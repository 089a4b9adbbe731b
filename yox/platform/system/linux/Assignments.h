#pragma once

#include <map>
#include <string>
#include <string_view>

namespace yox::platform {

// Reads the lines NAME=value of os-release, locale.conf and their kin, as a shell would: quotes and
// backslashes go, nothing is expanded. Comments and lines of another form are passed over; of a
// name that comes twice, the last counts. Pure.
std::map<std::string, std::string, std::less<>> ReadAssignments(std::string_view text);

}  // namespace yox::platform
