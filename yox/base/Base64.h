#pragma once

#include <optional>
#include <string>
#include <string_view>

// Base64 (RFC 4648), strictly: every byte sequence has one text, and any other text decodes to
// nothing.
namespace yox {

// The ordinary alphabet, with padding.
std::optional<std::string> FromBase64(std::string_view text);
std::string ToBase64(std::string_view bytes);

// The alphabet for URLs, without padding.
std::optional<std::string> FromBase64Url(std::string_view text);

}  // namespace yox
