#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "yox/base/Export.h"
#include "yox/platform/Platform.h"
#include "yox/platform/apps/Applications.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/devices/Accelerators.h"
#include "yox/platform/devices/DeviceTree.h"
#include "yox/platform/devices/DisplayAdapters.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/firmware/Firmware.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/simulated/DeviceProfile.h"
#include "yox/platform/simulated/SimulatedClock.h"
#include "yox/platform/simulated/SimulatedDeviceTree.h"
#include "yox/platform/simulated/SimulatedFiles.h"
#include "yox/platform/simulated/SimulatedRegistry.h"
#include "yox/platform/system/Client.h"
#include "yox/platform/system/JoinState.h"
#include "yox/platform/system/Locale.h"
#include "yox/platform/system/ManagementQueries.h"
#include "yox/platform/system/OperatingSystem.h"
#include "yox/platform/system/Services.h"
#include "yox/platform/users/Users.h"

namespace yox::platform {

// A whole device in memory: a Platform whose facts are those of a profile. Of the machine that it
// runs on it accesses only a folder for its files, and the clock if its profile names no time. It
// can be changed while the program runs:
//
//   SimulatedDevice device(ReadDeviceProfile(R"({"region": {"country_code": "US"}})"));
//   const ScopedPlatform installed(device);
//   device.Change([](DeviceProfile& profile) { profile.region.country_code = "DE"_w; });
//   device.clock().Advance(3600);
//
// Every operation may be called from any thread.
class YOX_API SimulatedDevice final : public Platform {
 public:
  // Keeps its files in `folder`, which is not deleted, or without one in a temporary folder that is
  // deleted with the object. Throws std::invalid_argument when a registry path of the profile is
  // malformed, which ReadDeviceProfile refuses, and std::filesystem::filesystem_error when the
  // folder cannot be created.
  explicit SimulatedDevice(const DeviceProfile& profile = {},
                           const std::filesystem::path& folder = {});
  ~SimulatedDevice() override;
  SimulatedDevice(const SimulatedDevice&) = delete;
  SimulatedDevice& operator=(const SimulatedDevice&) = delete;

  SimulatedClock& clock() override;
  SimulatedFiles& files() override;
  Firmware& firmware() override;
  OperatingSystem& operating_system() override;
  Locale& locale() override;
  Users& users() override;
  Applications& applications() override;
  DisplayAdapters& display_adapters() override;
  Accelerators& accelerators() override;
  Services& services() override;
  JoinState& join_state() override;
  ManagementQueries& management_queries() override;
  SimulatedRegistry& registry() override;
  Client& client() override;
  SimulatedDeviceTree& device_tree() override;

  // A copy of the profile with its changes. What clock, registry and device tree were made to show
  // by their own operations is not in it.
  DeviceProfile profile() const;

  // Makes this the device of another profile, as far as the two differ: the clock (see
  // SimulatedClock::Apply), the registry (values that only the former profile named are deleted;
  // what a program wrote stays), the configuration file, and all that Change changes. Readers may
  // see it half done. Throws like the constructor.
  void Become(const DeviceProfile& profile);

  // Changes the profile in one step: readers see it before or after. Firmware facts follow when
  // they are read again, as on a real device. The sections of clock, registry, organisation,
  // developer and configuration have no effect here, see Become. A device that is added to or
  // removed from the list of devices is plugged or unplugged, and the device tree's callbacks run
  // in this call. `change` must not call the device.
  void Change(const std::function<void(DeviceProfile& profile)>& change);

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace yox::platform
