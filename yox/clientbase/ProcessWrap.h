#pragma once

#include "yox/base/Export.h"

namespace YOX {

class YOX_API ProcessWrap {
 public:
  ProcessWrap() = delete;

  // Whether this process runs as the system's own account. Safe from any thread.
  static bool IsSystemProcess();
};

}  // namespace YOX
