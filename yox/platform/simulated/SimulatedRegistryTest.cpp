#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "yox/base/String.h"
#include "yox/platform/registry/RegistryContract.h"
#include "yox/platform/simulated/SimulatedRegistry.h"

namespace yox_test {
namespace {

using namespace yox::literals;
using YOX::String;
using yox::WString;
using yox::platform::Registry;
using yox::platform::RegistryAction;
using yox::platform::RegistryEdit;
using yox::platform::RegistryEntry;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryValue;
using yox::platform::RegistryWatch;
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

// Each operation has a thread of its own. Run under ThreadSanitizer, this finds one that takes no
// lock: there is no other meeting point with the thread that writes.
TEST(SimulatedRegistryTest, EveryOperationRunsBesideAWriter) {
  constexpr int kRounds = 100;
  SimulatedRegistry registry;
  const RegistryKey key{HKEY_LOCAL_MACHINE, "Key"_w, {}, {}};
  const RegistryKey below{HKEY_LOCAL_MACHINE, "Key\\Sub"_w, {}, {}};
  const RegistryEdit edits[] = {
      {RegistryAction::kCreateKey, below, {}, {}},
      {RegistryAction::kSetValue, key, "Name"_w, RegistryValue::Dword(1)},
  };
  ASSERT_EQ(registry.Apply(edits), RegistryStatus::kOk);
  std::atomic<bool> has_user{false};  // relaxed, so that it is no meeting point
  const std::function<void(int)> operations[] = {
      [&](int round) { registry.SetReadOnly(round % 2 == 0); },
      [&](int round) {
        registry.SetOwnUser(String::UTF8ToUTF16("S-1-1-" + std::to_string(round)));
        has_user.store(round == kRounds - 1, std::memory_order_relaxed);
      },
      [&](int) {
        while (!has_user.load(std::memory_order_relaxed)) std::this_thread::yield();
        std::vector<RegistryEntry> values;
        EXPECT_EQ(registry.Values({HKEY_CURRENT_USER, {}, {}, {}}, values, 10),
                  RegistryStatus::kOk);
      },
      [&](int) {
        RegistryValue value = RegistryValue::Dword(0);
        registry.Get(key, "Name"_w, value);
        EXPECT_EQ(value.data.size(), 4U);
      },
      [&](int) {
        std::vector<RegistryEntry> values;
        EXPECT_EQ(registry.Values(key, values, 10), RegistryStatus::kOk);
        EXPECT_LE(values.size(), 1U);
      },
      [&](int) {
        std::vector<WString> names;
        EXPECT_EQ(registry.SubKeys(key, names), RegistryStatus::kOk);
        EXPECT_LE(names.size(), 1U);
      },
      [&](int) {
        HKEY opened = nullptr;
        if (registry.Open(below, Registry::kRead, opened) == RegistryStatus::kOk) {
          registry.Close(opened);
        }
      },
      [&](int) {
        std::unique_ptr<RegistryWatch> watch;
        EXPECT_EQ(registry.Watch(
                      key, [](const auto&) {}, watch),
                  RegistryStatus::kOk);
      },
  };
  std::vector<std::thread> threads;
  for (const auto& operation : operations) {
    threads.emplace_back([&operation] {
      for (int round = 0; round < kRounds; ++round) operation(round);
    });
  }
  for (int round = 0; round < kRounds; ++round) {
    registry.DeleteKey(below);
    registry.DeleteValue(key, "Name"_w);
    const RegistryStatus status = registry.Apply(edits);
    EXPECT_TRUE(status == RegistryStatus::kOk || status == RegistryStatus::kDenied);
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(SimulatedRegistryTest, EveryChangeGivesItAnotherGeneration) {
  SimulatedRegistry registry;
  const RegistryKey key{HKEY_LOCAL_MACHINE, "SOFTWARE"_w, {}, {}};
  const auto tracker = registry.Track({});
  std::set<std::uint64_t> seen{tracker->Generation()};
  const auto is_new = [&] { return seen.insert(tracker->Generation()).second; };
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
