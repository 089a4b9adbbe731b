#pragma once

#include <string>
#include <vector>

namespace yoxctl {

struct Ended {
  int code = 0;
  std::string output;  // what was written to standard output
};

// Runs this program once more with other arguments (UTF-8), in a process of its own that shares
// standard error, and waits for its end. Throws Refusal when it cannot be started or has not ended
// by itself. Each system has its own.
Ended RunOwnProgram(const std::vector<std::string>& arguments);

}  // namespace yoxctl
