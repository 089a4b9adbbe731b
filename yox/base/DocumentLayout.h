#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "yox/base/Export.h"

namespace yox {

// Lines of a laid-out document are at most this many columns long where the values allow.
inline constexpr std::size_t kDocumentColumns = 100;

// Returns a JSON document in its one layout: two columns of indentation, an object or array on one
// line if it fits and its elements are no lists of objects, a line feed at the end. The order of
// keys stays, and strings and numbers stay as they are written, so that the result means the same;
// its own layout is the same text. Throws DocumentError as ParseDocument does. Safe from any
// thread.
YOX_API std::string LayOutDocument(std::string_view utf8);

}  // namespace yox
