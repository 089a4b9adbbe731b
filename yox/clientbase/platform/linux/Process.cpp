#include "yox/clientbase/platform/Process.h"

namespace YOX::platform {

// Threads run on while the exit handlers do.
bool OtherThreadsAreGone() { return false; }

}  // namespace YOX::platform
