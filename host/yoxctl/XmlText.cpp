#include "host/yoxctl/XmlText.h"

#include "yox/base/Printable.h"

namespace yoxctl {

using yox::Printable;

std::string XmlText(std::string_view utf8) {
  std::string escaped;
  for (const char letter : Printable(utf8)) {
    switch (letter) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += letter;
    }
  }
  // Unicode has two characters that XML refuses.
  for (const std::string_view refused : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
    for (std::size_t at = 0; (at = escaped.find(refused, at)) != std::string::npos;) {
      escaped.replace(at, refused.size(), "?");
    }
  }
  return escaped;
}

}  // namespace yoxctl
