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

// Opens each closed standard stream for reading from /dev/null. Otherwise the next file to be
// opened would get its number, and the output would be written into that file. Writing to the
// stream fails as to a closed one.
void OccupyClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) == -1) open("/dev/null", O_RDONLY);  // takes the lowest free number
  }
}

}  // namespace

int main(int argc, char** argv) {
  OccupyClosedStreams();
  // Writing to a closed pipe, or beyond the limit of a file's size (ulimit -f), shall fail with an
  // error that can be reported instead of ending the process.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  return yoxctl::Run({argv + (argc > 0 ? 1 : 0), argv + argc});
}
