#pragma once

#include "yox/platform/system/ManagementQueries.h"
#include "yox/platform/system/OperatingSystem.h"

namespace yox::platform {

// Answers queries from the operating system's facts: its caption and the processor's architecture.
class FactQueries final : public ManagementQueries {
 public:
  // The operating system must outlive the object.
  explicit FactQueries(OperatingSystem& operating_system) : operating_system_(operating_system) {}

  ManagementAnswer Ask(WStringView name_space, WStringView query, WStringView property) override;

 private:
  OperatingSystem& operating_system_;
};

}  // namespace yox::platform
