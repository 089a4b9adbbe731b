#include <gmock/gmock.h>

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "yox/base/String.h"
#include "yox/base/TimeZone.h"
#include "yox/clientbase/CaptureDevice.h"
#include "yox/platform/PlatformContract.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/devices/Accelerators.h"
#include "yox/platform/devices/DisplayAdapters.h"
#include "yox/platform/registry/Registry.h"

#include "tests/support/Rows.h"
#include "tests/support/SubstitutedPlatform.h"

namespace yox::platform {
namespace {

const RegistryKey kKeys[] = {{HKEY_LOCAL_MACHINE, "SOFTWARE"_w, {}, {}}};

class CaptureContract : public yox_test::PlatformContract {};

TEST_P(CaptureContract, ACapturedDeviceHasTheSameDisplayAdaptersAndAccelerators) {
  SimulatedDevice captured(CaptureDevice(platform(), {}));
  EXPECT_EQ(captured.display_adapters().Enumerate().value(),
            platform().display_adapters().Enumerate().value_or(std::vector<DisplayAdapter>()));
  EXPECT_EQ(captured.accelerators().Enumerate().value(),
            platform().accelerators().Enumerate().value_or(std::vector<Accelerator>()));
}

TEST_P(CaptureContract, ACapturedDeviceIsCapturedAsTheSameProfile) {
  const DeviceProfile profile = CaptureDevice(platform(), kKeys);
  SimulatedDevice captured(ReadDeviceProfile(WriteDeviceProfile(profile)));
  EXPECT_EQ(WriteDeviceProfile(CaptureDevice(captured, kKeys)), WriteDeviceProfile(profile));
}

INSTANTIATE_TEST_SUITE_P(, CaptureContract, yox_test::kEveryPlatform, yox_test::RowName());

// A clock that knows its offsets and no name for them, as that of Windows.
class NamelessClock final : public Clock {
 public:
  explicit NamelessClock(const Clock& clock) : clock_(clock) {}
  std::int64_t Now() const override { return clock_.Now(); }
  LocalDate ToLocalDate(std::int64_t moment) const override { return clock_.ToLocalDate(moment); }
  std::int32_t UtcOffset(std::int64_t moment) const override { return clock_.UtcOffset(moment); }
  std::optional<std::int64_t> StartOfLocalDay(int year, int month, int day) const override {
    return clock_.StartOfLocalDay(year, month, day);
  }
  std::int64_t SteadyMilliseconds() const override { return clock_.SteadyMilliseconds(); }

 private:
  const Clock& clock_;
};

struct MomentRow {
  const char* name;
  const char* zone;
  std::int64_t moment;
  const char* captured;  // the time in the profile
};
class CapturedClock : public testing::TestWithParam<MomentRow> {
 protected:
  CapturedClock() {
    device_.clock().SetTimeZone(
        {String::UTF8ToUTF16(GetParam().zone), TimeZone::Parse(GetParam().zone).value()});
    device_.clock().Set(GetParam().moment);
  }
  // What is captured has to decide about dates as the device does.
  static void ExpectSame(const DeviceProfile& profile, const Clock& original) {
    SimulatedDevice captured(ReadDeviceProfile(WriteDeviceProfile(profile)));
    const Clock& clock = captured.clock();
    EXPECT_EQ(clock.Now(), original.Now());
    EXPECT_EQ(clock.UtcOffset(clock.Now()), original.UtcOffset(original.Now()));
    const LocalDate today = clock.ToLocalDate(clock.Now());
    EXPECT_EQ(today, original.ToLocalDate(original.Now()));
    for (int day = today.day - 365; day < today.day + 365; ++day) {
      EXPECT_EQ(clock.StartOfLocalDay(today.year, today.month, day),
                original.StartOfLocalDay(today.year, today.month, day));
    }
  }

  SimulatedDevice device_{ReadDeviceProfile(R"({"clock": {"now": "2026-01-01T00:00:00"}})")};
};

TEST_P(CapturedClock, ShowsTheMomentTheDayAndTheStartsOfDaysOfTheDevice) {
  const DeviceProfile profile = CaptureDevice(device_, {});
  EXPECT_THAT(WriteDeviceProfile(profile), testing::HasSubstr(GetParam().captured));
  EXPECT_EQ(profile.clock->time_zone.text, String::UTF8ToUTF16(GetParam().zone));
  ExpectSame(profile, device_.clock());
}

TEST_P(CapturedClock, FindsTheRuleOfAZoneWithoutAName) {
  NamelessClock clock(device_.clock());
  yox_test::SubstitutedPlatform nameless(device_);
  nameless.Set(clock);
  const DeviceProfile profile = CaptureDevice(nameless, {});
  EXPECT_NE(profile.clock->time_zone.text, String::UTF8ToUTF16(GetParam().zone));
  ExpectSame(profile, device_.clock());
}

INSTANTIATE_TEST_SUITE_P(
    , CapturedClock,
    testing::Values(
        MomentRow{"HourOfTheDayOf25", "Europe/Berlin", 1792967400, "2026-10-25T23:30:00\""},
        MomentRow{"FirstOfTwo", "Europe/Berlin", 1792888200, "2026-10-25T02:30:00\""},
        MomentRow{"SecondOfTwo", "Europe/Berlin", 1792891800, "2026-10-25T02:30:00+01:00\""},
        MomentRow{"DayOf23Hours", "Europe/Berlin", 1774778400, "2026-03-29T12:00:00\""},
        MomentRow{"FirstHourAfterTheChange", "Europe/Berlin", 1792971000, "2026-10-26T00:30:00\""},
        MomentRow{"SouthernSummer", "Australia/Lord_Howe", 1775315700, "2026-04-05T01:45:00+10:30"},
        MomentRow{"QuarterOfAnHour", "Asia/Kathmandu", 1772366400, "2026-03-01T17:45:00\""},
        MomentRow{"Before1970", "America/New_York", -310392000, "1960-03-01T07:00:00\""}),
    yox_test::RowName());

TEST(CaptureDeviceTest, AZoneWithoutARuleIsTheOffsetOfTheMoment) {
  class OddClock final : public Clock {
   public:
    std::int64_t Now() const override { return 1772366400; }
    std::int32_t UtcOffset(std::int64_t moment) const override {
      return moment < 1772300000 ? 7200 : -12600;
    }
    LocalDate ToLocalDate(std::int64_t) const override { return {2026, 3, 1}; }
    std::optional<std::int64_t> StartOfLocalDay(int, int, int) const override { return 0; }
    std::int64_t SteadyMilliseconds() const override { return 5000; }
  } clock;
  SimulatedDevice device;
  yox_test::SubstitutedPlatform odd(device);
  odd.Set(clock);
  const auto section = CaptureDevice(odd, {}).clock;
  EXPECT_EQ(section->time_zone.text, "-03:30"_w);
  EXPECT_EQ(section->Moment(), 1772366400);
  EXPECT_EQ(section->uptime_seconds, 5U);
}

TEST(CaptureDeviceTest, CurrentUserIsTheHiveThatARegistryCriterionReads) {
  const RegistryKey key{HKEY_CURRENT_USER, "SOFTWARE\\Contoso"_w, {}, {}};
  for (const char* const system : {"true", "false"}) {
    SimulatedDevice device(ReadDeviceProfile(
        std::string(R"({"user": {"sid": "S-1-5-21-7", "system_process": )") + system + R"(},
          "registry": {"HKCU\\SOFTWARE\\Contoso": {"Ring": {"type": "REG_SZ", "data": "beta"}},
                       "HKU\\S-1-5-18\\SOFTWARE\\Contoso": {}}})"));
    const DeviceProfile profile = CaptureDevice(device, std::span(&key, 1));
    EXPECT_EQ(profile.registry,
              (decltype(profile.registry){{"HKEY_CURRENT_USER\\SOFTWARE\\Contoso"_w,
                                           {{"Ring"_w, RegistryValue::Text("beta"_wv)}}}}));
  }
}

}  // namespace
}  // namespace yox::platform
