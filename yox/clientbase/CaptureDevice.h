#pragma once

#include <span>

#include "yox/base/Export.h"
#include "yox/platform/Platform.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/simulated/DeviceProfile.h"

namespace yox::platform {

// Returns the profile that reproduces a device:
// - Its date, time zone and uptime at this moment. The zone is written as its name if TimeZone
// knows
//   it by the rule that the device follows, else as the POSIX rule of TimeZone's that had the
//   device's offsets for the past year and has them for the next, else as the offset of this
//   moment.
// - Of its registry the given keys with everything below them, in the 64-bit view. The `user` of a
//   key is ignored: HKEY_CURRENT_USER is the hive that a registry criterion reads, which is that of
//   the logged-on user for a process of the system's own account. Keys that do not exist or cannot
//   be read, and values of types that a profile cannot express, are left out.
// The client's section stays empty, because the platform does not know the client's version.
//
// May take seconds. Installs `device` as the platform in use meanwhile (see ScopedPlatform).
YOX_API DeviceProfile CaptureDevice(Platform& device, std::span<const RegistryKey> registry_keys);

}  // namespace yox::platform
