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

// A whole device in memory. It answers what its profile says, reads and writes nothing of the
// machine that it runs on but a folder for its files, and can be changed while it runs:
//
//   SimulatedDevice device(ReadDeviceProfile(R"({"region": {"country_code": "US"}})"));
//   const ScopedPlatform installed(device);
//   device.Change([](DeviceProfile& profile) { profile.region.country_code = "DE"_w; });
//   device.clock().Advance(3600);
//
// Every operation is safe from any thread.
class YOX_API SimulatedDevice final : public Platform {
 public:
  // Its files lie in `folder`, which stays; without one, in a temporary folder that goes with it.
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

  // The profile as it stands now. Clock, registry and device tree are asked for themselves.
  DeviceProfile profile() const;

  // Changes the profile in one step: readers see it before or after. The firmware's facts follow
  // when they are read again, as on a real device. Clock and registry, and with it organisation and
  // developer settings, have taken their sections at the start and are changed by their own
  // operations. What comes to or goes from the list of devices is plugged or unplugged, the device
  // tree's callbacks running in this call. `change` must not call the device.
  void Change(const std::function<void(DeviceProfile& profile)>& change);

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace yox::platform
