#include "yox/platform/registry/RegistryContract.h"
#include "yox/platform/simulated/SimulatedRegistry.h"

namespace yox_test {
namespace {

using namespace yox::literals;
using yox::WString;
using yox::platform::Registry;
using yox::platform::RegistryStatus;
using yox::platform::SimulatedRegistry;

const WString kUser = "S-1-5-21-1-2-3-1001"_w;

class SimulatedUnderTest final : public RegistryUnderTest {
 public:
  SimulatedUnderTest() {
    scratch_ = "Contoso"_w;
    for (HKEY const root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
      EXPECT_EQ(registry_.CreateKey({root, "SOFTWARE\\Contoso"_w, {}, {}}), RegistryStatus::kOk);
    }
  }
  Registry& registry() override { return registry_; }
  WString own_user() override { return kUser; }

 private:
  SimulatedRegistry registry_{kUser};
};

}  // namespace

RegistryMaker SimulatedRegistryMaker() {
  return {"Simulated", [] { return std::make_unique<SimulatedUnderTest>(); }};
}

}  // namespace yox_test
