#pragma once

#include <string>
#include <string_view>

#include "yox/base/Export.h"

namespace YOX::utility {

// The lower-case hexadecimal SHA-256 of a fixed salt followed by the text (UTF-8). Every roll-out
// hangs on it: the bucket of a device or an organisation is read off its first digits. Safe from
// any thread. Throws std::bad_alloc.
YOX_API std::string SHA256WithSalt(std::string_view text);

}  // namespace YOX::utility
