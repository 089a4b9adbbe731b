#pragma once

#include "yox/base/WString.h"

namespace yox::platform {

class Services {
 public:
  virtual ~Services() = default;

  // Whether the service runs now. One that is absent, or cannot be asked about, does not. Safe from
  // any thread; answers within seconds.
  virtual bool IsRunning(WStringView service) = 0;
};

}  // namespace yox::platform
