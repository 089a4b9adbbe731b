#include "yox/platform/waits/linux/LinuxWaitable.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace yox::platform {

LinuxWaitable::LinuxWaitable() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

LinuxWaitable::~LinuxWaitable() { close(descriptor_); }

// The putting thread's half of the pattern in the header: its token is visible already.
void LinuxWaitable::Wake() {
  if (waiters_.load() > 0) Announce();
}

// One announcement is enough until it is read. A thread that finds it made has put its token
// before, so the reader, which clears the flag and then looks for tokens, finds it.
void LinuxWaitable::Announce() {
  if (!announced_.exchange(true)) eventfd_write(descriptor_, 1);
}

bool LinuxWaitable::TakeAfterWake() {
  // Reading makes the descriptor unreadable for the other sleepers too, so tokens that remain are
  // announced again. Another sleeper may have read it first: then the token may be gone.
  eventfd_t ignored = 0;
  eventfd_read(descriptor_, &ignored);
  announced_ = false;
  const bool taken = TryTake();
  if (MoreToTake() && waiters_.load() > 1) Announce();
  return taken;
}

}  // namespace yox::platform
