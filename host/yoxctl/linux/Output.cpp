#include "host/yoxctl/Output.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

#include "host/yoxctl/Paint.h"

namespace yoxctl {

bool OutputTakesColours() { return isatty(STDOUT_FILENO) == 1; }

bool ErrorsAreOnTerminal() { return isatty(STDERR_FILENO) == 1; }

std::size_t TerminalColumns() {
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

bool IsClosedPipe(int error) { return error == EPIPE; }

}  // namespace yoxctl
