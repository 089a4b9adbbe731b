#include <gtest/gtest.h>

#include <stdexcept>

#include "yox/clientbase/InstalledApps.h"
#include "yox/clientbase/MSStorePackageEnumerator.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/SubstitutedPlatform.h"

namespace {

using namespace yox::literals;
using yox::WString;
using yox::platform::ApplicationSource;
using YOX::utility::AppMap;
using YOX::utility::GetInstalledApps;

// One application of its own in each source, and one that all have.
class OneInEachSource final : public yox::platform::Applications {
 public:
  ByKey Installed(ApplicationSource source) override {
    const WString number(1, static_cast<yox::WChar>('1' + static_cast<int>(source)));
    return {{"own "_w + number, {"Name"_w, {}, number}}, {"shared"_w, {"Name"_w, {}, number}}};
  }
  std::map<WString, WString> Store() override { throw std::runtime_error("store is closed"); }
  std::uint64_t Generation() override { return 0; }
};

class InstalledAppsTest : public testing::Test {
 protected:
  InstalledAppsTest() { platform_.Set(applications_); }

  yox::platform::SimulatedDevice device_;
  OneInEachSource applications_;
  yox_test::SubstitutedPlatform platform_{device_};
  yox::platform::ScopedPlatform installed_{platform_};
};

TEST_F(InstalledAppsTest, TheFlagsNameTheSource) {
  AppMap machine, user, view32;
  EXPECT_TRUE(GetInstalledApps(machine, true, false));
  EXPECT_TRUE(GetInstalledApps(user, false, false));
  EXPECT_TRUE(GetInstalledApps(view32, true, true));
  EXPECT_EQ(machine.count("own 1"_w), 1U);
  EXPECT_EQ(user.count("own 2"_w), 1U);
  EXPECT_EQ(view32.count("own 3"_w), 1U);
}

TEST_F(InstalledAppsTest, AUserHasNothingOf32BitInstallers) {
  AppMap apps;
  EXPECT_FALSE(GetInstalledApps(apps, false, true));
  EXPECT_TRUE(apps.empty());
}

TEST_F(InstalledAppsTest, WhatTheMapHasStays) {
  AppMap apps;
  GetInstalledApps(apps, true, false);
  GetInstalledApps(apps, false, false);
  EXPECT_EQ(apps.size(), 3U);
  EXPECT_EQ(apps.at("shared"_w).version, "1"_w);
}

TEST_F(InstalledAppsTest, AStoreThatCannotBeAskedIsEmptyAndLogged) {
  static YOX::Log log{"store"};
  auto* const store = YOX::MSStorePackageEnumerator::GetInstance();
  store->Initialize(log);
  const yox_test::CapturedLog captured;
  EXPECT_TRUE(store->GetAllMSStoreAppsDetails().empty());
  EXPECT_EQ(captured.Text(),
            "store E MSStorePackageEnumerator::GetAllMSStoreAppsDetails : Exception - "
            "store is closed\n");
}

}  // namespace
