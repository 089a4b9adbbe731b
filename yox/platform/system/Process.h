#pragma once

namespace yox::platform {

// Whether the process is ending and the system has already done away with every thread but this
// one, wherever it was: their locks stay taken, their work stays undone.
bool OtherThreadsAreGone();

}  // namespace yox::platform
