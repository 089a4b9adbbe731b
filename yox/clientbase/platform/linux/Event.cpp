#include "yox/clientbase/platform/Event.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace YOX::platform {

Event::Event(bool set) : handle_(eventfd(set ? 1 : 0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (handle_.null()) throw std::system_error(errno, std::generic_category(), "eventfd");
}

Event::~Event() { close(handle_.native()); }

}  // namespace YOX::platform
