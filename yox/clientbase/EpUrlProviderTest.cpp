#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <span>
#include <thread>
#include <utility>
#include <vector>

#include "yox/clientbase/EpUrlProvider.h"
#include "yox/clientbase/ProcessWrap.h"
#include "yox/platform/registry/RegistryPlatform.h"
#include "yox/platform/simulated/SimulatedRegistry.h"

namespace {

using namespace yox::literals;
using testing::ElementsAre;
using YOX::EpUrlProvider;
using yox::WString;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryValue;

class EpUrlProviderTest : public yox_test::OnEveryRegistry {
 protected:
  const RegistryKey key_{HKEY_LOCAL_MACHINE, "SOFTWARE\\Tervan\\YOX\\Organisation"_w, {}, {}};
};
YOX_ON_EVERY_REGISTRY(EpUrlProviderTest);

TEST_P(EpUrlProviderTest, WithoutTheKeyThereIsNoProvider) {
  EXPECT_EQ(EpUrlProvider::GetInstance(), nullptr);
  ASSERT_EQ(registry().CreateKey(key_), yox::platform::RegistryStatus::kOk);
  EXPECT_NE(EpUrlProvider::GetInstance(), nullptr);
  ASSERT_EQ(registry().DeleteKey(key_), yox::platform::RegistryStatus::kOk);
  EXPECT_EQ(EpUrlProvider::GetInstance(), nullptr);
}

TEST_P(EpUrlProviderTest, RealmAndSubscriptionsAreRead) {
  const WString subscriptions[] = {"one"_w, "two"_w};
  Set(key_, "Realm"_w, RegistryValue::Text("contoso"_w));
  Set(key_, "Subscriptions"_w, RegistryValue::MultiText(subscriptions));
  WString realm;
  std::vector<WString> list;
  EXPECT_TRUE(EpUrlProvider::GetInstance()->GetRealm(realm));
  EXPECT_TRUE(EpUrlProvider::GetInstance()->GetDeviceSubscriptionList(list));
  EXPECT_EQ(realm, "contoso"_w);
  EXPECT_THAT(list, ElementsAre("one"_w, "two"_w));
}

TEST_P(EpUrlProviderTest, MissingValuesEmptyTheOutputs) {
  Set(key_, "Realm"_w, RegistryValue::Dword(1));
  WString realm = "before"_w;
  std::vector<WString> list{"before"_w};
  EXPECT_FALSE(EpUrlProvider::GetInstance()->GetRealm(realm));
  EXPECT_FALSE(EpUrlProvider::GetInstance()->GetDeviceSubscriptionList(list));
  EXPECT_EQ(realm, ""_w);
  EXPECT_THAT(list, ElementsAre());
}

TEST_P(EpUrlProviderTest, EveryThreadSeesEveryChange) {
  const auto realm = [] {
    WString text = "before"_w;
    const auto* const provider = EpUrlProvider::GetInstance();
    if (provider != nullptr) provider->GetRealm(text);
    return text;
  };
  const auto subscriptions = [] {
    std::vector<WString> list;
    const auto* const provider = EpUrlProvider::GetInstance();
    if (provider != nullptr) provider->GetDeviceSubscriptionList(list);
    return list;
  };
  Set(key_, "Realm"_w, RegistryValue::Text("first"_w));
  EXPECT_EQ(realm(), "first"_w);
  EXPECT_THAT(subscriptions(), ElementsAre());
  const WString one[] = {"one"_w};
  Set(key_, "Subscriptions"_w, RegistryValue::MultiText(one));
  EXPECT_THAT(subscriptions(), ElementsAre("one"_w));
  std::thread other([&] {
    EXPECT_EQ(realm(), "first"_w);
    Set(key_, "Realm"_w, RegistryValue::Text("second"_w));
    EXPECT_EQ(realm(), "second"_w);
  });
  other.join();
  EXPECT_EQ(realm(), "second"_w);
  ASSERT_EQ(registry().DeleteValue(key_, "Realm"_w), yox::platform::RegistryStatus::kOk);
  EXPECT_EQ(realm(), ""_w);
  ASSERT_EQ(registry().DeleteKey(key_), yox::platform::RegistryStatus::kOk);
  EXPECT_EQ(realm(), "before"_w);
}

TEST(OrganisationTest, IsThatOfThePlatformInUse) {
  yox::platform::DeviceProfile profile;
  const RegistryKey key{HKEY_LOCAL_MACHINE, "SOFTWARE\\Tervan\\YOX\\Organisation"_w, {}, {}};
  const auto realm = [] {
    WString text = "none"_w;
    if (const auto* const provider = EpUrlProvider::GetInstance()) provider->GetRealm(text);
    return text;
  };
  yox::platform::SimulatedDevice first(profile);
  yox::platform::SimulatedDevice second(profile);
  first.registry().CreateKey(key);
  first.registry().SetValue(key, "Realm"_w, RegistryValue::Text("contoso"_w));
  for (int round = 0; round < 2; ++round) {
    {
      const yox::platform::ScopedPlatform installed(first);
      EXPECT_EQ(realm(), "contoso"_w);
    }
    const yox::platform::ScopedPlatform installed(second);
    EXPECT_EQ(realm(), "none"_w);
  }
}

// A simulated registry that a test makes fail, and that counts how often it is read.
class UnsteadyRegistry final : public yox::platform::Registry {
 public:
  RegistryStatus status = RegistryStatus::kOk;  // other than kOk: of each read
  int reads = 0;

  RegistryStatus Open(const RegistryKey& key, std::uint32_t access, HKEY& opened) override {
    ++reads;
    return status == RegistryStatus::kOk ? registry_.Open(key, access, opened) : status;
  }
  void Close(HKEY opened) override { registry_.Close(opened); }
  RegistryStatus Get(const RegistryKey& key, yox::WStringView name, RegistryValue& value) override {
    ++reads;
    return status == RegistryStatus::kOk ? registry_.Get(key, name, value) : status;
  }
  RegistryStatus Values(const RegistryKey& key, std::vector<yox::platform::RegistryEntry>& values,
                        std::size_t longest_name) override {
    return registry_.Values(key, values, longest_name);
  }
  RegistryStatus SubKeys(const RegistryKey& key, std::vector<WString>& names) override {
    return registry_.SubKeys(key, names);
  }
  RegistryStatus Apply(std::span<const yox::platform::RegistryEdit> edits) override {
    return registry_.Apply(edits);
  }
  RegistryStatus Watch(const RegistryKey& key, Changed changed,
                       std::unique_ptr<yox::platform::RegistryWatch>& watch) override {
    return registry_.Watch(key, std::move(changed), watch);
  }
  std::unique_ptr<yox::platform::RegistryTracker> Track(
      std::span<const RegistryKey> keys) override {
    return registry_.Track(keys);
  }

 private:
  yox::platform::SimulatedRegistry registry_;
};

TEST(OrganisationTest, IsReadOnceAndAgainAfterAFailure) {
  const RegistryKey key{HKEY_LOCAL_MACHINE, "SOFTWARE\\Tervan\\YOX\\Organisation"_w, {}, {}};
  UnsteadyRegistry registry;
  ASSERT_EQ(registry.CreateKey(key), RegistryStatus::kOk);
  ASSERT_EQ(registry.SetValue(key, "Realm"_w, RegistryValue::Text("contoso"_w)),
            RegistryStatus::kOk);
  yox_test::RegistryPlatform platform(registry);
  const yox::platform::ScopedPlatform installed(platform);
  for (const auto failure : {RegistryStatus::kFailed, RegistryStatus::kDenied}) {
    registry.status = failure;
    EXPECT_EQ(EpUrlProvider::GetInstance(), nullptr);
  }
  registry.status = RegistryStatus::kOk;
  const auto* const provider = EpUrlProvider::GetInstance();
  ASSERT_NE(provider, nullptr);
  WString realm;
  registry.status = RegistryStatus::kFailed;
  EXPECT_FALSE(provider->GetRealm(realm));
  registry.status = RegistryStatus::kOk;
  EXPECT_TRUE(provider->GetRealm(realm));
  EXPECT_EQ(realm, "contoso"_w);
  const int reads = registry.reads;
  EXPECT_EQ(EpUrlProvider::GetInstance(), provider);
  EXPECT_TRUE(provider->GetRealm(realm));
  EXPECT_EQ(realm, "contoso"_w);
  EXPECT_EQ(registry.reads, reads);
}

TEST(ProcessWrapTest, TheProfileSaysWhetherThisIsTheSystemsAccount) {
  yox::platform::DeviceProfile profile;
  yox::platform::SimulatedDevice user(profile);
  profile.user.system_process = true;
  yox::platform::SimulatedDevice system(profile);
  {
    const yox::platform::ScopedPlatform installed(user);
    EXPECT_FALSE(YOX::ProcessWrap::IsSystemProcess());
  }
  const yox::platform::ScopedPlatform installed(system);
  EXPECT_TRUE(YOX::ProcessWrap::IsSystemProcess());
}

}  // namespace
