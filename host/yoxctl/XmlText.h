#pragma once

#include <string>
#include <string_view>

namespace yoxctl {

// Returns UTF-8 text as the content of an XML element or attribute. What XML cannot express is
// escaped as Printable does it, or replaced by "?".
std::string XmlText(std::string_view utf8);

}  // namespace yoxctl
