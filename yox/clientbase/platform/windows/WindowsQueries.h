#pragma once

#include "yox/clientbase/platform/ManagementQueries.h"

namespace YOX::platform {

// Windows Management Instrumentation through COM.
class WindowsQueries final : public ManagementQueries {
 public:
  ManagementAnswer Ask(WStringView name_space, WStringView query, WStringView property) override;
};

}  // namespace YOX::platform
