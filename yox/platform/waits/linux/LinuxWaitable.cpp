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

// A putter makes its token visible before it looks for waiters, a waiter makes itself visible
// before it looks for tokens: one of the two sees the other.
void LinuxWaitable::Wake() {
  if (waiters_.load() > 0) Announce();
}

// One announcement is enough until it is read. Who finds it made has put its token back before the
// reader looks.
void LinuxWaitable::Announce() {
  if (!announced_.exchange(true)) eventfd_write(descriptor_, 1);
}

bool LinuxWaitable::TakeAfterWake() {
  // Reading takes the announcement from the other sleepers too, so what remains after ours is
  // announced again.
  eventfd_t ignored = 0;
  eventfd_read(descriptor_, &ignored);
  announced_ = false;
  const bool taken = TryTake();
  if (MoreToTake() && waiters_.load() > 1) Announce();
  return taken;
}

}  // namespace yox::platform
