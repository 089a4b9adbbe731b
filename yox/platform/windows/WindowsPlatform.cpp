#include "yox/platform/Platform.h"
#include "yox/platform/apps/Applications.h"
#include "yox/platform/apps/RegistryApplications.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/clock/windows/WindowsClock.h"
#include "yox/platform/devices/Accelerators.h"
#include "yox/platform/devices/DeviceTree.h"
#include "yox/platform/devices/DisplayAdapters.h"
#include "yox/platform/devices/windows/WindowsAccelerators.h"
#include "yox/platform/devices/windows/WindowsDeviceTree.h"
#include "yox/platform/devices/windows/WindowsDisplayAdapters.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/files/windows/WindowsFiles.h"
#include "yox/platform/firmware/Firmware.h"
#include "yox/platform/firmware/windows/WindowsFirmware.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/windows/WindowsRegistry.h"
#include "yox/platform/system/Client.h"
#include "yox/platform/system/JoinState.h"
#include "yox/platform/system/Locale.h"
#include "yox/platform/system/ManagementQueries.h"
#include "yox/platform/system/OperatingSystem.h"
#include "yox/platform/system/Services.h"
#include "yox/platform/system/windows/WindowsClient.h"
#include "yox/platform/system/windows/WindowsJoinState.h"
#include "yox/platform/system/windows/WindowsLocale.h"
#include "yox/platform/system/windows/WindowsOperatingSystem.h"
#include "yox/platform/system/windows/WindowsQueries.h"
#include "yox/platform/system/windows/WindowsServices.h"
#include "yox/platform/users/Users.h"
#include "yox/platform/users/windows/WindowsUsers.h"

namespace yox::platform {
namespace {

class WindowsPlatform final : public Platform {
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
  // In the order in which they use each other.
  WindowsClock clock_;
  WindowsFiles files_;
  WindowsFirmware firmware_;
  WindowsRegistry registry_;
  WindowsUsers users_;
  WindowsQueries management_queries_;
  WindowsOperatingSystem operating_system_{registry_, management_queries_};
  WindowsLocale locale_{registry_, users_};
  WindowsDisplayAdapters display_adapters_;
  WindowsAccelerators accelerators_;
  WindowsServices services_;
  WindowsJoinState join_state_;
  RegistryApplications applications_{registry_, users_};
  WindowsClient client_{registry_};
  WindowsDeviceTree device_tree_;
};

}  // namespace

Platform& Platform::Native() {
  static auto* const native = new WindowsPlatform;
  return *native;
}

}  // namespace yox::platform
