#include <stdlib.h>
#include <unistd.h>

#include "yox/platform/Platform.h"
#include "yox/platform/apps/Applications.h"
#include "yox/platform/apps/linux/LinuxApplications.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/clock/linux/LinuxClock.h"
#include "yox/platform/devices/Accelerators.h"
#include "yox/platform/devices/DeviceTree.h"
#include "yox/platform/devices/DisplayAdapters.h"
#include "yox/platform/devices/linux/LinuxAccelerators.h"
#include "yox/platform/devices/linux/LinuxDeviceTree.h"
#include "yox/platform/devices/linux/LinuxDisplayAdapters.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/files/linux/LinuxFiles.h"
#include "yox/platform/firmware/Firmware.h"
#include "yox/platform/firmware/linux/LinuxFirmware.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/linux/LinuxRegistry.h"
#include "yox/platform/system/Client.h"
#include "yox/platform/system/FactQueries.h"
#include "yox/platform/system/JoinState.h"
#include "yox/platform/system/Locale.h"
#include "yox/platform/system/ManagementQueries.h"
#include "yox/platform/system/OperatingSystem.h"
#include "yox/platform/system/Services.h"
#include "yox/platform/system/linux/LinuxClient.h"
#include "yox/platform/system/linux/LinuxJoinState.h"
#include "yox/platform/system/linux/LinuxLocale.h"
#include "yox/platform/system/linux/LinuxOperatingSystem.h"
#include "yox/platform/system/linux/LinuxServices.h"
#include "yox/platform/users/Users.h"
#include "yox/platform/users/linux/LinuxUsers.h"

namespace yox::platform {
namespace {

std::filesystem::path StateFolder(const Files& files) {
  const std::optional<WString> root = files.ApplicationDataRoot();
  return root ? files.Locate(*root) : std::filesystem::path();
}

class LinuxPlatform final : public Platform {
 public:
  Clock& clock() override { return clock_; }
  Files& files() override { return files_; }
  Firmware& firmware() override { return firmware_; }
  OperatingSystem& operating_system() override { return operating_system_; }
  Locale& locale() override { return locale_; }
  Users& users() override { return users_; }
  Applications& applications() override { return applications_; }
  DisplayAdapters& display_adapters() override { return display_adapters_; }
  Accelerators& accelerators() override { return accelerators_; }
  Services& services() override { return services_; }
  JoinState& join_state() override { return join_state_; }
  ManagementQueries& management_queries() override { return management_queries_; }
  Registry& registry() override { return registry_; }
  Client& client() override { return client_; }
  DeviceTree& device_tree() override { return device_tree_; }

 private:
  LinuxClock clock_;
  LinuxFiles files_;
  SystemBus bus_;
  LinuxFirmware firmware_;
  LinuxOperatingSystem operating_system_;
  LinuxLocale locale_{bus_, "/", getenv};
  LinuxUsers users_{bus_};
  LinuxApplications applications_;
  LinuxDisplayAdapters display_adapters_;
  LinuxAccelerators accelerators_;
  LinuxServices services_{bus_};
  LinuxJoinState join_state_{bus_};
  FactQueries management_queries_{operating_system_};
  LinuxRegistry registry_{[this] { return StateFolder(files_); },
                          LinuxRegistry::UserIdentifier(geteuid())};
  LinuxClient client_{files_, registry_};
  LinuxDeviceTree device_tree_;
};

}  // namespace

Platform& Platform::Native() {
  static auto* const native = new LinuxPlatform;
  return *native;
}

}  // namespace yox::platform
