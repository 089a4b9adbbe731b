#pragma once

#include "yox/platform/system/ManagementQueries.h"

namespace yox::platform {

// Windows Management Instrumentation through COM.
class WindowsQueries final : public ManagementQueries {
 public:
  ManagementAnswer Ask(WStringView name_space, WStringView query, WStringView property) override;
};

}  // namespace yox::platform
