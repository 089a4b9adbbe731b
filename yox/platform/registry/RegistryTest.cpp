#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "yox/platform/registry/Registry.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Latch.h"

namespace yox::platform {
namespace {

// Counts its open handles; every edit fails as a whole.
class FailingRegistry final : public Registry {
 public:
  RegistryStatus Open(const RegistryKey&, std::uint32_t, HKEY& opened) override {
    ++open_handles;
    opened = HKEY_USERS;
    return RegistryStatus::kOk;
  }
  void Close(HKEY) override { --open_handles; }
  RegistryStatus Get(const RegistryKey&, WStringView, RegistryValue&) override {
    return RegistryStatus::kFailed;
  }
  RegistryStatus Values(const RegistryKey&, std::vector<RegistryEntry>&, std::size_t) override {
    return RegistryStatus::kFailed;
  }
  RegistryStatus SubKeys(const RegistryKey&, std::vector<WString>&) override {
    return RegistryStatus::kFailed;
  }
  RegistryStatus Apply(std::span<const RegistryEdit>) override {
    ReportFailure("FailingRegistry::Apply", "as always");
    return RegistryStatus::kFailed;
  }
  RegistryStatus Watch(const RegistryKey&, Changed, std::unique_ptr<RegistryWatch>&) override {
    return RegistryStatus::kFailed;
  }

  int open_handles = 0;
};

TEST(RegistryTest, LookingForAKeyLeavesNoHandleOpen) {
  FailingRegistry registry;
  EXPECT_TRUE(registry.Exists({}));
  EXPECT_EQ(registry.open_handles, 0);
}

TEST(RegistryTest, AnotherFunctionForFailuresWaitsForTheFormer) {
  const yox_test::CapturedLog log;
  FailingRegistry registry;
  yox_test::Latch called;
  std::atomic<bool> ended{false};
  registry.OnFailure([&](std::string_view text) {
    EXPECT_EQ(text, "as always");
    called.CountDown();
    for (int i = 0; i < 500; ++i) std::this_thread::yield();
    EXPECT_FALSE(ended);
  });
  std::thread failing([&] { registry.CreateKey({}); });
  EXPECT_TRUE(called.Wait());
  registry.OnFailure({});
  ended = true;
  failing.join();
}

TEST(RegistryTest, OneFailureIsReportedAtATime) {
  const yox_test::CapturedLog log;
  FailingRegistry registry;
  std::vector<std::string> texts;  // not guarded
  registry.OnFailure([&](std::string_view text) { texts.emplace_back(text); });
  const auto fail = [&] {
    for (int i = 0; i < 200; ++i) registry.CreateKey({});
  };
  std::thread other(fail);
  fail();
  other.join();
  EXPECT_EQ(texts.size(), 400U);
}

}  // namespace
}  // namespace yox::platform
