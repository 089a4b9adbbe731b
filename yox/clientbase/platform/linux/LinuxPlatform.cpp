#include <unistd.h>

#include "yox/clientbase/platform/FactQueries.h"
#include "yox/clientbase/platform/Platform.h"
#include "yox/clientbase/platform/linux/LinuxAccelerators.h"
#include "yox/clientbase/platform/linux/LinuxApplications.h"
#include "yox/clientbase/platform/linux/LinuxClient.h"
#include "yox/clientbase/platform/linux/LinuxClock.h"
#include "yox/clientbase/platform/linux/LinuxDeviceTree.h"
#include "yox/clientbase/platform/linux/LinuxDisplayAdapters.h"
#include "yox/clientbase/platform/linux/LinuxFiles.h"
#include "yox/clientbase/platform/linux/LinuxFirmware.h"
#include "yox/clientbase/platform/linux/LinuxJoinState.h"
#include "yox/clientbase/platform/linux/LinuxLocale.h"
#include "yox/clientbase/platform/linux/LinuxOperatingSystem.h"
#include "yox/clientbase/platform/linux/LinuxRegistry.h"
#include "yox/clientbase/platform/linux/LinuxServices.h"
#include "yox/clientbase/platform/linux/LinuxUsers.h"

namespace YOX::platform {
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
  LinuxLocale locale_;
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

}  // namespace YOX::platform
