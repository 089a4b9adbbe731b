#include "host/yoxctl/Output.h"

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

#include "yox/clientbase/String.h"

namespace yoxctl {
std::string OneLine(std::string_view text) {
  YOX::WString line = YOX::String::UTF8ToUTF16(text);
  for (YOX::WChar& unit : line) {
    if (unit < 0x20 || (unit >= 0x7F && unit < 0xA0)) unit = ' ';
  }
  return YOX::String::UTF16ToUTF8(line);
}

void Print(std::string_view text) {
  errno = 0;
  const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (written && std::fflush(stdout) == 0) return;
  throw Refusal("standard output: " + std::generic_category().message(errno));
}

void Complain(std::string_view message) {
  const std::string line = "yoxctl: " + OneLine(message) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);  // kept back on Windows where nobody sits in front of it
}

}  // namespace yoxctl
