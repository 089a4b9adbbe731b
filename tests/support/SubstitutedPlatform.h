#pragma once

#include "yox/platform/Platform.h"
#include "yox/platform/apps/Applications.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/devices/Accelerators.h"
#include "yox/platform/devices/DeviceTree.h"
#include "yox/platform/devices/DisplayAdapters.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/firmware/Firmware.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/system/Client.h"
#include "yox/platform/system/JoinState.h"
#include "yox/platform/system/Locale.h"
#include "yox/platform/system/ManagementQueries.h"
#include "yox/platform/system/OperatingSystem.h"
#include "yox/platform/system/Services.h"
#include "yox/platform/users/Users.h"

namespace yox_test {

// Another platform with some of its parts exchanged: what a system does that the simulated device
// never does (fail, hang, be called too often). The parts that are set must outlive the object.
class SubstitutedPlatform final : public yox::platform::Platform {
 public:
  explicit SubstitutedPlatform(Platform& base) : base_(base) {}

#define YOX_PART(Type, name)                               \
  void Set(yox::platform::Type& part) { name##_ = &part; } \
  yox::platform::Type& name() override { return name##_ != nullptr ? *name##_ : base_.name(); }
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
#define YOX_PART(Type, name) yox::platform::Type* name##_ = nullptr;
  YOX_PARTS(YOX_PART)
#undef YOX_PART
#undef YOX_PARTS
};

}  // namespace yox_test
