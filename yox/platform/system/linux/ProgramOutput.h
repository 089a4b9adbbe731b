#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace yox::platform {

// Runs a program and returns what it writes to its standard output. `command` is the program's
// absolute path and its arguments; no shell takes part. The program gets an empty standard input, a
// discarded standard error, and of the environment only LC_ALL=C and the standard PATH.
//
// Returns std::nullopt when the program cannot be started, fails, or is not done within `limit`; it
// is then killed. Safe from any thread.
std::optional<std::string> ProgramOutput(std::vector<std::string> command,
                                         std::chrono::milliseconds limit);

}  // namespace yox::platform
