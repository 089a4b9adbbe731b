#include "host/yoxctl/Paint.h"

#include <array>
#include <cstdlib>

namespace yoxctl {

std::string Painter::operator()(Paint paint, std::string_view text) const {
  constexpr std::array kCodes = {"", "32", "31", "33", "1", "2"};
  if (!colours_ || paint == Paint::kPlain || text.empty()) return std::string(text);
  return std::string("\x1b[") + kCodes[static_cast<std::size_t>(paint)] + "m" + std::string(text) +
         "\x1b[0m";
}

Painter PainterOfOutput(ColourMode mode) {
  if (mode != ColourMode::kAuto) return Painter(mode == ColourMode::kAlways);
  const char* const terminal = std::getenv("TERM");
  const bool dumb = terminal != nullptr && std::string_view(terminal) == "dumb";
  return Painter(std::getenv("NO_COLOR") == nullptr && !dumb && OutputTakesColours());
}

}  // namespace yoxctl
