#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "yox/applicability/TestEvaluator.h"
#include "yox/decision/Filter.h"
#include "yox/platform/devices/DeviceTree.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Rows.h"
#include "tests/support/TestRecord.h"

namespace {

using namespace yox::literals;
using testing::HasSubstr;
using testing::StartsWith;
using yox::WString;
using yox::platform::ScopedPlatform;
using yox::platform::SimulatedDevice;
using yox_test::CapturedLog;
using yox_test::TestEvaluator;

const std::string kLog =
    "ApplicabilityEvaluator D ApplicabilityEvaluator::EvaluateHardwareIdFilter ";
const std::string kTrackerStarted = kLog + "PnP device tracker started successfully\n";

std::string Exact(const std::string& result) {
  return kLog + "Hardware ID exact match result: " + result + "\n";
}

// A device with one PCI function. The tracker outlives it, as it outlives a program's own.
class HardwareIdFilterTest : public testing::Test {
 protected:
  HardwareIdFilterTest() {
    device.device_tree().Plug(
        {"PCI\\VEN_8086&DEV_7D45\\0000:00:02.0"_w,
         {"PCI\\VEN_8086&DEV_7D45&SUBSYS_00001043&REV_08"_w, "PCI\\VEN_8086&DEV_7D45"_w}});
  }

  bool Evaluate(const WString& required) { return evaluator.EvaluateHardwareIdFilter(required); }

  SimulatedDevice device;
  ScopedPlatform installed{device};
  TestEvaluator evaluator;
};

TEST_F(HardwareIdFilterTest, LogsAnExactMatchToTheLetter) {
  CapturedLog log;
  EXPECT_TRUE(Evaluate("PCI\\VEN_8086&DEV_7D45"_w));
  EXPECT_EQ(log.Text(), kLog + "Evaluating hardware ID filter: PCI\\VEN_8086&DEV_7D45\n" +
                            kTrackerStarted + Exact("MATCH"));
}

TEST_F(HardwareIdFilterTest, LowerCaseAndForwardSlashesFindTheId) {
  CapturedLog log;
  EXPECT_TRUE(Evaluate("pci/ven_8086&dev_7d45"_w));
  EXPECT_THAT(log.Text(), HasSubstr(Exact("MATCH")));
}

TEST_F(HardwareIdFilterTest, BlanksAroundAnIdFindItInTheExactPass) {
  CapturedLog log;
  EXPECT_TRUE(Evaluate(" \t\r\n\v\fPCI\\VEN_8086&DEV_7D45 "_w));
  EXPECT_THAT(log.Text(), HasSubstr(Exact("MATCH")));
}

TEST_F(HardwareIdFilterTest, TheSecondAlternativeMatchesBehindTheFirst) {
  CapturedLog log;
  EXPECT_TRUE(Evaluate("PCI\\VEN_10DE, PCI\\VEN_8086&DEV_7D45, PCI\\NEVER"_w));
  EXPECT_EQ(log.Text(), kLog +
                            "Evaluating hardware ID filter: PCI\\VEN_10DE, PCI\\VEN_8086&DEV_7D45, "
                            "PCI\\NEVER\n" +
                            kTrackerStarted + Exact("NO_MATCH") + Exact("MATCH"));
}

TEST_F(HardwareIdFilterTest, APrefixFailsTheExactPassAndHoldsInTheWildcardPass) {
  CapturedLog log;
  EXPECT_TRUE(Evaluate("pci/ven_8086&dev_7d45&subsys*"_w));
  EXPECT_EQ(log.Text(), kLog + "Evaluating hardware ID filter: pci/ven_8086&dev_7d45&subsys*\n" +
                            kTrackerStarted + Exact("NO_MATCH") + kLog +
                            "Checking 2 device IDs against wildcard requirement\n" + kLog +
                            "Hardware ID filter matched: Required=PCI\\VEN_8086&DEV_7D45&SUBSYS*, "
                            "Found=PCI\\VEN_8086&DEV_7D45&SUBSYS_00001043&REV_08\n");
}

TEST_F(HardwareIdFilterTest, NothingMatchingLogsEachAlternativeAndTheResult) {
  CapturedLog log;
  EXPECT_FALSE(Evaluate("PCI\\VEN_10DE*,USB\\VID_1050"_w));
  EXPECT_EQ(log.Text(), kLog + "Evaluating hardware ID filter: PCI\\VEN_10DE*,USB\\VID_1050\n" +
                            kTrackerStarted + Exact("NO_MATCH") + Exact("NO_MATCH") + kLog +
                            "Checking 2 device IDs against wildcard requirement\n" + kLog +
                            "Hardware ID filter result: NO_MATCH\n");
}

struct PatternCase {
  const char* name;
  WString required;
  bool matched;
};

class HardwareIdPattern : public HardwareIdFilterTest,
                          public testing::WithParamInterface<PatternCase> {};

TEST_P(HardwareIdPattern, Decides) { EXPECT_EQ(Evaluate(GetParam().required), GetParam().matched); }

INSTANTIATE_TEST_SUITE_P(
    , HardwareIdPattern,
    testing::Values(PatternCase{"StarAtTheStart", "*&rev_08"_w, true},
                    PatternCase{"StarsAtBothEnds", "*subsys*"_w, true},
                    PatternCase{"StarInTheInsideMatchesAnyId", "USB*X"_w, true},
                    PatternCase{"NegationHoldsForAnotherPresentId", "!PCI\\VEN_8086&DEV_7D45"_w,
                                true},
                    PatternCase{"NegationOfEveryPresentIdFails", "!PCI*"_w, false},
                    PatternCase{"APrefixWithoutStarFails", "PCI\\VEN_8086"_w, false},
                    PatternCase{"AnEmptyPieceMatchesAnyId", "NEVER,"_w, true},
                    PatternCase{"ABlankPieceMatchesAnyId", " "_w, true},
                    PatternCase{"AnEmptyTextHasNoPiece", ""_w, false}),
    yox_test::RowName());

class BareDevice : public testing::Test {
 protected:
  SimulatedDevice device;
  ScopedPlatform installed{device};
  TestEvaluator evaluator;
};

TEST_F(BareDevice, WithoutDevicesEvenNegationAndBlankTextFail) {
  CapturedLog log;
  EXPECT_FALSE(evaluator.EvaluateHardwareIdFilter("!X"_w));
  EXPECT_FALSE(evaluator.EvaluateHardwareIdFilter(""_w));
  EXPECT_THAT(log.Text(), HasSubstr(kLog + "Checking 0 device IDs against wildcard requirement\n"));
}

// A text alone is looked up in an index, other patterns are tried in turn.
TEST_F(BareDevice, TheFirstIdThatAnyAlternativeMatchesIsLogged) {
  evaluator.EvaluateHardwareIdFilter("never"_w);  // starts the tracker
  for (const auto& id : {"A1"_w, " B2 "_w, "C3"_w}) device.device_tree().Plug({id, {id}});
  const auto found = [&](const WString& required) {
    CapturedLog log;
    EXPECT_TRUE(evaluator.EvaluateHardwareIdFilter(required));
    const std::string text = log.Text();
    return text.substr(text.find("Found=") + 6);
  };
  EXPECT_EQ(found("b2,C*"_w), " B2 \n");
  EXPECT_EQ(found("c*,b2"_w), " B2 \n");
  EXPECT_EQ(found("b2,a*"_w), "A1\n");
  EXPECT_EQ(found("b2,never,*never*"_w), " B2 \n");
}

TEST_F(BareDevice, TheLiveSetFollowsPlugAndUnplug) {
  EXPECT_FALSE(evaluator.EvaluateHardwareIdFilter("USB/VID_1050*"_w));
  device.device_tree().Plug({"USB\\K\\1"_w, {"USB\\VID_1050&PID_0120"_w}});
  EXPECT_TRUE(evaluator.EvaluateHardwareIdFilter("USB/VID_1050*"_w));
  EXPECT_TRUE(evaluator.EvaluateHardwareIdFilter("USB/VID_1050&PID_0120"_w));
  device.device_tree().Unplug("USB\\K\\1"_w);
  EXPECT_FALSE(evaluator.EvaluateHardwareIdFilter("USB/VID_1050*"_w));
}

TEST_F(BareDevice, AChangeOfTheProfilePlugsAndUnplugs) {
  using yox::platform::DeviceProfile;
  EXPECT_FALSE(evaluator.EvaluateHardwareIdFilter("USB/A"_w));
  device.Change([](DeviceProfile& profile) {
    profile.devices = {{"USB\\A\\1"_w, {"USB\\A"_w}}, {"USB\\B\\1"_w, {"USB\\B"_w}}};
  });
  EXPECT_TRUE(evaluator.EvaluateHardwareIdFilter("USB/A"_w));
  device.Change([](DeviceProfile& profile) {
    profile.devices = {{"USB\\B\\1"_w, {"USB\\B"_w, "USB\\B&REV_2"_w}}};
  });
  EXPECT_FALSE(evaluator.EvaluateHardwareIdFilter("USB/A"_w));
  EXPECT_TRUE(evaluator.EvaluateHardwareIdFilter("USB/B&REV_2"_w));
}

TEST_F(BareDevice, AStartThatFailsIsTriedAgainByTheNextEvaluation) {
  device.device_tree().Plug({"USB\\A\\1"_w, {"USB\\A"_w}});
  device.device_tree().AcceptRegistrations(false);
  CapturedLog log;
  EXPECT_FALSE(evaluator.EvaluateHardwareIdFilter("USB\\A"_w));
  EXPECT_EQ(log.Text(),
            kLog + "Evaluating hardware ID filter: USB\\A\n" +
                "ApplicabilityEvaluator E ApplicabilityEvaluator::EvaluateHardwareIdFilter Failed "
                "to start PnP device tracker\n");
  device.device_tree().AcceptRegistrations(true);
  EXPECT_TRUE(evaluator.EvaluateHardwareIdFilter("USB\\A"_w));
}

TEST_F(BareDevice, ListsWithoutTheCriterionRegisterNothing) {
  Filter filter;
  filter.set_country("US"_w);
  WString reason;
  evaluator.EvaluateApplicability(yox_test::MakeRecord(), "1.0"_w, ApplicabilityFilter({filter}),
                                  nullptr, nullptr, {}, reason);
  EXPECT_EQ(device.device_tree().enumerations(), 0U);
}

TEST_F(BareDevice, AFailingCountryNeverReachesTheRepository) {
  const auto record = yox_test::MakeRecord();
  Filter filter;
  filter.set_country("US"_w);
  filter.set_hardware_id("*"_w);
  CapturedLog log;
  WString reason;
  EXPECT_FALSE(evaluator.EvaluateApplicability(record, "1.0"_w, ApplicabilityFilter({filter}),
                                               nullptr, nullptr, {}, reason));
  EXPECT_EQ(reason, "Filter [0]: country = false; "_w);
  EXPECT_EQ(device.device_tree().enumerations(), 0U);
  EXPECT_EQ(log.Text(),
            "ApplicabilityEvaluator D ApplicabilityEvaluator::DoesFilterMatch Country filter is "
            "false. Required: US, Actual: \n");
}

TEST_F(BareDevice, TheFailureOfTheCriterionIsLoggedEachTime) {
  const auto record = yox_test::MakeRecord();
  Filter filter;
  filter.set_hardware_id("USB/A"_w);
  for (int i = 0; i < 3; ++i) {
    CapturedLog log;
    WString reason;
    EXPECT_FALSE(evaluator.DoesFilterMatch(&filter, record, "1.0"_w, nullptr, nullptr, {}, reason));
    EXPECT_EQ(log.Lines().back().text,
              "ApplicabilityEvaluator::DoesFilterMatch Hardware ID filter is false. Required "
              "hardware ID: USB/A");
  }
}

TEST_F(BareDevice, AListLogsTheFailureOfTheCriterionEachTime) {
  const auto record = yox_test::MakeRecord();
  Filter filter;
  filter.set_hardware_id("USB/A"_w);
  const ApplicabilityFilter list({filter});
  for (int i = 0; i < 3; ++i) {
    CapturedLog log;
    WString reason;
    EXPECT_FALSE(
        evaluator.EvaluateApplicability(record, "1.0"_w, list, nullptr, nullptr, {}, reason));
    EXPECT_THAT(log.Text(), testing::HasSubstr("Hardware ID filter is false"));
  }
}

TEST_F(BareDevice, TheCriterionDecidesAListAndGivesItsReason) {
  Filter filter;
  filter.set_hardware_id("USB/A"_w);
  const ApplicabilityFilter list({filter});
  const auto decide = [&](WString& reason) {
    return evaluator.EvaluateApplicability(yox_test::MakeRecord(), "1.0"_w, list, nullptr, nullptr,
                                           {}, reason);
  };
  CapturedLog log;
  WString reason;
  EXPECT_FALSE(decide(reason));
  EXPECT_EQ(reason, "Filter [0]: hardware_id = false; "_w);
  EXPECT_THAT(log.Text(), HasSubstr("ApplicabilityEvaluator::DoesFilterMatch Hardware ID filter is "
                                    "false. Required hardware ID: USB/A\n"));
  device.device_tree().Plug({"USB\\A\\1"_w, {"USB\\A"_w}});
  EXPECT_TRUE(decide(reason));
  EXPECT_EQ(reason, "Filter [0]: true; "_w);
}

TEST_F(BareDevice, SeveralThreadsStartOneTracker) {
  device.device_tree().Plug({"USB\\A\\1"_w, {"USB\\A"_w}});
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      TestEvaluator own;
      for (int round = 0; round < 50; ++round) {
        EXPECT_TRUE(own.EvaluateHardwareIdFilter(round % 2 == 0 ? "USB\\A"_w : "USB*"_w));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(device.device_tree().enumerations(), 1U);
}

// Its log sink throws, in place of any standard exception of the evaluation.
TEST_F(BareDevice, AStandardExceptionIsLoggedAndFails) {
  std::vector<std::string> lines;
  YOX::Log::SetSink([&](std::string_view, YOX::LogLevel, std::string_view line) {
    lines.emplace_back(line);
    if (line.find("started successfully") != std::string_view::npos) {
      throw std::runtime_error("no m\xC3\xB6re");
    }
  });
  EXPECT_FALSE(evaluator.EvaluateHardwareIdFilter("USB\\A"_w));
  YOX::Log::SetSink({});
  EXPECT_EQ(lines.back(),
            "ApplicabilityEvaluator::EvaluateHardwareIdFilter Exception in hardware ID filter: no "
            "m\xC3\xB6re");
}

}  // namespace
