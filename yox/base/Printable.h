#pragma once

#include <string>
#include <string_view>

#include "yox/base/Export.h"

// Text from outside (arguments, documents, the registry, device names) made safe to show: in a
// terminal, in an error message, in a log line. The functions are pure and safe from any thread.
namespace yox {

// Returns the text as one line of well-formed UTF-8. Control characters, line and paragraph
// separators and invisible format characters, among them those that reverse the direction of
// writing, are replaced by escapes as JSON writes them: "\u001b", "\u202e". A malformed sequence of
// bytes becomes U+FFFD.
YOX_API std::string OneLine(std::string_view utf8);

// The same for an error message: of a long text only the first 120 bytes, and then "...".
YOX_API std::string Printable(std::string_view utf8);

}  // namespace yox
