#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/WString.h"

namespace yox::platform {

// The type of a property that contains several strings; the number of REG_MULTI_SZ.
inline constexpr std::uint32_t kMultiStringType = 7;

// Returns the strings of such a property (UTF-16LE, each with a terminator), up to the first empty
// one. Returns none for a property of another type. An odd byte at the end is ignored; a string
// without its terminator at the end counts.
std::vector<WString> ReadMultiString(std::uint32_t type, std::string_view bytes);

// Returns the bytes that ReadMultiString reads as these strings, none of which is empty.
std::string WriteMultiString(const std::vector<WString>& texts);

}  // namespace yox::platform
