#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace yox::platform {

// Returns whether the text has at least one certificate and every certificate in it can be parsed.
bool IsUsablePem(std::string_view pem);

// Returns the text without certificates that expired before `now` (seconds since 1970) and without
// repetitions. Returns std::nullopt when a block cannot be parsed.
std::optional<std::string> CleanPem(std::string_view pem, std::int64_t now);

}  // namespace yox::platform
