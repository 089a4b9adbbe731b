#pragma once

#include "yox/clientbase/platform/Services.h"

namespace YOX::platform {

class WindowsServices final : public Services {
 public:
  bool IsRunning(WStringView service) override;
};

}  // namespace YOX::platform
