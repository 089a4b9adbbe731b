#include "yox/clientbase/platform/Platform.h"
#include "yox/clientbase/platform/RegistryApplications.h"
#include "yox/clientbase/platform/windows/WindowsAccelerators.h"
#include "yox/clientbase/platform/windows/WindowsClient.h"
#include "yox/clientbase/platform/windows/WindowsClock.h"
#include "yox/clientbase/platform/windows/WindowsDeviceTree.h"
#include "yox/clientbase/platform/windows/WindowsDisplayAdapters.h"
#include "yox/clientbase/platform/windows/WindowsFiles.h"
#include "yox/clientbase/platform/windows/WindowsFirmware.h"
#include "yox/clientbase/platform/windows/WindowsJoinState.h"
#include "yox/clientbase/platform/windows/WindowsLocale.h"
#include "yox/clientbase/platform/windows/WindowsOperatingSystem.h"
#include "yox/clientbase/platform/windows/WindowsQueries.h"
#include "yox/clientbase/platform/windows/WindowsRegistry.h"
#include "yox/clientbase/platform/windows/WindowsServices.h"
#include "yox/clientbase/platform/windows/WindowsUsers.h"

namespace YOX::platform {
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
  WindowsClock clock_;
  WindowsFiles files_;
  WindowsFirmware firmware_;
  WindowsQueries management_queries_;
  WindowsOperatingSystem operating_system_{management_queries_};
  WindowsLocale locale_;
  WindowsUsers users_;
  WindowsDisplayAdapters display_adapters_;
  WindowsAccelerators accelerators_;
  WindowsServices services_;
  WindowsJoinState join_state_;
  WindowsRegistry registry_;
  RegistryApplications applications_{registry_, users_};
  WindowsClient client_{registry_};
  WindowsDeviceTree device_tree_;
};

}  // namespace

Platform& Platform::Native() {
  static auto* const native = new WindowsPlatform;
  return *native;
}

}  // namespace YOX::platform
