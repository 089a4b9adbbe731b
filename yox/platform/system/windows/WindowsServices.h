#pragma once

#include "yox/platform/system/Services.h"

namespace yox::platform {

class WindowsServices final : public Services {
 public:
  bool IsRunning(WStringView service) override;
};

}  // namespace yox::platform
