#pragma once

#include <memory>

#include "yox/platform/apps/Applications.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/devices/Accelerators.h"
#include "yox/platform/devices/DeviceTree.h"
#include "yox/platform/devices/DisplayAdapters.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/firmware/Firmware.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/RegistryContract.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/platform/system/Client.h"
#include "yox/platform/system/JoinState.h"
#include "yox/platform/system/Locale.h"
#include "yox/platform/system/ManagementQueries.h"
#include "yox/platform/system/OperatingSystem.h"
#include "yox/platform/system/Services.h"
#include "yox/platform/users/Users.h"

namespace yox_test {

// A simulated device whose registry is any other.
class RegistryPlatform final : public yox::platform::Platform {
 public:
  explicit RegistryPlatform(yox::platform::Registry& registry,
                            const yox::platform::DeviceProfile& profile = {})
      : registry_(registry), device_(profile) {}

  yox::platform::SimulatedDevice& device() { return device_; }

  yox::platform::SimulatedClock& clock() override { return device_.clock(); }
  yox::platform::SimulatedFiles& files() override { return device_.files(); }
  yox::platform::Firmware& firmware() override { return device_.firmware(); }
  yox::platform::OperatingSystem& operating_system() override { return device_.operating_system(); }
  yox::platform::Locale& locale() override { return device_.locale(); }
  yox::platform::Users& users() override { return device_.users(); }
  yox::platform::Applications& applications() override { return device_.applications(); }
  yox::platform::DisplayAdapters& display_adapters() override { return device_.display_adapters(); }
  yox::platform::Accelerators& accelerators() override { return device_.accelerators(); }
  yox::platform::Services& services() override { return device_.services(); }
  yox::platform::JoinState& join_state() override { return device_.join_state(); }
  yox::platform::ManagementQueries& management_queries() override {
    return device_.management_queries();
  }
  yox::platform::Registry& registry() override { return registry_; }
  yox::platform::Client& client() override { return device_.client(); }
  yox::platform::DeviceTree& device_tree() override { return device_.device_tree(); }

 private:
  yox::platform::Registry& registry_;
  yox::platform::SimulatedDevice device_;
};

// Installs a platform with the registry of the row for each test; the machine's own keys are out of
// reach.
class OnEveryRegistry : public testing::TestWithParam<RegistryMaker> {
 protected:
  OnEveryRegistry() : under_test_(GetParam().make()) {
    under_test_->Isolate();
    platform_ = std::make_unique<RegistryPlatform>(under_test_->registry());
    installed_ = std::make_unique<yox::platform::ScopedPlatform>(*platform_);
  }

  yox::platform::Registry& registry() { return under_test_->registry(); }
  yox::platform::SimulatedDevice& device() { return platform_->device(); }
  yox::WString own_user() { return under_test_->own_user(); }

  // Creates the key and sets the value.
  void Set(const yox::platform::RegistryKey& key, const yox::WString& name,
           const yox::platform::RegistryValue& value) {
    ASSERT_EQ(registry().CreateKey(key), yox::platform::RegistryStatus::kOk);
    ASSERT_EQ(registry().SetValue(key, name, value), yox::platform::RegistryStatus::kOk);
  }

 private:
  std::unique_ptr<RegistryUnderTest> under_test_;
  std::unique_ptr<RegistryPlatform> platform_;
  std::unique_ptr<yox::platform::ScopedPlatform> installed_;
};

}  // namespace yox_test
