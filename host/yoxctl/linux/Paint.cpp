#include "host/yoxctl/Paint.h"

#include <unistd.h>

namespace yoxctl {

bool OutputTakesColours() { return isatty(STDOUT_FILENO) == 1; }

}  // namespace yoxctl
