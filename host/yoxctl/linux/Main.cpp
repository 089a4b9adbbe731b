#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include "host/yoxctl/CommandLine.h"

namespace yoxctl {

void SetVariable(const std::string& name, const std::string& value) {
  setenv(name.c_str(), value.c_str(), 1);
}

}  // namespace yoxctl

namespace {

// A standard stream that is closed is opened to nowhere: or else the next file to be opened takes
// its number, and the answer is written into that one. Writing here fails, as to a closed stream.
void OccupyClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) == -1) open("/dev/null", O_RDONLY);  // takes the lowest free number
  }
}

}  // namespace

int main(int argc, char** argv) {
  OccupyClosedStreams();
  // A reader that has gone is answered like any output that cannot be written.
  signal(SIGPIPE, SIG_IGN);
  return yoxctl::Run({argv + (argc > 0 ? 1 : 0), argv + argc});
}
