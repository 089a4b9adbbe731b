#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace yox {

using Sha256Digest = std::array<std::uint8_t, 32>;

// Computes the SHA-256 hash (FIPS 180-4) of the bytes. Allocates nothing and cannot fail. Safe from
// any thread. Meant for short inputs such as serial numbers; it uses no special instructions.
Sha256Digest Sha256(std::string_view bytes);

}  // namespace yox
