#include "host/yoxctl/Output.h"

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

#include "yox/clientbase/String.h"

namespace yoxctl {
std::string OneLine(std::string_view text) {
  std::string line = YOX::String::UTF16ToUTF8(YOX::String::UTF8ToUTF16(text));
  for (char& letter : line) {
    const auto byte = static_cast<unsigned char>(letter);
    if (byte < 0x20 || byte == 0x7F) letter = ' ';
  }
  return line;
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
