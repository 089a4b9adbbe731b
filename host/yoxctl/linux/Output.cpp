#include "host/yoxctl/Output.h"

#include <unistd.h>

#include <cerrno>

#include "host/yoxctl/Paint.h"

namespace yoxctl {

bool OutputTakesColours() { return isatty(STDOUT_FILENO) == 1; }

bool ErrorsAreOnTerminal() { return isatty(STDERR_FILENO) == 1; }

bool IsClosedPipe(int error) { return error == EPIPE; }

}  // namespace yoxctl
