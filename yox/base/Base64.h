#pragma once

#include <optional>
#include <string>
#include <string_view>

// Strict Base64 (RFC 4648). Each byte sequence has exactly one encoding; decoding returns
// std::nullopt for anything else: white space, missing padding, unused bits that are not zero. The
// functions are safe from any thread.
namespace yox {

// The standard alphabet ("+/"), with padding.
std::optional<std::string> FromBase64(std::string_view text);
std::string ToBase64(std::string_view bytes);

// The alphabet for URLs and file names ("-_"), without padding.
std::optional<std::string> FromBase64Url(std::string_view text);

}  // namespace yox
