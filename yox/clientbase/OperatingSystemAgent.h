#pragma once

#include "yox/clientbase/Export.h"
#include "yox/clientbase/WString.h"

// What the operating system calls itself. A text that it does not tell is empty.
class YOX_API OperatingSystemAgent {
 public:
  OperatingSystemAgent() = delete;

  static YOX::WString GetOperatingSystemProductName();
  static YOX::WString GetOperatingSystemProductEditionID();
  static YOX::WString GetOperatingSystemVersion();
  static bool IsSMode();
};
