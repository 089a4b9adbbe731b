#include <filesystem>

#include "yox/platform/registry/RegistryContract.h"
#include "yox/platform/registry/linux/LinuxRegistry.h"

#include "tests/support/TemporaryFolder.h"

namespace yox_test {
namespace {

namespace fs = std::filesystem;
using namespace yox::literals;
using yox::WString;
using yox::platform::LinuxRegistry;
using yox::platform::Registry;
using yox::platform::RegistryStatus;

class LinuxUnderTest final : public RegistryUnderTest {
 public:
  LinuxUnderTest() {
    scratch_ = "Contoso"_w;
    for (HKEY const root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
      EXPECT_EQ(registry_.CreateKey({root, "SOFTWARE\\Contoso"_w, {}, {}}), RegistryStatus::kOk);
    }
  }
  Registry& registry() override { return registry_; }
  Registry& other() override { return other_; }
  WString own_user() override { return "S-1-22-1-1000"_w; }

 private:
  WString User() const { return LinuxRegistry::UserIdentifier(1000); }
  fs::path State() const { return folder_.path() / "state"; }

  TemporaryFolder folder_;
  LinuxRegistry registry_{[this] { return State(); }, User()};
  LinuxRegistry other_{[this] { return State(); }, User()};
};

}  // namespace

RegistryMaker NativeRegistryMaker() {
  return {"Linux", [] { return std::make_unique<LinuxUnderTest>(); }};
}

}  // namespace yox_test
