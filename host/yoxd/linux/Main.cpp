#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <exception>

#include "host/yoxd/Journal.h"
#include "host/yoxd/Program.h"

namespace {

// Closed standard streams: the next file that is opened must not get their numbers.
void OccupyClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) == -1) open("/dev/null", O_RDWR);
  }
}

}  // namespace

int main(int argc, char** argv) {
  OccupyClosedStreams();
  // A closed connection, and a file beyond its limit, are errors that are reported.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  // What is created is this account's alone, whatever the umask was.
  umask(077);
  try {
    yoxd::Options options;
    if (!yoxd::ReadOptions({argv + 1, argv + argc}, "", options)) return 0;
    yoxd::Supervision supervision;
    return yoxd::RunProgram(options, supervision);
  } catch (const std::exception& error) {
    yoxd::Journal::Error("service", error.what());
    return 2;
  }
}
