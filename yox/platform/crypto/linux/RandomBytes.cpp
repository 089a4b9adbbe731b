#include "yox/platform/crypto/RandomBytes.h"

#include <sys/random.h>

#include <cerrno>

namespace yox::platform {

bool NativeFillRandom(std::span<unsigned char> bytes) {
  while (!bytes.empty()) {
    const ssize_t filled = getrandom(bytes.data(), bytes.size(), 0);
    if (filled < 0 && errno == EINTR) continue;
    if (filled <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(filled));
  }
  return true;
}

}  // namespace yox::platform
