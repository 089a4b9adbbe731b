#pragma once

#include <memory>

#include "yox/clientbase/platform/RegistryContract.h"
#include "yox/clientbase/platform/simulated/SimulatedDevice.h"

namespace yox_test {

// A simulated device whose registry is any other.
class RegistryPlatform final : public YOX::platform::Platform {
 public:
  explicit RegistryPlatform(YOX::platform::Registry& registry,
                            const YOX::platform::DeviceProfile& profile = {})
      : registry_(registry), device_(profile) {}

  YOX::platform::SimulatedDevice& device() { return device_; }

  YOX::platform::SimulatedClock& clock() override { return device_.clock(); }
  YOX::platform::SimulatedFiles& files() override { return device_.files(); }
  YOX::platform::Firmware& firmware() override { return device_.firmware(); }
  YOX::platform::OperatingSystem& operating_system() override { return device_.operating_system(); }
  YOX::platform::Locale& locale() override { return device_.locale(); }
  YOX::platform::Users& users() override { return device_.users(); }
  YOX::platform::Applications& applications() override { return device_.applications(); }
  YOX::platform::DisplayAdapters& display_adapters() override { return device_.display_adapters(); }
  YOX::platform::Accelerators& accelerators() override { return device_.accelerators(); }
  YOX::platform::Services& services() override { return device_.services(); }
  YOX::platform::JoinState& join_state() override { return device_.join_state(); }
  YOX::platform::ManagementQueries& management_queries() override {
    return device_.management_queries();
  }
  YOX::platform::Registry& registry() override { return registry_; }
  YOX::platform::Client& client() override { return device_.client(); }
  YOX::platform::DeviceTree& device_tree() override { return device_.device_tree(); }

 private:
  YOX::platform::Registry& registry_;
  YOX::platform::SimulatedDevice device_;
};

// Installs a platform with the registry of the row for each test; the machine's own keys are out of
// reach.
class OnEveryRegistry : public testing::TestWithParam<RegistryMaker> {
 protected:
  OnEveryRegistry() : under_test_(GetParam().make()) {
    under_test_->Isolate();
    platform_ = std::make_unique<RegistryPlatform>(under_test_->registry());
    installed_ = std::make_unique<YOX::platform::ScopedPlatform>(*platform_);
  }

  YOX::platform::Registry& registry() { return under_test_->registry(); }
  YOX::platform::SimulatedDevice& device() { return platform_->device(); }
  YOX::WString own_user() { return under_test_->own_user(); }

  // Creates the key and sets the value.
  void Set(const YOX::platform::RegistryKey& key, const YOX::WString& name,
           const YOX::platform::RegistryValue& value) {
    ASSERT_EQ(registry().CreateKey(key), YOX::platform::RegistryStatus::kOk);
    ASSERT_EQ(registry().SetValue(key, name, value), YOX::platform::RegistryStatus::kOk);
  }

 private:
  std::unique_ptr<RegistryUnderTest> under_test_;
  std::unique_ptr<RegistryPlatform> platform_;
  std::unique_ptr<YOX::platform::ScopedPlatform> installed_;
};

}  // namespace yox_test
