#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// What CoreUtility does with files, on their text.
namespace YOX {

bool IsUsablePem(std::string_view pem);

// The text without what is to be dropped at `now`; nothing when a block does not parse.
std::optional<std::string> CleanPem(std::string_view pem, std::int64_t now);

}  // namespace YOX
