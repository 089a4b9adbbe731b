#include <signal.h>
#include <stdlib.h>

#include "host/yoxctl/CommandLine.h"

namespace yoxctl {

void SetVariable(const std::string& name, const std::string& value) {
  setenv(name.c_str(), value.c_str(), 1);
}

}  // namespace yoxctl

int main(int argc, char** argv) {
  // A reader that has gone is answered like any output that cannot be written.
  signal(SIGPIPE, SIG_IGN);
  return yoxctl::Run({argv + (argc > 0 ? 1 : 0), argv + argc});
}
