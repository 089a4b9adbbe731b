#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "yox/clientbase/FileSystem.h"
#include "yox/clientbase/InitLog.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/simulated/SimulatedDevice.h"

namespace {

using YOX::Log;
using YOX::utility::InitLog;
using namespace yox::literals;

class InitLogTest : public testing::Test {
 protected:
  std::string Written(const char* name) {
    std::ifstream file(device_.files().folder() / "State" / "Logs" / name);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  yox::platform::SimulatedDevice device_;
  yox::platform::ScopedPlatform installed_{device_};
};

TEST_F(InitLogTest, WritesEverythingBelowTheStateFolder) {
  static Log log{"everything"};
  ASSERT_TRUE(InitLog(log, "Everything.log"_wv, 4));
  log.d("%s: number %d", "Function", 7);
  log.e("%s: failed", "Function");
  const std::string text = Written("Everything.log");
  EXPECT_NE(text.find("Function: number 7"), std::string::npos);
  EXPECT_NE(text.find("Function: failed"), std::string::npos);
}

TEST_F(InitLogTest, LowerVerbosityDropsLowerLevels) {
  static Log warnings{"warnings"};
  static Log errors{"errors"};
  ASSERT_TRUE(InitLog(warnings, "Warnings.log"_wv, 2));
  ASSERT_TRUE(InitLog(errors, "Errors.log"_wv, 1));
  for (Log* const log : {&warnings, &errors}) {
    log->d("debug");
    log->w("warning");
    log->e("error");
  }
  EXPECT_EQ(Written("Warnings.log").find("debug"), std::string::npos);
  EXPECT_NE(Written("Warnings.log").find("warning\n"), std::string::npos);
  EXPECT_EQ(Written("Errors.log").find("warning\n"), std::string::npos);
  EXPECT_NE(Written("Errors.log").find("error\n"), std::string::npos);
}

TEST_F(InitLogTest, AnswersFalseWithoutAPlace) {
  static Log log{"nowhere"};
  device_.files().SetStateFolder(false);
  EXPECT_FALSE(InitLog(log, "Nowhere.log"_wv, 4));
  device_.files().SetStateFolder(true);
  std::ofstream(device_.files().folder() / "State") << "a file where the folder should be";
  EXPECT_FALSE(InitLog(log, "Nowhere.log"_wv, 4));
}

}  // namespace
