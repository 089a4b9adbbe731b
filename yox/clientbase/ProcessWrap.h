#pragma once

#include "yox/base/Export.h"

namespace YOX {

// What the library asks about the process that it runs in.
class YOX_API ProcessWrap {
 public:
  ProcessWrap() = delete;

  // Returns whether this process runs as the system account (root on Linux). Safe from any thread.
  static bool IsSystemProcess();
};

}  // namespace YOX
