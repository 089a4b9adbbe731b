#pragma once

#include <string>
#include <string_view>

#include "yox/base/Export.h"

namespace YOX::utility {

// Returns the SHA-256 hash of a fixed salt followed by the text (UTF-8), as 64 lower-case
// hexadecimal digits. The first digits are the bucket of a device or an organisation in roll-outs,
// so the result for a text must never change. Safe from any thread. Throws std::bad_alloc.
YOX_API std::string SHA256WithSalt(std::string_view text);

}  // namespace YOX::utility
