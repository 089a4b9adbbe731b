#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <string_view>
#include <thread>

#include "yox/device/DeviceManagementStatus.h"
#include "yox/device/InstalledDevice.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/system/OperatingSystem.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Rows.h"
#include "tests/support/SubstitutedPlatform.h"

namespace {

using namespace yox::literals;
using yox::platform::DeviceProfile;
using yox::platform::JoinAnswer;
using Outcome = JoinAnswer::Outcome;
using yox_test::InstalledDevice;

// The result of one signal.
bool Query(std::string_view name) {
  for (const auto& signal : yox::device::ManagementSignals()) {
    if (signal.name == name) return signal.query();
  }
  ADD_FAILURE() << "no signal " << name;
  return false;
}

constexpr std::int64_t kHour = 3600;

// A device that has been up for two hours, with `sections` of its profile.
std::string Profile(const std::string& sections) {
  return R"({"clock": {"now": "2026-03-01T12:00:00", "uptime_seconds": 7200})" +
         (sections.empty() ? "" : ", " + sections) + "}";
}

// Counts its calls, and returns what the test sets.
class CountingJoin final : public yox::platform::JoinState {
 public:
  JoinAnswer Domain() override {
    ++domain_asked;
    return domain;
  }
  JoinAnswer Cloud() override {
    ++cloud_asked;
    return cloud;
  }
  JoinAnswer domain{Outcome::kAsked, 0, false};
  JoinAnswer cloud{Outcome::kAsked, 0, false};
  int domain_asked = 0;
  int cloud_asked = 0;
};

class CountingServices final : public yox::platform::Services {
 public:
  bool IsRunning(yox::WStringView service) override {
    EXPECT_EQ(service, "ccmexec"_wv);
    ++asked;
    return running;
  }
  bool running = false;
  int asked = 0;
};

class DeviceManagementStatusTest : public testing::Test {
 protected:
  DeviceManagementStatusTest() {
    platform_.Set(join_);
    platform_.Set(services_);
  }

  InstalledDevice device_{Profile("")};
  yox_test::SubstitutedPlatform platform_{device_.device()};
  CountingJoin join_;
  CountingServices services_;
  yox::platform::ScopedPlatform installed_{platform_};
};

TEST_F(DeviceManagementStatusTest, ADomainJoinIsEnough) {
  yox_test::Untouchable untouchable;
  platform_.Set(static_cast<yox::platform::OperatingSystem&>(untouchable));
  yox_test::ToldRegistry registry([] { ADD_FAILURE() << "policy or subscriptions were asked"; });
  platform_.Set(registry);
  join_.domain.joined = true;
  EXPECT_TRUE(DeviceManagementStatus::IsDeviceManaged());
  EXPECT_EQ(join_.cloud_asked, 0);
  EXPECT_EQ(services_.asked, 0);
}

TEST_F(DeviceManagementStatusTest, ACloudJoinKeepsTheSignalsBehindItFromBeingAsked) {
  yox_test::Untouchable untouchable;
  platform_.Set(static_cast<yox::platform::OperatingSystem&>(untouchable));
  yox_test::ToldRegistry registry([] { ADD_FAILURE() << "policy or subscriptions were asked"; });
  platform_.Set(registry);
  join_.cloud.joined = true;
  EXPECT_TRUE(DeviceManagementStatus::IsDeviceManaged());
  EXPECT_EQ(join_.domain_asked, 1);
  EXPECT_EQ(services_.asked, 0);
}

TEST_F(DeviceManagementStatusTest, ADeviceWithoutAnySignalIsAskedAllAndNotManaged) {
  EXPECT_FALSE(DeviceManagementStatus::IsDeviceManaged());
  EXPECT_EQ(join_.domain_asked, 1);
  EXPECT_EQ(join_.cloud_asked, 1);
  EXPECT_EQ(services_.asked, 1);
}

TEST_F(DeviceManagementStatusTest, ADomainAnswerIsRememberedForEverAnErrorIncluded) {
  join_.domain = {Outcome::kAsked, 53, false};
  const yox_test::CapturedLog captured;
  EXPECT_FALSE(Query("domain"));
  join_.domain = {Outcome::kAsked, 0, true};
  device_->clock().Advance(100 * kHour);
  EXPECT_FALSE(Query("domain"));
  EXPECT_EQ(join_.domain_asked, 1);
  ASSERT_EQ(captured.Lines().size(), 1U);
  EXPECT_EQ(captured.Lines()[0].level, YOX::LogLevel::Error);
  EXPECT_EQ(captured.Lines()[0].text,
            "DeviceManagementStatus::IsJoinedToAnyDomain: NetGetJoinInformation return code 53");
}

struct FailedJoinRow {
  const char* name;
  JoinAnswer answer;
  const char* log;  // after the operation's name
};
class FailedJoinTest : public DeviceManagementStatusTest,
                       public testing::WithParamInterface<FailedJoinRow> {};

TEST_P(FailedJoinTest, IsLoggedAndAskedAgain) {
  join_.domain = join_.cloud = GetParam().answer;
  const auto logged = [](const char* signal) {
    const yox_test::CapturedLog captured;
    EXPECT_FALSE(Query(signal));
    std::string text;
    for (const auto& line : captured.Lines()) {
      EXPECT_EQ(line.level, YOX::LogLevel::Error);
      text += line.text;
    }
    return text;
  };
  const std::string log = GetParam().log;
  EXPECT_EQ(logged("domain"),
            log.empty() ? "" : "DeviceManagementStatus::IsJoinedToAnyDomain" + log);
  if (GetParam().answer.outcome != Outcome::kNoHostName) {
    EXPECT_EQ(logged("cloud_device"),
              log.empty() ? "" : "DeviceManagementStatus::IsJoinedToAadDomain" + log);
  }
  join_.domain = join_.cloud = {Outcome::kAsked, 0, true};
  EXPECT_TRUE(Query("domain"));
  EXPECT_TRUE(Query("cloud_device"));
}

INSTANTIATE_TEST_SUITE_P(
    , FailedJoinTest,
    testing::Values(
        FailedJoinRow{
            "HostName", {Outcome::kNoHostName, 10093, false}, ": gethostname error code 10093"},
        FailedJoinRow{"Library", {Outcome::kNoLibrary, 0, false}, ": Failed to load Netapi32.dll"},
        FailedJoinRow{
            "Function", {Outcome::kNoFunction, 0, false}, ": Failed to get required function(s)"},
        FailedJoinRow{"Unknown", {Outcome::kUnknown, 0, false}, ""}),
    yox_test::RowName());

TEST_F(DeviceManagementStatusTest, ACloudJoinIsAskedAtMostOnceAnHour) {
  EXPECT_FALSE(Query("cloud_device"));
  join_.cloud.joined = true;
  device_->clock().Advance(kHour - 1);
  EXPECT_FALSE(Query("cloud_device"));
  EXPECT_EQ(join_.cloud_asked, 1);
  device_->clock().Advance(1);
  EXPECT_TRUE(Query("cloud_device"));
  EXPECT_EQ(join_.cloud_asked, 2);
}

TEST_F(DeviceManagementStatusTest, TheManagementServiceIsAskedAtMostOnceAnHour) {
  services_.running = true;
  EXPECT_TRUE(Query("management_service"));
  services_.running = false;
  EXPECT_TRUE(Query("management_service"));
  EXPECT_EQ(services_.asked, 1);
  device_->clock().Advance(kHour);
  EXPECT_FALSE(Query("management_service"));
}

TEST(DeviceManagementTest, InTheFirstHourOfTheDeviceNobodyIsAsked) {
  InstalledDevice device(R"({"clock": {"now": "2026-03-01T12:00:00", "uptime_seconds": 3599},
      "join": {"cloud_device": true}, "services": {"ccmexec": "running"}})");
  EXPECT_FALSE(Query("cloud_device"));
  EXPECT_FALSE(Query("management_service"));
  device->clock().Advance(1);
  EXPECT_TRUE(Query("cloud_device"));
  EXPECT_TRUE(Query("management_service"));
}

TEST(DeviceManagementTest, AnotherDeviceIsQueriedAnew) {
  {
    const InstalledDevice device(Profile(R"("join": {"cloud_device": true})"));
    EXPECT_TRUE(Query("cloud_device"));
  }
  InstalledDevice started(R"({"clock": {"now": "2026-03-01T12:00:00", "uptime_seconds": 3599},
      "join": {"cloud_device": true}})");
  EXPECT_FALSE(Query("cloud_device"));
  started->clock().Advance(1);
  EXPECT_TRUE(Query("cloud_device"));
}

constexpr std::int64_t kHourInNanoseconds = kHour * 1'000'000'000;

TEST_F(DeviceManagementStatusTest, AResultIsKnownUntilTheFirstOfItsSignalsIsQueriedAgain) {
  // The device has been up for two hours.
  for (int again = 0; again < 2; ++again) {
    const auto state = yox::device::QueryManagement();
    EXPECT_FALSE(state.is_managed);
    EXPECT_EQ(state.known_until, 3 * kHourInNanoseconds);
    device_->clock().Advance(10);
  }
  device_->clock().Advance(kHour);
  services_.running = true;
  const auto state = yox::device::QueryManagement();
  EXPECT_TRUE(state.is_managed);
  EXPECT_EQ(state.known_until, 4 * kHourInNanoseconds + 20 * 1'000'000'000LL);
}

TEST_F(DeviceManagementStatusTest, ADomainJoinIsKnownForEver) {
  join_.domain.joined = true;
  EXPECT_EQ(yox::device::QueryManagement().known_until, INT64_MAX);
}

TEST_F(DeviceManagementStatusTest, WhatCouldNotBeQueriedIsNotKnown) {
  join_.cloud.outcome = Outcome::kUnknown;
  EXPECT_EQ(yox::device::QueryManagement().known_until, INT64_MIN);
}

// Each signal of its own makes the device managed; none does not.
struct SignalRow {
  const char* name;
  std::string sections;
  bool managed;
};
class ManagementSignalTest : public testing::TestWithParam<SignalRow> {
  // A singleton remembers: each row has a process of its own.
};

TEST_P(ManagementSignalTest, Decides) {
  InstalledDevice device(Profile(GetParam().sections));
  EXPECT_EQ(DeviceManagementStatus::IsDeviceManaged(), GetParam().managed);
}

std::string Policy(const char* value) {
  return R"("registry": {"HKLM\\SOFTWARE\\Policies\\Tervan\\YOX": {"IsManagedDevice": )" +
         std::string(value) + "}}";
}

INSTANTIATE_TEST_SUITE_P(
    , ManagementSignalTest,
    testing::Values(
        SignalRow{"None", "", false}, SignalRow{"Domain", R"("join": {"domain": true})", true},
        SignalRow{"CloudDevice", R"("join": {"cloud_device": true})", true},
        SignalRow{"EnterpriseEdition", R"("os": {"edition_id": "IoTENTERPRISES"})", true},
        SignalRow{"EducationEdition", R"("os": {"edition_id": "Education"})", true},
        SignalRow{"ProductNameHoldsEdu",
                  R"("os": {"edition_id": "Core", "product_name": "Windows 11 SE EDU"})", true},
        SignalRow{"EduInsideAWord", R"("os": {"product_name": "Reduced"})", true},
        SignalRow{"OtherEdition",
                  R"("os": {"edition_id": "Professional", "product_name": "Windows 11 Pro"})",
                  false},
        SignalRow{"PolicyOfOne", Policy(R"({"type": "REG_DWORD", "data": 1})"), true},
        SignalRow{"PolicyOfSeven", Policy(R"({"type": "REG_DWORD", "data": 7})"), true},
        SignalRow{"PolicyOfZero", Policy(R"({"type": "REG_DWORD", "data": 0})"), false},
        SignalRow{"PolicyAsText", Policy(R"({"type": "REG_SZ", "data": "1"})"), false},
        SignalRow{"Organisation", R"("organisation": {"subscriptions": ["1b4e28ba"]})", true},
        SignalRow{"OrganisationWithoutSubscriptions", R"("organisation": {"realm": "contoso"})",
                  false},
        SignalRow{"ServiceRuns", R"("services": {"ccmexec": "running"})", true},
        SignalRow{"ServiceStands", R"("services": {"ccmexec": "stopped"})", false}),
    yox_test::RowName());

struct SubscriptionRow {
  const char* name;
  const char* list;
  bool commercial;
};
class CommercialOrganisationTest : public testing::TestWithParam<SubscriptionRow> {};

TEST_P(CommercialOrganisationTest, IsToldByAllSubscriptions) {
  InstalledDevice device(
      Profile(std::string(R"("organisation": {"subscriptions": )") + GetParam().list + "}"));
  EXPECT_EQ(DeviceManagementStatus::IsDeviceClaimedInCommercialOrg(), GetParam().commercial);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommercialOrganisationTest,
    testing::Values(
        SubscriptionRow{"Empty", "[]", false},
        SubscriptionRow{"FirstOfTheTable", R"(["c915fedc-aab3-4509-a588-9d8365f31079"])", false},
        SubscriptionRow{"SecondOfTheTable", R"(["f1e571bf-4b98-4463-832a-eaadc56f4c9d"])", false},
        SubscriptionRow{"TableEntryInCapitals", R"(["C915FEDC-AAB3-4509-A588-9D8365F31079"])",
                        false},
        SubscriptionRow{"Unknown", R"(["1b4e28ba-2fa1-11d2-883f-0016d3cca427"])", true},
        SubscriptionRow{"UnknownFirst", R"(["1b4e28ba", "c915fedc-aab3-4509-a588-9d8365f31079"])",
                        false},
        SubscriptionRow{"UnknownLast", R"(["c915fedc-aab3-4509-a588-9d8365f31079", "1b4e28ba"])",
                        false}),
    yox_test::RowName());

TEST(DeviceManagementTest, PolicyAndSubscriptionsAreSeenAtOnce) {
  InstalledDevice device(Profile(""));
  EXPECT_FALSE(Query("policy"));
  yox::platform::RegistryKey key;
  key.root = HKEY_LOCAL_MACHINE;
  key.path = "SOFTWARE\\Policies\\Tervan\\YOX"_w;
  device->registry().CreateKey(key);
  device->registry().SetValue(key, "IsManagedDevice"_w, yox::platform::RegistryValue::Dword(1));
  EXPECT_TRUE(Query("policy"));

  EXPECT_FALSE(DeviceManagementStatus::IsDeviceClaimedInCommercialOrg());
  key.path = "SOFTWARE\\Tervan\\YOX\\Organisation"_w;
  device->registry().CreateKey(key);
  const std::vector list{"1b4e28ba"_w};
  device->registry().SetValue(key, "Subscriptions"_w,
                              yox::platform::RegistryValue::MultiText(list));
  EXPECT_TRUE(DeviceManagementStatus::IsDeviceClaimedInCommercialOrg());
}

// In each round the results of another device, some of which are queried again after an hour.
TEST(DeviceManagementTest, SeveralThreadsGetTheSameResults) {
  for (int round = 0; round < 50; ++round) {
    InstalledDevice device(
        Profile(R"("os": {"edition_id": "Core"}, "services": {"ccmexec": "running"},
                                    "join": {"domain": true, "cloud_device": true})"));
    std::atomic<int> ready{0};
    const auto query = [&] {
      ++ready;
      while (ready < 2) std::this_thread::yield();
      for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(Query("domain"));
        EXPECT_TRUE(Query("cloud_device"));
        EXPECT_TRUE(Query("management_service"));
        EXPECT_FALSE(Query("edition"));
        device->clock().Advance(kHour);
      }
    };
    std::thread other(query);
    query();
    other.join();
  }
}

TEST(DeviceManagementTest, TheEditionIsRememberedForEver) {
  InstalledDevice device(Profile(R"("os": {"edition_id": "Core"})"));
  EXPECT_FALSE(Query("edition"));
  device->Change([](DeviceProfile& profile) { profile.os.edition_id = "Enterprise"_w; });
  EXPECT_FALSE(Query("edition"));
}

}  // namespace
