#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace yox::platform {

using Sha1Digest = std::array<std::uint8_t, 20>;

// SHA-1 (FIPS 180-4) of the bytes, for identifiers that are built on it; it protects nothing. Safe
// from any thread. Throws std::bad_alloc when the system's library does not do it.
Sha1Digest Sha1(std::string_view bytes);

}  // namespace yox::platform
