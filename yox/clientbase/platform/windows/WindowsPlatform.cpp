#include "yox/clientbase/platform/FactQueries.h"
#include "yox/clientbase/platform/Platform.h"
#include "yox/clientbase/platform/Unknown.h"
#include "yox/clientbase/platform/simulated/SimulatedRegistry.h"
#include "yox/clientbase/platform/windows/WindowsClock.h"
#include "yox/clientbase/platform/windows/WindowsFiles.h"

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

 private:
  WindowsClock clock_;
  WindowsFiles files_;
  UnknownFirmware firmware_;
  UnknownOperatingSystem operating_system_;
  UnknownLocale locale_;
  UnknownUsers users_;
  NoApplications applications_;
  UnknownDisplayAdapters display_adapters_;
  UnknownAccelerators accelerators_;
  UnknownServices services_;
  UnknownJoinState join_state_;
  FactQueries management_queries_{operating_system_};
  SimulatedRegistry registry_;
};

}  // namespace

Platform& Platform::Native() {
  static auto* const native = new WindowsPlatform;
  return *native;
}

}  // namespace YOX::platform
