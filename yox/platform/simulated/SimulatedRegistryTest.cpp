#include <cstdint>
#include <set>
#include <thread>

#include "yox/platform/registry/RegistryContract.h"
#include "yox/platform/simulated/SimulatedRegistry.h"

namespace yox_test {
namespace {

using namespace yox::literals;
using yox::WString;
using yox::platform::Registry;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryValue;
using yox::platform::SimulatedRegistry;

const WString kUser = "S-1-5-21-1-2-3-1001"_w;

TEST(SimulatedRegistryTest, ReadOnlyRefusesEditsAndOpeningForWriting) {
  SimulatedRegistry registry;
  const RegistryKey key{HKEY_LOCAL_MACHINE, "SOFTWARE"_w, {}, {}};
  ASSERT_EQ(registry.CreateKey(key), RegistryStatus::kOk);
  registry.SetReadOnly(true);
  HKEY opened = nullptr;
  EXPECT_EQ(registry.Open(key, Registry::kFullAccess, opened), RegistryStatus::kDenied);
  EXPECT_EQ(registry.SetValue(key, "Name"_w, RegistryValue::Dword(1)), RegistryStatus::kDenied);
  EXPECT_EQ(registry.Open(key, Registry::kRead, opened), RegistryStatus::kOk);
  registry.Close(opened);
}

TEST(SimulatedRegistryTest, AnotherOwnUserHasAnotherHive) {
  SimulatedRegistry registry(kUser);
  const RegistryKey key{HKEY_CURRENT_USER, "Software"_w, {}, {}};
  ASSERT_EQ(registry.CreateKey(key), RegistryStatus::kOk);
  registry.SetOwnUser({});
  EXPECT_FALSE(registry.Exists(key));
  EXPECT_TRUE(registry.Exists({HKEY_USERS, "S-1-5-18"_w, {}, {}}));
  EXPECT_TRUE(registry.Exists({HKEY_USERS, kUser + "\\Software"_w, {}, {}}));
}

TEST(SimulatedRegistryTest, UserAndRightsChangeWhileOthersUseIt) {
  SimulatedRegistry registry;
  registry.SetOwnUser(kUser);  // so that both hives are there
  const RegistryKey key{HKEY_CURRENT_USER, "Software"_w, {}, {}};
  std::thread changing_rights([&] {
    for (int i = 0; i < 200; ++i) registry.SetReadOnly(i % 2 == 0);
  });
  std::thread changing_user([&] {
    for (int i = 0; i < 200; ++i) registry.SetOwnUser(i % 2 == 0 ? kUser : WString());
  });
  for (int i = 0; i < 200; ++i) {
    const RegistryStatus status = registry.CreateKey(key);
    EXPECT_TRUE(status == RegistryStatus::kOk || status == RegistryStatus::kDenied);
    EXPECT_TRUE(registry.Exists({HKEY_CURRENT_USER, {}, {}, {}}));
  }
  changing_rights.join();
  changing_user.join();
}

TEST(SimulatedRegistryTest, EveryChangeGivesItAnotherGeneration) {
  SimulatedRegistry registry;
  const RegistryKey key{HKEY_LOCAL_MACHINE, "SOFTWARE"_w, {}, {}};
  std::set<std::uint64_t> seen{registry.Generation().value()};
  const auto is_new = [&] { return seen.insert(registry.Generation().value()).second; };
  EXPECT_FALSE(is_new());
  registry.CreateKey(key);
  EXPECT_TRUE(is_new());
  registry.SetValue(key, "Name"_w, RegistryValue::Dword(1));
  EXPECT_TRUE(is_new());
  RegistryValue value;
  registry.Get(key, "Name"_wv, value);
  EXPECT_FALSE(is_new());
  registry.SetValue(key, "Name"_w, RegistryValue::Dword(2));
  EXPECT_TRUE(is_new());
  registry.DeleteValue(key, "Name"_w);
  EXPECT_TRUE(is_new());
  registry.DeleteKey(key);
  EXPECT_TRUE(is_new());
  registry.SetOwnUser(kUser);
  EXPECT_TRUE(is_new());
}

}  // namespace
}  // namespace yox_test
