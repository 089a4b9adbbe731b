#include "yox/base/ProcessFence.h"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace yox {
namespace {

bool Membarrier(int command) { return syscall(SYS_membarrier, command, 0, 0) == 0; }

}  // namespace

// Fails in kernels before 4.14 and in sandboxes that refuse the call.
bool HasProcessFence() { return Membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED); }

void ProcessFence() { Membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED); }

}  // namespace yox
