#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "yox/platform/apps/Applications.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/devices/Accelerators.h"
#include "yox/platform/devices/DisplayAdapters.h"
#include "yox/platform/firmware/Firmware.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/RegistryPaths.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/platform/system/JoinState.h"
#include "yox/platform/system/Locale.h"
#include "yox/platform/system/OperatingSystem.h"
#include "yox/platform/system/Services.h"
#include "yox/platform/users/Users.h"

#include "tests/support/SmbiosTable.h"

namespace yox::platform {
namespace {

constexpr std::int64_t kProfileTime = 1772366400;  // 2026-03-01T12:00:00 UTC

TEST(SimulatedClock, StandsAtTheProfilesTimeUntilItIsMoved) {
  SimulatedDevice device(
      ReadDeviceProfile(R"({"clock": {"now": "2026-03-01T12:00:00", "uptime_seconds": 7200}})"));
  SimulatedClock& clock = device.clock();
  EXPECT_EQ(clock.Now(), kProfileTime);
  EXPECT_EQ(clock.UptimeSeconds(), 7200);
  EXPECT_EQ(clock.ToLocalDate(clock.Now()), (LocalDate{2026, 3, 1}));

  const std::int64_t steady = clock.SteadyMilliseconds();
  clock.Advance(86400);
  EXPECT_EQ(clock.Now(), kProfileTime + 86400);
  EXPECT_EQ(clock.UptimeSeconds(), 7200 + 86400);
  EXPECT_EQ(clock.SteadyMilliseconds(), steady + 86'400'000);
  EXPECT_EQ(clock.ToLocalDate(clock.Now()), (LocalDate{2026, 3, 2}));
}

TEST(SimulatedClock, SettingTheDateMovesNothingElse) {
  SimulatedDevice device(ReadDeviceProfile(R"({"clock": {"now": "2026-03-01T12:00:00"}})"));
  const std::int64_t steady = device.clock().SteadyMilliseconds();
  device.clock().Set(1000);
  EXPECT_EQ(device.clock().Now(), 1000);
  EXPECT_EQ(device.clock().SteadyMilliseconds(), steady);
  EXPECT_EQ(device.clock().UptimeSeconds(), 86400);
}

TEST(SimulatedClock, IsUpForADayWhereTheProfileDoesNotSay) {
  EXPECT_EQ(SimulatedDevice(ReadDeviceProfile(R"({"clock": {}})")).clock().UptimeSeconds(), 86400);
}

class RunningClock : public testing::Test {
 protected:
  static std::optional<ClockSection> Section(const char* json) {
    return ReadDeviceProfile(json).clock;
  }

  SimulatedClock machine_{
      Section(R"({"clock": {"now": "2026-03-01T12:00:00", "uptime_seconds": 5000000}})"),
      Platform::Native().clock()};
};

TEST_F(RunningClock, CountsOnFromTheProfilesUptimeAsTimePasses) {
  const SimulatedClock clock(Section(R"({"clock": {"uptime_seconds": 60}})"), machine_);
  EXPECT_EQ(clock.Now(), kProfileTime);
  EXPECT_EQ(clock.SteadyMilliseconds(), 60'000);
  machine_.AdvanceMilliseconds(10'500);
  EXPECT_EQ(clock.Now(), kProfileTime + 10);
  EXPECT_EQ(clock.SteadyMilliseconds(), 70'500);
  EXPECT_EQ(clock.UptimeSeconds(), 70);
  EXPECT_FALSE(clock.MovedByHand());
}

TEST_F(RunningClock, IsUpForADayWhereTheProfileDoesNotSay) {
  const SimulatedClock clock(Section(R"({"clock": {"time_zone": "UTC-5"}})"), machine_);
  EXPECT_EQ(clock.SteadyMilliseconds(), 86'400'000);
  machine_.Advance(1);
  EXPECT_EQ(clock.UptimeSeconds(), 86'401);
}

TEST_F(RunningClock, IsTheMachinesWithoutASection) {
  const SimulatedClock clock(std::nullopt, machine_);
  EXPECT_EQ(clock.UptimeSeconds(), 5'000'000);
}

TEST_F(RunningClock, ShowsAnotherSectionsTimeAndZoneAndNeverGoesBack) {
  SimulatedClock clock(Section(R"({"clock": {"uptime_seconds": 60}})"), machine_);
  clock.Apply(Section(R"({"clock": {"now": "2030-01-01T00:00:00", "time_zone": "Asia/Tokyo",
                                    "uptime_seconds": 7200}})"));
  EXPECT_EQ(clock.ToLocalDate(clock.Now()), (LocalDate{2030, 1, 1}));
  EXPECT_EQ(clock.UtcOffset(clock.Now()), 9 * 3600);
  EXPECT_EQ(clock.ZoneName(), "Asia/Tokyo"_w);
  EXPECT_EQ(clock.UptimeSeconds(), 7200);
  clock.Apply(Section(R"({"clock": {"uptime_seconds": 10}})"));
  EXPECT_EQ(clock.Now(), kProfileTime);
  EXPECT_EQ(clock.UtcOffset(clock.Now()), 0);
  EXPECT_EQ(clock.UptimeSeconds(), 7200);
  clock.SetTimeZone({"UTC+3"_w, *TimeZone::Parse("UTC+3")});
  clock.Apply(std::nullopt);
  EXPECT_EQ(clock.ZoneName(), "UTC"_w);
}

TEST(SimulatedClock, AnOffsetSaysWhichOfTwoTimesIsMeantWhenClocksGoBack) {
  constexpr std::int64_t kClocksGoBack = 1792890000;  // 2026-10-25T01:00:00 UTC
  const auto now = [](const char* text) {
    return SimulatedDevice(ReadDeviceProfile(std::string(R"({"clock": {"time_zone": "Europe/Berlin",
                                                          "now": ")") +
                                             text + R"("}})"))
        .clock()
        .Now();
  };
  EXPECT_EQ(now("2026-10-25T02:30:00"), kClocksGoBack - 1800);
  EXPECT_EQ(now("2026-10-25T02:30:00+02:00"), kClocksGoBack - 1800);
  EXPECT_EQ(now("2026-10-25T02:30:00+01:00"), kClocksGoBack + 1800);
}

TEST(SimulatedClock, ReadsTheTimeInItsZone) {
  SimulatedDevice device(
      ReadDeviceProfile(R"({"clock": {"now": "2026-03-01T12:00:00", "time_zone": "Asia/Tokyo"}})"));
  EXPECT_EQ(device.clock().Now(), kProfileTime - 9 * 3600);
  EXPECT_EQ(device.clock().StartOfLocalDay(2026, 3, 2), kProfileTime + 3 * 3600);
  device.clock().SetTimeZone({});
  EXPECT_EQ(device.clock().StartOfLocalDay(2026, 3, 2), kProfileTime + 12 * 3600);
}

TEST(SimulatedClock, IsTheRealOneWithoutASection) {
  SimulatedDevice device;
  Clock& real = Platform::Native().clock();
  const std::int64_t before = real.Now();
  const std::int64_t now = device.clock().Now();
  EXPECT_LE(before, now);
  EXPECT_LE(now, real.Now());
  EXPECT_EQ(device.clock().ToLocalDate(now), real.ToLocalDate(now));
  EXPECT_GE(real.UptimeSeconds(), device.clock().UptimeSeconds());
  EXPECT_FALSE(device.clock().MovedByHand());

  device.clock().Advance(1'000'000);
  EXPECT_GE(device.clock().Now(), before + 1'000'000);
}

TEST(SimulatedClock, RingsAlarmsWhenTheirMomentComes) {
  SimulatedDevice device(ReadDeviceProfile(R"({"clock": {"now": "2026-03-01T12:00:00"}})"));
  SimulatedClock& clock = device.clock();
  ASSERT_TRUE(clock.MovedByHand());
  int rung = 0;
  const auto alarm = clock.RingAt(clock.SteadyMilliseconds() + 60'000, [&] { ++rung; });
  clock.AdvanceMilliseconds(59'999);
  EXPECT_EQ(rung, 0);
  clock.AdvanceMilliseconds(1);
  EXPECT_EQ(rung, 1);
  const auto late = clock.RingAt(clock.SteadyMilliseconds(), [&] { ++rung; });
  EXPECT_EQ(rung, 2);
}

TEST(SimulatedDevice, AnswersWhatTheProfileSays) {
  SimulatedDevice device(ReadDeviceProfile(R"({
      "firmware": {"manufacturer": "Contoso", "sku": "F14"},
      "os": {"product_name": "Windows 11 Pro", "edition_id": "Professional", "version": "10.0.1",
             "caption": "Microsoft Windows 11 Pro", "s_mode": true, "architecture": 9,
             "update_service_start_type": 3, "updates": [{"title": "KB1", "categories": ["a"]}]},
      "region": {"country_code": "US", "language_code": "en-US"},
      "user": {"sid": "S-1-5-21-1", "system_process": true},
      "accelerators": [{"description": "NPU"}],
      "display_adapters": [{"description": "GPU", "dedicated_video_memory": 5000000000}],
      "installed_apps": [{"key": "{1}", "name": "Editor", "version": "7.1"}],
      "store_apps": {"Notes": "2.0"},
      "services": {"ccmexec": "running", "other": "stopped"},
      "join": {"domain": true}})"));
  EXPECT_EQ(device.firmware().Facts()->manufacturer, "Contoso"_w);
  EXPECT_EQ(device.firmware().Facts()->sku, "F14"_w);
  OperatingSystem& os = device.operating_system();
  EXPECT_EQ(os.ProductName(), "Windows 11 Pro"_w);
  EXPECT_EQ(os.EditionId(), "Professional"_w);
  EXPECT_EQ(os.Version(), "10.0.1"_w);
  EXPECT_EQ(os.Caption(), "Microsoft Windows 11 Pro"_w);
  EXPECT_TRUE(os.IsSMode());
  EXPECT_EQ(os.Architecture(), 9U);
  EXPECT_EQ(os.UpdateServiceStartType(), 3U);
  ASSERT_EQ(os.UpdateHistory().size(), 1U);
  EXPECT_EQ(os.UpdateHistory()[0].categories, std::vector{"a"_w});
  EXPECT_EQ(device.locale().Facts().country_code, "US"_w);
  EXPECT_EQ(device.users().LoggedInUserSid(), "S-1-5-21-1"_w);
  EXPECT_TRUE(device.users().IsSystemProcess());
  EXPECT_EQ(device.accelerators().Enumerate()->at(0).description, "NPU"_w);
  EXPECT_EQ(device.accelerators().Enumerate()->at(0).manufacturer, std::nullopt);
  EXPECT_EQ(device.display_adapters().Enumerate()->at(0).dedicated_video_memory, 5'000'000'000U);
  EXPECT_EQ(device.applications().Installed(ApplicationSource::kMachine).at("{1}"_w).name,
            "Editor"_w);
  EXPECT_EQ(device.applications().Installed(ApplicationSource::kMachine).at("{1}"_w).version,
            "7.1"_w);
  EXPECT_EQ(device.applications().Store().at("Notes"_w), "2.0"_w);
  EXPECT_TRUE(device.services().IsRunning("CcmExec"_wv));
  EXPECT_FALSE(device.services().IsRunning("other"_wv));
  EXPECT_FALSE(device.services().IsRunning("absent"_wv));
  EXPECT_TRUE(device.join_state().Domain().joined);
  EXPECT_FALSE(device.join_state().Cloud().joined);
  EXPECT_EQ(device.join_state().Cloud().outcome, JoinAnswer::Outcome::kAsked);
}

TEST(SimulatedDevice, HasNoFirmwareTablesWithoutTheirSection) {
  EXPECT_EQ(SimulatedDevice().firmware().Facts(), nullptr);
  EXPECT_NE(SimulatedDevice(ReadDeviceProfile(R"({"firmware": {}})")).firmware().Facts(), nullptr);
}

TEST(SimulatedDevice, ReadsItsFirmwareFromATable) {
  yox_test::SmbiosTable table;
  table.Add(1, 27, {{4, 1}, {7, 2}}, {"Contoso", "C0FFEE12"}).AddEnd();
  DeviceProfile profile;
  profile.firmware.emplace().smbios_table.emplace(table.structures().begin(),
                                                  table.structures().end());
  SimulatedDevice device(profile);
  ASSERT_NE(device.firmware().Facts(), nullptr);
  EXPECT_EQ(device.firmware().Facts()->manufacturer, "Contoso"_w);
  EXPECT_EQ(device.firmware().Facts()->serial_number, "C0FFEE12"_w);
}

TEST(SimulatedDevice, ChangesWhileItRuns) {
  SimulatedDevice device(ReadDeviceProfile(R"({"firmware": {"sku": "old"}})"));
  device.Change([](DeviceProfile& profile) {
    profile.region.country_code = "DE"_w;
    profile.firmware->sku = "new"_w;
  });
  EXPECT_EQ(device.locale().Facts().country_code, "DE"_w);
  EXPECT_EQ(device.profile().firmware->sku, "new"_w);
  EXPECT_EQ(device.firmware().Facts()->sku, "old"_w);
  device.firmware().Reread();
  EXPECT_EQ(device.firmware().Facts()->sku, "new"_w);
}

TEST(SimulatedDevice, FindsFirmwareTablesThatWereMissingAtFirst) {
  SimulatedDevice device;
  EXPECT_EQ(device.firmware().Facts(), nullptr);
  device.Change([](DeviceProfile& profile) { profile.firmware.emplace().sku = "F14"_w; });
  EXPECT_EQ(device.firmware().Facts(), nullptr);
  device.firmware().Reread();
  ASSERT_NE(device.firmware().Facts(), nullptr);
  EXPECT_EQ(device.firmware().Facts()->sku, "F14"_w);
}

TEST(SimulatedDevice, FirmwareFactsInUseOutliveAReread) {
  SimulatedDevice device(ReadDeviceProfile(R"({"firmware": {"sku": "old"}})"));
  const FirmwareFacts* const old = device.firmware().Facts();
  device.Change([](DeviceProfile& profile) { profile.firmware->sku = "new"_w; });
  device.firmware().Reread();
  EXPECT_EQ(old->sku, "old"_w);
  device.Change([](DeviceProfile& profile) { profile.firmware.reset(); });
  device.firmware().Reread();
  EXPECT_EQ(device.firmware().Facts(), nullptr);
  EXPECT_EQ(old->sku, "old"_w);
}

class SimulatedRegistryOfDevice : public testing::Test {
 protected:
  static RegistryKey Key(WStringView path) { return ParseRegistryPath(path).value(); }
};

TEST_F(SimulatedRegistryOfDevice, HoldsWhatTheProfileSays) {
  SimulatedDevice device(ReadDeviceProfile(R"({
      "user": {"sid": "S-1-5-21-7"},
      "registry": {"HKLM\\SOFTWARE\\Contoso\\App": {"Level": {"type": "REG_DWORD", "data": 10}},
                   "HKCU\\Software\\Contoso": {"": {"type": "REG_SZ", "data": "beta"}},
                   "HKU\\S-1-5-21-8\\Empty": {}}})"));
  RegistryValue value;
  EXPECT_EQ(device.registry().Get(Key("HKLM\\SOFTWARE\\contoso\\APP"_wv), "level"_wv, value),
            RegistryStatus::kOk);
  EXPECT_EQ(value, RegistryValue::Dword(10));
  for (const WStringView path :
       {"HKCU\\Software\\Contoso"_wv, "HKU\\S-1-5-21-7\\Software\\Contoso"_wv}) {
    EXPECT_EQ(device.registry().Get(Key(path), ""_wv, value), RegistryStatus::kOk);
    EXPECT_EQ(value, RegistryValue::Text("beta"_wv));
  }
  EXPECT_TRUE(device.registry().Exists(Key("HKU\\S-1-5-21-8\\Empty"_wv)));
}

TEST_F(SimulatedRegistryOfDevice, HasTheUsersHiveBesideTheSystemsOwn) {
  SimulatedDevice device(ReadDeviceProfile(R"({
      "user": {"sid": "S-1-5-21-7", "system_process": true},
      "registry": {"HKCU\\Software\\Contoso": {}}})"));
  EXPECT_TRUE(device.registry().Exists(Key("HKU\\S-1-5-21-7\\Software\\Contoso"_wv)));
  EXPECT_FALSE(device.registry().Exists(Key("HKCU\\Software\\Contoso"_wv)));
  device.Change([](DeviceProfile& profile) { profile.user.system_process = false; });
  EXPECT_TRUE(device.registry().Exists(Key("HKCU\\Software\\Contoso"_wv)));
}

TEST_F(SimulatedRegistryOfDevice, HoldsOrganisationAndDeveloperSettings) {
  const WStringView organisation = "HKLM\\SOFTWARE\\Tervan\\YOX\\Organisation"_wv;
  const WStringView developer = "HKLM\\SOFTWARE\\Tervan\\YOX\\Developer"_wv;
  SimulatedDevice device(ReadDeviceProfile(R"({
      "organisation": {"realm": "contoso", "subscriptions": ["a", "b"]},
      "developer": {"device_model_override": "FA14"}})"));
  RegistryValue value;
  EXPECT_EQ(device.registry().Get(Key(organisation), "Realm"_wv, value), RegistryStatus::kOk);
  EXPECT_EQ(value, RegistryValue::Text("contoso"_wv));
  EXPECT_EQ(device.registry().Get(Key(organisation), "Subscriptions"_wv, value),
            RegistryStatus::kOk);
  EXPECT_EQ(value, RegistryValue::MultiText(std::vector{"a"_w, "b"_w}));
  EXPECT_EQ(device.registry().Get(Key(developer), "DeviceModel"_wv, value), RegistryStatus::kOk);
  EXPECT_EQ(value, RegistryValue::Text("FA14"_wv));

  SimulatedDevice bare;
  EXPECT_FALSE(bare.registry().Exists(Key(organisation)));
  EXPECT_FALSE(bare.registry().Exists(Key(developer)));
}

TEST_F(SimulatedRegistryOfDevice, BecomesThatOfAnotherProfile) {
  SimulatedDevice device(ReadDeviceProfile(R"({
      "clock": {"now": "2026-03-01T12:00:00"}, "user": {"sid": "S-1-5-21-7"},
      "registry": {"HKLM\\SOFTWARE\\A": {"Kept": {"type": "REG_DWORD", "data": 1},
                                         "Gone": {"type": "REG_DWORD", "data": 2}},
                   "HKCU\\Software\\A": {"Gone": {"type": "REG_DWORD", "data": 3}}},
      "organisation": {"realm": "contoso"}, "developer": {"device_model_override": "FA14"},
      "configuration": {"mtm": "M"}})"));
  const RegistryKey key = Key("HKLM\\SOFTWARE\\a"_wv);
  ASSERT_EQ(device.registry().SetValue(key, "Written"_w, RegistryValue::Dword(4)),
            RegistryStatus::kOk);
  device.Become(ReadDeviceProfile(R"({
      "clock": {"now": "2030-01-01T00:00:00"}, "user": {"sid": "S-1-5-21-8"},
      "region": {"country_code": "DE"},
      "registry": {"HKLM\\SOFTWARE\\a": {"kept": {"type": "REG_DWORD", "data": 5}},
                   "HKCU\\Software\\B": {"New": {"type": "REG_DWORD", "data": 6}}}})"));
  std::vector<RegistryEntry> values;
  ASSERT_EQ(static_cast<Registry&>(device.registry()).Values(key, values), RegistryStatus::kOk);
  EXPECT_EQ(values, (std::vector<RegistryEntry>{{"Kept"_w, RegistryValue::Dword(5)},
                                                {"Written"_w, RegistryValue::Dword(4)}}));
  RegistryValue value;
  EXPECT_EQ(device.registry().Get(Key("HKU\\S-1-5-21-8\\Software\\B"_wv), "New"_wv, value),
            RegistryStatus::kOk);
  EXPECT_EQ(device.registry().Get(Key("HKU\\S-1-5-21-7\\Software\\A"_wv), "Gone"_wv, value),
            RegistryStatus::kNotFound);
  EXPECT_FALSE(device.registry().Exists(Key("HKLM\\SOFTWARE\\Tervan\\YOX\\Organisation"_wv)));
  EXPECT_EQ(device.registry().Get(Key("HKLM\\SOFTWARE\\Tervan\\YOX\\Developer"_wv),
                                  "DeviceModel"_wv, value),
            RegistryStatus::kNotFound);
  EXPECT_EQ(device.clock().ToLocalDate(device.clock().Now()), (LocalDate{2030, 1, 1}));
  EXPECT_EQ(device.locale().Facts().country_code, "DE"_w);
  EXPECT_EQ(device.profile().user.sid, "S-1-5-21-8"_w);
  std::ifstream configuration(device.files().folder() / "ProgramData" / "yox-config.xml");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(configuration), {}).find("MTM"),
            std::string::npos);
}

TEST(SimulatedDevice, IsReadAndChangedFromSeveralThreads) {
  SimulatedDevice device(ReadDeviceProfile(R"({"clock": {"now": "2026-03-01T12:00:00"}})"));
  constexpr int kRounds = 500;
  std::thread changer([&] {
    for (int i = 0; i < kRounds; ++i) {
      device.Change([](DeviceProfile& profile) {
        profile.region.country_code += 'X';
        profile.region.country_name += 'X';
      });
      device.clock().Advance(1);
      device.clock().SetTimeZone({"a zone"_w, *TimeZone::Parse(i % 2 == 0 ? "UTC+1" : "UTC")});
    }
  });
  for (int i = 0; i < kRounds; ++i) {
    const LocaleFacts facts = device.locale().Facts();
    EXPECT_EQ(facts.country_code, facts.country_name);
    EXPECT_EQ(device.clock().ToLocalDate(device.clock().Now()), (LocalDate{2026, 3, 1}));
  }
  changer.join();
  EXPECT_EQ(device.clock().Now(), kProfileTime + kRounds);
  EXPECT_EQ(device.locale().Facts().country_code.size(), static_cast<std::size_t>(kRounds));
}

}  // namespace
}  // namespace yox::platform
