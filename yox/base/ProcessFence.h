#pragma once

// A memory fence for all threads of the process at once, as in "asymmetric fences" (P1202, folly's
// asymmetricThreadFence): the side that runs often pays nothing but a fence of the compiler, the
// side that runs rarely pays a system call.
namespace yox {

// Prepares the process for ProcessFence and returns whether the system has it. Costs a system call.
bool HasProcessFence();

// Every other thread of the process has a full memory fence between the begin and the end of the
// call. HasProcessFence has returned true before.
void ProcessFence();

}  // namespace yox
