#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// Names and version of the operating system, read at every call. A text is empty if the system does
// not have it. Safe from any thread.
class YOX_API OperatingSystemAgent {
 public:
  OperatingSystemAgent() = delete;

  static yox::WString GetOperatingSystemProductName();       // "Windows 11 Pro"
  static yox::WString GetOperatingSystemProductEditionID();  // "Professional"
  static yox::WString GetOperatingSystemVersion();           // "10.0.22631.4460"
  // Returns whether the system runs in S mode, which allows store applications only. Always false
  // on Linux.
  static bool IsSMode();
};
