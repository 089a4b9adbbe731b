#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace YOX::platform {

using Sha256Digest = std::array<std::uint8_t, 32>;

// SHA-256 (FIPS 180-4) of the bytes, by OpenSSL on Linux and CNG on Windows. Safe from any thread.
// Throws std::bad_alloc when the library has no memory.
Sha256Digest Sha256(std::string_view bytes);

}  // namespace YOX::platform
