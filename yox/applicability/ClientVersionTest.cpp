#include <gtest/gtest.h>

#include "yox/applicability/ClientVersion.h"
#include "yox/device/YoxInfo.h"
#include "yox/platform/Platform.h"
#include "yox/platform/simulated/SimulatedDevice.h"

namespace yox::applicability {
namespace {

using namespace literals;

class ClientVersionTest : public testing::Test {
 protected:
  void Install(const WString& version) {
    device_.Change([&](platform::DeviceProfile& profile) { profile.client.version = version; });
  }
  static void Forget() { YoxInfo::GetInstance()->ForgetServiceVersion(); }

  platform::SimulatedDevice device_;
  platform::ScopedPlatform installed_{device_};
  ClientVersion version_;
  WString own_;
};

TEST_F(ClientVersionTest, AKnownVersionIsNotCopied) {
  Install("4.2.10.0"_w);
  const WString& first = version_.Get(own_);
  EXPECT_EQ(first, "4.2.10.0"_w);
  EXPECT_EQ(&version_.Get(own_), &first);
  EXPECT_NE(&first, &own_);
}

TEST_F(ClientVersionTest, AVersionIsReadAgainOnceItWasForgotten) {
  Install("4.2.10.0"_w);
  const WString& first = version_.Get(own_);
  Install("4.3.0.0"_w);
  EXPECT_EQ(version_.Get(own_), "4.2.10.0"_w) << "it is remembered";
  Forget();
  EXPECT_EQ(version_.Get(own_), "4.3.0.0"_w);
  EXPECT_EQ(first, "4.2.10.0"_w) << "a decision may still use it";
  Install("4.2.10.0"_w);
  Forget();
  EXPECT_EQ(&version_.Get(own_), &first) << "texts are kept once";
}

TEST_F(ClientVersionTest, AnotherPlatformHasItsOwnVersion) {
  Install("4.2.10.0"_w);
  EXPECT_EQ(version_.Get(own_), "4.2.10.0"_w);
  {
    platform::SimulatedDevice other;
    other.Change([](platform::DeviceProfile& profile) { profile.client.version = "5.0"_w; });
    const platform::ScopedPlatform installed(other);
    EXPECT_EQ(version_.Get(own_), "5.0"_w);
  }
  EXPECT_EQ(version_.Get(own_), "4.2.10.0"_w);
}

TEST_F(ClientVersionTest, AVersionWithBlanksIsTheCallersOwnToTrim) {
  Install(" 4.2.10.0 "_w);
  EXPECT_EQ(version_.Get(own_), " 4.2.10.0 "_w);
  EXPECT_EQ(&version_.Get(own_), &own_);
}

TEST_F(ClientVersionTest, AClientThatIsInstalledLaterIsFound) {
  EXPECT_EQ(version_.Get(own_), ""_w);
  Install("4.2.10.0"_w);
  EXPECT_EQ(version_.Get(own_), "4.2.10.0"_w);
}

}  // namespace
}  // namespace yox::applicability
