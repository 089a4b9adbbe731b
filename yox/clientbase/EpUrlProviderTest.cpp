#include "yox/clientbase/EpUrlProvider.h"
#include "yox/clientbase/ProcessWrap.h"
#include "yox/platform/registry/RegistryPlatform.h"

namespace {

using namespace yox::literals;
using testing::ElementsAre;
using YOX::EpUrlProvider;
using yox::WString;
using yox::platform::RegistryKey;
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
