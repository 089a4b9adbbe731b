#pragma once

#include "yox/base/WString.h"

namespace yox::platform {

// The background services of the system.
class Services {
 public:
  virtual ~Services() = default;

  // Returns whether the service is running; false if it does not exist or cannot be queried. Safe
  // from any thread; returns within seconds.
  virtual bool IsRunning(WStringView service) = 0;
};

}  // namespace yox::platform
