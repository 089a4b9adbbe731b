#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/WString.h"

namespace yox::platform {

// The type number of a property that holds several texts.
inline constexpr std::uint32_t kMultiStringType = 7;

// The texts of a multi-string: each ends at its terminator, an empty one ends the list. Nothing for
// a property of another type. A byte that is left over does not count; a text that the end of the
// bytes cuts off does.
std::vector<WString> ReadMultiString(std::uint32_t type, std::string_view bytes);

// The bytes that are read as these texts. An empty text cannot be told from the end.
std::string WriteMultiString(const std::vector<WString>& texts);

}  // namespace yox::platform
