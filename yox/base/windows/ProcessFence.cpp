#include "yox/base/ProcessFence.h"

#include <windows.h>

namespace yox {

bool HasProcessFence() { return true; }

void ProcessFence() { FlushProcessWriteBuffers(); }

}  // namespace yox
