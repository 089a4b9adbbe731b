#include "yox/platform/system/Process.h"

namespace yox::platform {

// Threads run on while the exit handlers do.
bool OtherThreadsAreGone() { return false; }

}  // namespace yox::platform
