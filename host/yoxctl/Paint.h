#pragma once

#include <string>
#include <string_view>

namespace yoxctl {

enum class Paint { kPlain, kGood, kBad, kOdd, kStrong, kFaint };

// Colours words for a terminal, or leaves them as they are.
class Painter {
 public:
  explicit Painter(bool colours) : colours_(colours) {}

  bool colours() const { return colours_; }
  std::string operator()(Paint paint, std::string_view text) const;

 private:
  bool colours_;
};

// Paints when standard output is a terminal, unless the environment has NO_COLOR or says that the
// terminal knows no colours.
Painter PainterOfOutput();

// Whether standard output is a terminal that shows colours. Each system has its own.
bool OutputTakesColours();

}  // namespace yoxctl
