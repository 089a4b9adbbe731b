#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "yox/device/YoxInfo.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/simulated/SimulatedDevice.h"

namespace {

using namespace yox::literals;

class YoxInfoTest : public testing::Test {
 protected:
  void Change(const yox::WString& version, bool metrics) {
    device_.Change([&](yox::platform::DeviceProfile& profile) {
      profile.client.version = version;
      profile.client.anonymous_metrics = metrics;
    });
  }

  yox::platform::SimulatedDevice device_;
  yox::platform::ScopedPlatform installed_{device_};
};

TEST_F(YoxInfoTest, IdAndNameAreFixedFromTheFirstCallOn) {
  EXPECT_EQ(YoxInfo::GetInstance()->GetId(), "0F9C839C-B366-47FC-9251-97B675DC39BB"_w);
  EXPECT_EQ(YoxInfo::GetInstance()->GetName(), "Tervan Yox Client Service"_w);
  EXPECT_EQ(YoxInfo::GetInstance(), YoxInfo::GetInstance());
}

TEST_F(YoxInfoTest, ASetVersionSurvivesRefreshAndASetIdDoesNot) {
  YoxInfo info = *YoxInfo::GetInstance();
  info.SetVersion("9.9"_w);
  info.SetId("other"_w);
  info.SetName("other"_w);
  info.Refresh();
  EXPECT_EQ(info.GetVersion(), "9.9"_w);
  EXPECT_EQ(info.GetId(), "0F9C839C-B366-47FC-9251-97B675DC39BB"_w);
  EXPECT_EQ(info.GetName(), "Tervan Yox Client Service"_w);
}

TEST_F(YoxInfoTest, AMissingExecutableIsLookedForAgainAndAFoundOneIsNot) {
  YoxInfo* const info = YoxInfo::GetInstance();
  EXPECT_EQ(info->GetVersion(), ""_w);
  EXPECT_EQ(info->GetYoxServiceVersion(), ""_w);
  Change("4.2.10.0"_w, false);
  info->Refresh();
  EXPECT_EQ(info->GetVersion(), "4.2.10.0"_w);
  Change("5.0.0.0"_w, false);
  EXPECT_EQ(info->GetYoxServiceVersion(), "4.2.10.0"_w);
}

TEST_F(YoxInfoTest, AForgottenVersionIsReadAgain) {
  Change("4.2.10.0"_w, false);
  YoxInfo* const info = YoxInfo::GetInstance();
  EXPECT_EQ(info->GetYoxServiceVersion(), "4.2.10.0"_w);
  Change("5.0.0.0"_w, false);
  info->ForgetServiceVersion();
  EXPECT_EQ(info->GetYoxServiceVersion(), "5.0.0.0"_w);
}

TEST_F(YoxInfoTest, SeveralThreadsReadTheVersion) {
  Change("4.2.10.0"_w, false);
  YoxInfo* const info = YoxInfo::GetInstance();
  std::atomic<int> ready{0};
  const auto read = [&] {
    ++ready;
    while (ready < 2) std::this_thread::yield();
    for (int i = 0; i < 2'000; ++i) {
      EXPECT_EQ(info->GetYoxServiceVersion(), "4.2.10.0"_w);
      info->ForgetServiceVersion();
    }
  };
  std::thread other(read);
  read();
  other.join();
}

TEST_F(YoxInfoTest, ThePreferenceIsReadAtEveryCall) {
  YoxInfo info = *YoxInfo::GetInstance();
  EXPECT_EQ(info.GetAnonymousDataCollectionPreference(), "Off"_w);
  Change({}, true);
  EXPECT_EQ(info.GetAnonymousDataCollectionPreference(), "On"_w);
}

TEST_F(YoxInfoTest, RefreshStoresTheTime) {
  device_.clock().Set(1772366400);
  YoxInfo info = *YoxInfo::GetInstance();
  info.SetInfoDatetime("never"_w);
  EXPECT_EQ(info.GetInfoDatetime(), "never"_w);
  device_.clock().Advance(61);
  info.Refresh();
  EXPECT_EQ(info.GetInfoDatetime(), "2026-03-01T12:01:01Z"_w);
}

}  // namespace
