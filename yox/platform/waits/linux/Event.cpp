#include "yox/platform/waits/Event.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace yox::platform {

Event::Event(bool set) : handle_(eventfd(set ? 1 : 0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (handle_.null()) throw std::system_error(errno, std::generic_category(), "eventfd");
}

Event::~Event() { close(handle_.native()); }

}  // namespace yox::platform
