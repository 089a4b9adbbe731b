#pragma once

#include "yox/base/WString.h"

namespace yox::platform {

// This client, as it is installed on the device. All operations are safe from any thread.
class Client {
 public:
  virtual ~Client() = default;

  // The version of the program at the path; empty when it has none.
  virtual WString FileVersion(const WString& path) = 0;

  // Whether the user allows anonymous data to be collected; read at every call.
  virtual bool AnonymousMetrics() = 0;
};

}  // namespace yox::platform
