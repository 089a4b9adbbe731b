#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace yox::platform {

// Returns the last second in which an X.509 certificate, in DER, is valid, counted like Clock::Now;
// std::nullopt if the bytes are not one certificate. Uses OpenSSL on Linux and Crypt32 on Windows.
// May be called from any thread.
std::optional<std::int64_t> CertificateEnd(std::string_view der);

}  // namespace yox::platform
