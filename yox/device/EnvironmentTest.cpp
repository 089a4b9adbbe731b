#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "yox/device/Environment.h"
#include "yox/device/InstalledDevice.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Rows.h"
#include "tests/support/SubstitutedPlatform.h"

namespace {

using namespace yox::literals;
using YOX::Environment;
using yox::platform::ManagementAnswer;
using yox::platform::ManagementRow;
using Step = ManagementAnswer::Step;

class CaptionQueries final : public yox::platform::ManagementQueries {
 public:
  explicit CaptionQueries(ManagementAnswer answer) : answer_(std::move(answer)) {}
  ManagementAnswer Ask(yox::WStringView name_space, yox::WStringView query,
                       yox::WStringView property) override {
    ++asked;
    EXPECT_EQ(name_space, "ROOT\\CIMV2"_wv);
    EXPECT_EQ(query, "SELECT Caption FROM Win32_OperatingSystem"_wv);
    EXPECT_EQ(property, "Caption"_wv);
    return answer_;
  }

  int asked = 0;

 private:
  ManagementAnswer answer_;
};

struct CaptionRow {
  const char* name;
  ManagementAnswer answer;
  const char* out;
  const char* log;  // level and text
};
class EnvironmentTest : public testing::TestWithParam<CaptionRow> {
  // A singleton remembers: each row has a process of its own.
};

TEST_P(EnvironmentTest, TellsWhatCameOfTheQuery) {
  yox_test::InstalledDevice device;
  yox_test::SubstitutedPlatform platform(device.device());
  CaptionQueries answering(GetParam().answer);
  platform.Set(answering);
  const yox::platform::ScopedPlatform installed(platform);
  const yox_test::CapturedLog captured;
  std::string out = "before";
  Environment::GetOsDescription(out);
  EXPECT_EQ(out, GetParam().out);
  std::string log;
  for (const auto& line : captured.Lines()) {
    log += std::string(1, "DWE"[static_cast<int>(line.level)]) + " " + line.text + "\n";
  }
  EXPECT_EQ(log, GetParam().log);
}

#define NAME "YOX::Environment::GetOsDescription"
INSTANTIATE_TEST_SUITE_P(
    , EnvironmentTest,
    testing::Values(CaptionRow{"Thread",
                               {Step::kThread, 0x80004005, {}},
                               "before",
                               "E " NAME
                               ": ComInit.isOK() failed. comInit. Error code: 80004005\n"},
                    CaptionRow{"Locator",
                               {Step::kLocator, 0x80040154, {}},
                               "before",
                               "D " NAME
                               " Failed to create IWbemLocator object. Error code: 80040154\n"},
                    CaptionRow{"Connection",
                               {Step::kConnect, 0x8004100E, {}},
                               "before",
                               "D " NAME " ConnectServer failed. Error code: 8004100E\n"},
                    CaptionRow{"Security",
                               {Step::kSecurity, 0x5, {}},
                               "before",
                               "D " NAME " Could not set proxy blanket. Error code: 5\n"},
                    CaptionRow{"Query",
                               {Step::kQuery, 0x80041017, {}},
                               "before",
                               "D " NAME " Get OS name failed. Error code: 80041017\n"},
                    CaptionRow{"UnreadableRow",
                               {Step::kNone, 0, {ManagementRow{0x80041002, {}}}},
                               "before",
                               "D " NAME " Get OS name failed. Error code: 80041002\n"},
                    CaptionRow{"WrongType",
                               {Step::kNone, 0, {ManagementRow{0, std::int32_t{5}}}},
                               "before",
                               "D " NAME " Wrong format for OS name!\n"},
                    CaptionRow{"Caption",
                               {Step::kNone, 0, {ManagementRow{0, "Größe"_w}}},
                               "Größe",
                               "D " NAME " OS name is: Größe\n"},
                    CaptionRow{"LastRowWins",
                               {Step::kNone, 0, {ManagementRow{0, "A"_w}, ManagementRow{0, "B"_w}}},
                               "B",
                               "D " NAME " OS name is: A\nD " NAME " OS name is: B\n"},
                    CaptionRow{"NoRow", {}, "before", ""}),
    yox_test::RowName());

TEST(EnvironmentCaptionTest, ASuccessIsRememberedAndAFailureIsNot) {
  yox_test::InstalledDevice device;
  yox_test::SubstitutedPlatform platform(device.device());
  CaptionQueries failing({Step::kConnect, 5, {}});
  platform.Set(failing);
  const yox::platform::ScopedPlatform installed(platform);
  std::string out;
  Environment::GetOsDescription(out);
  Environment::GetOsDescription(out);
  EXPECT_EQ(failing.asked, 2);

  CaptionQueries answering({Step::kNone, 0, {ManagementRow{0, "Caption"_w}}});
  platform.Set(answering);
  Environment::GetOsDescription(out);
  EXPECT_EQ(out, "Caption");
  out.clear();
  Environment::GetOsDescription(out);
  EXPECT_EQ(out, "Caption");
  EXPECT_EQ(answering.asked, 1);
}

// In each round the caption of another device. Run under ThreadSanitizer, this finds a member that
// is not guarded.
TEST(EnvironmentCaptionTest, SeveralThreadsGetTheSame) {
  for (int round = 0; round < 50; ++round) {
    const yox_test::InstalledDevice device;
    std::atomic<int> ready{0};
    const auto get = [&ready] {
      ++ready;
      while (ready < 2) std::this_thread::yield();
      std::string out;
      Environment::GetOsDescription(out);
      EXPECT_EQ(out, "Microsoft Windows 11 Pro");
    };
    std::thread other(get);
    get();
    other.join();
  }
}

}  // namespace
