#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <thread>

#include "yox/base/Log.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace yox::literals;
using YOX::Log;
using YOX::LogLevel;
using yox_test::CapturedLog;

constinit Log test_log{"test"};

TEST(LogTest, NarrowAndWideTextsAndIntegersAreWrittenInPlace) {
  const CapturedLog captured;
  test_log.e("%s : %s %d of %zu, error 0x%0X %08x%%", "Name", "größer"_w, -5, std::size_t{7},
             0xBEEFU, 0xABU);
  EXPECT_EQ(captured.Text(), "test E Name : größer -5 of 7, error 0xBEEF 000000ab%\n");
}

TEST(LogTest, EachLevelIsToldToTheSink) {
  const CapturedLog captured;
  test_log.d("%s", "progress");
  test_log.w("%s", "odd");
  test_log.e("%s", "wrong");
  EXPECT_EQ(captured.Text(), "test D progress\ntest W odd\ntest E wrong\n");
}

TEST(LogTest, IntegersKeepTheirFullWidth) {
  const CapturedLog captured;
  test_log.d("%ld %ld %zu %X", std::numeric_limits<std::int64_t>::min(), std::int64_t{1} << 40,
             std::numeric_limits<std::size_t>::max(), static_cast<std::int32_t>(0x80004005));
  EXPECT_EQ(captured.Text(),
            "test D -9223372036854775808 1099511627776 18446744073709551615 80004005\n");
}

TEST(LogTest, ASilencedLogIsSilentOnItsOwnThreadAlone) {
  constinit static Log other_log{"other"};
  const CapturedLog captured;
  {
    const Log::Silence silence(test_log);
    EXPECT_FALSE(test_log.Enabled(LogLevel::Error));
    test_log.e("%s", "silenced");
    other_log.d("%s", "another log");
    std::thread([] { test_log.d("%s", "another thread"); }).join();
    {
      const Log::Silence inner(other_log);
      other_log.d("%s", "silenced");
    }
    test_log.d("%s", "still silenced");
  }
  test_log.d("%s", "behind");
  EXPECT_EQ(captured.Text(), "other D another log\ntest D another thread\ntest D behind\n");
}

TEST(LogTest, LinesBelowTheLevelAreDropped) {
  const CapturedLog captured;
  test_log.SetLevel(LogLevel::Error);
  EXPECT_FALSE(test_log.Enabled(LogLevel::Warning));
  test_log.w("%s", "dropped");
  test_log.e("%s", "kept");
  test_log.SetLevel(LogLevel::Debug);
  EXPECT_EQ(captured.Text(), "test E kept\n");
}

TEST(LogTest, ALogThatNobodyReadsIsNotEnabled) {
  EXPECT_FALSE(test_log.Enabled(LogLevel::Error));
  {
    const CapturedLog captured;
    EXPECT_TRUE(test_log.Enabled(LogLevel::Debug));
  }
  EXPECT_FALSE(test_log.Enabled(LogLevel::Error));
}

TEST(LogTest, AnOpenedFileReceivesTheLinesAsUtf8) {
  const yox_test::TemporaryFolder folder;
  const std::filesystem::path path = folder.path() / u8"größe.log";
  EXPECT_FALSE(test_log.Open(folder.path()));
  ASSERT_TRUE(test_log.Open(path));
  test_log.d("%s ☂ %s", "rain", "umbrella"_w);
  std::ifstream file(path, std::ios::binary);
  const std::string content{std::istreambuf_iterator<char>(file), {}};
  EXPECT_NE(content.find("rain ☂"), std::string::npos) << content;
  EXPECT_NE(content.find("debug"), std::string::npos) << content;
}

TEST(LogTest, AnArgumentCannotBeginALineOfTheFile) {
  const yox_test::TemporaryFolder folder;
  const std::filesystem::path path = folder.path() / "log";
  ASSERT_TRUE(test_log.Open(path));
  const CapturedLog captured;
  test_log.d("%s: %s", "a\n[2026-01-01] [error] forged\x1b[31m", "b\r\n\u202Ec"_w);
  std::ifstream file(path);  // as text: lines end as the system ends them
  const std::string content{std::istreambuf_iterator<char>(file), {}};
  EXPECT_TRUE(
      content.ends_with("a\\u000a[2026-01-01] [error] forged\\u001b[31m: "
                        "b\\u000d\\u000a\\u202ec\n"))
      << content;
  EXPECT_EQ(std::ranges::count(content, '\n'), 1) << content;
  EXPECT_EQ(captured.Text(), "test D a\n[2026-01-01] [error] forged\x1b[31m: b\r\n\u202Ec\n");
}

TEST(LogTest, ATextWithAnEmbeddedZeroIsWrittenWhole) {
  const CapturedLog captured;
  test_log.d("%s|", yox::WString(3, yox::WChar{}));
  EXPECT_EQ(captured.Text(), std::string("test D \0\0\0|\n", 12));
}

}  // namespace
