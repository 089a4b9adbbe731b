#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace yox::platform {

// The last second at which an X.509 certificate in DER form is valid, as Clock::Now gives time;
// nothing when the bytes are no certificate. By OpenSSL on Linux and Crypt32 on Windows. Safe from
// any thread.
std::optional<std::int64_t> CertificateEnd(std::string_view der);

}  // namespace yox::platform
