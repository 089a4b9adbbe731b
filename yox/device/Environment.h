#pragma once

#include <string>

#include "yox/base/Export.h"

namespace YOX {

// The description of the operating system that is sent with telemetry.
class YOX_API Environment {
 public:
  Environment() = delete;

  // Sets `out` to the operating system's caption, UTF-8: "Microsoft Windows 11 Pro". Leaves it
  // unchanged and logs why if the caption cannot be read. The first caption is remembered until the
  // process ends; a failure is not. Safe from any thread.
  static void GetOsDescription(std::string& out);
};

}  // namespace YOX
