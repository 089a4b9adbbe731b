#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace yox::platform {

using Sha1Digest = std::array<std::uint8_t, 20>;

// Returns the SHA-1 digest (FIPS 180-4), for name-based UUIDs, which are defined by it. Not for
// security: collisions can be made. Throws std::bad_alloc if the system's library fails. May be
// called from any thread.
Sha1Digest Sha1(std::string_view bytes);

}  // namespace yox::platform
