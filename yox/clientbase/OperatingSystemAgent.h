#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// What the operating system calls itself. A text that it does not tell is empty.
class YOX_API OperatingSystemAgent {
 public:
  OperatingSystemAgent() = delete;

  static yox::WString GetOperatingSystemProductName();
  static yox::WString GetOperatingSystemProductEditionID();
  static yox::WString GetOperatingSystemVersion();
  static bool IsSMode();
};
