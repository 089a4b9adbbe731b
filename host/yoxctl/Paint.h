#pragma once

#include <string>
#include <string_view>

namespace yoxctl {

enum class Paint { kPlain, kGood, kBad, kOdd, kStrong, kFaint };

enum class ColourMode { kAuto, kAlways, kNever };

// Wraps texts in a terminal's colour sequences, or returns them unchanged.
class Painter {
 public:
  explicit Painter(bool colours) : colours_(colours) {}

  bool colours() const { return colours_; }
  std::string operator()(Paint paint, std::string_view text) const;

 private:
  bool colours_;
};

// Returns the painter for standard output. With kAuto it uses colours if standard output is a
// terminal, NO_COLOR is not set and TERM is not "dumb".
Painter PainterOfOutput(ColourMode mode);

// Returns whether standard output is a terminal that shows colours. Each system has its own.
bool OutputTakesColours();

}  // namespace yoxctl
