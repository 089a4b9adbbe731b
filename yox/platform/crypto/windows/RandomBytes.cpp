#include "yox/platform/crypto/RandomBytes.h"

#include <windows.h>
// bcrypt.h needs windows.h before it.
#include <bcrypt.h>

namespace yox::platform {

bool NativeFillRandom(std::span<unsigned char> bytes) {
  return BCryptGenRandom(nullptr, bytes.data(), static_cast<ULONG>(bytes.size()),
                         BCRYPT_USE_SYSTEM_PREFERRED_RNG) == 0;
}

}  // namespace yox::platform
