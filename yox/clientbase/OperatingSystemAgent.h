#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// Names and version of the operating system, read at every call. A text is empty if the system does
// not have it. Safe from any thread.
class YOX_API OperatingSystemAgent {
 public:
  OperatingSystemAgent() = delete;

  static yox::WString GetOperatingSystemProductName();
  static yox::WString GetOperatingSystemProductEditionID();
  static yox::WString GetOperatingSystemVersion();
  static bool IsSMode();
};
