#include <gtest/gtest.h>

#include "yox/base/String.h"
#include "yox/clientbase/DateTimeUtility.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/support/Rows.h"

namespace {

using YOX::DateTimeUtility;
using YOX::String;
using yox::platform::ReadDeviceProfile;
using yox::platform::ScopedPlatform;
using yox::platform::SimulatedDevice;

struct FirstRunRow {
  const char* name;
  const char* profile;
  const char* date;
  const char* days;
};
class FirstRun : public testing::TestWithParam<FirstRunRow> {};

TEST_P(FirstRun, IsADayAndTheDaysSinceWhateverTheFlag) {
  SimulatedDevice device(ReadDeviceProfile(GetParam().profile));
  const ScopedPlatform installed(device);
  for (const bool flag : {false, true}) {
    EXPECT_EQ(String::UTF16ToUTF8(DateTimeUtility::GetFirstRunDate(flag)), GetParam().date);
    EXPECT_EQ(String::UTF16ToUTF8(DateTimeUtility::GetDaysSinceOobe(flag)), GetParam().days);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FirstRun,
    testing::Values(
        FirstRunRow{"Unknown", R"({"clock": {"now": "2026-03-01T12:00:00"}})", "", ""},
        FirstRunRow{"AYearAgo",
                    R"({"clock": {"now": "2026-03-01T12:00:00"}, "first_run_date": "2025-03-01"})",
                    "2025-03-01", "365"},
        FirstRunRow{"Today",
                    R"({"clock": {"now": "2026-03-01T00:00:00"}, "first_run_date": "2026-03-01"})",
                    "2026-03-01", "0"},
        FirstRunRow{"ToCome",
                    R"({"clock": {"now": "2026-03-01T12:00:00"}, "first_run_date": "2026-03-02"})",
                    "2026-03-02", "0"},
        FirstRunRow{"OverALeapDay",
                    R"({"clock": {"now": "2024-03-01T12:00:00"}, "first_run_date": "2024-02-28"})",
                    "2024-02-28", "2"},
        FirstRunRow{"LongAgo",
                    R"({"clock": {"now": "2026-03-01T12:00:00"}, "first_run_date": "0999-01-10"})",
                    "0999-01-10", "375154"}),
    yox_test::RowName());

// Of the device's own calendar, not Greenwich's.
TEST(FirstRunTest, TodayIsTheDevicesOwnDay) {
  SimulatedDevice device(ReadDeviceProfile(
      R"({"clock": {"now": "2026-03-01T23:30:00", "time_zone": "UTC-5"},
          "first_run_date": "2026-03-01"})"));
  const ScopedPlatform installed(device);
  EXPECT_EQ(String::UTF16ToUTF8(DateTimeUtility::GetDaysSinceOobe(false)), "0");
  device.clock().Advance(3600);
  EXPECT_EQ(String::UTF16ToUTF8(DateTimeUtility::GetDaysSinceOobe(false)), "1");
}

}  // namespace
