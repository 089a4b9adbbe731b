#pragma once

#include "yox/clientbase/platform/Platform.h"

namespace yox_test {

// Another platform with some of its parts exchanged: what a system does that the simulated device
// never does (fail, hang, be asked too often). Whatever is put in outlives the object.
class SubstitutedPlatform final : public YOX::platform::Platform {
 public:
  explicit SubstitutedPlatform(Platform& base) : base_(base) {}

#define YOX_PART(Type, name)                               \
  void Set(YOX::platform::Type& part) { name##_ = &part; } \
  YOX::platform::Type& name() override { return name##_ != nullptr ? *name##_ : base_.name(); }
#define YOX_PARTS(X)                       \
  X(Clock, clock)                          \
  X(Files, files)                          \
  X(Firmware, firmware)                    \
  X(OperatingSystem, operating_system)     \
  X(Locale, locale)                        \
  X(Users, users)                          \
  X(Applications, applications)            \
  X(DisplayAdapters, display_adapters)     \
  X(Accelerators, accelerators)            \
  X(Services, services)                    \
  X(JoinState, join_state)                 \
  X(ManagementQueries, management_queries) \
  X(Registry, registry)                    \
  X(Client, client)                        \
  X(DeviceTree, device_tree)
  YOX_PARTS(YOX_PART)
#undef YOX_PART

 private:
  Platform& base_;
#define YOX_PART(Type, name) YOX::platform::Type* name##_ = nullptr;
  YOX_PARTS(YOX_PART)
#undef YOX_PART
#undef YOX_PARTS
};

}  // namespace yox_test
