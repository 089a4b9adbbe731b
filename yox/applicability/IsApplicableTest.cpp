#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "yox/applicability/TestClock.h"
#include "yox/applicability/TestEvaluator.h"
#include "yox/decision/FilterDocument.h"
#include "yox/device/MachineInformation.h"
#include "yox/foundation/YOXHelperFactory.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/RegistryPlatform.h"
#include "yox/tags/AppAndTagCollection.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Latch.h"
#include "tests/support/SubstitutedPlatform.h"

using yox::decision::ReadFilterDocument;

namespace {

using namespace yox::literals;
using yox::WString;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryValue;

class IsApplicableTest : public testing::Test {
 protected:
  IsApplicableTest() {
    device_.Change([](yox::platform::DeviceProfile& profile) {
      profile.client.version = "4.2.10.0"_w;
      profile.region.country_code = "US"_w;
    });
    Store("Channel"_w, "beta"_w);
    record_ = MachineInformation::Publish();
  }

  void Store(const WString& name, const WString& text) {
    const RegistryKey key{HKEY_LOCAL_MACHINE, AppAndTagCollection::szRegKeySubPath, {}, {}};
    ASSERT_EQ(device_.registry().CreateKey(key), RegistryStatus::kOk);
    ASSERT_EQ(device_.registry().SetValue(key, name, RegistryValue::Text(text)),
              RegistryStatus::kOk);
  }

  yox_test::TestEvaluator evaluator_;

  bool Applies(const char* filters, const ApplicabilityEvaluator::Pairs& extra = {}) {
    reason_.clear();
    return evaluator_.IsApplicable(ReadFilterDocument(filters), nullptr, extra, reason_);
  }

  yox::platform::SimulatedDevice device_;
  yox::platform::ScopedPlatform installed_{device_};
  std::shared_ptr<MachineInformation> record_;
  WString reason_;
};

TEST_F(IsApplicableTest, TheRegistrysTagsDecide) {
  EXPECT_TRUE(Applies(R"([{"tag": "Channel|beta"}])"));
  EXPECT_EQ(reason_, "Filter [0]: true; "_w);
  EXPECT_FALSE(Applies(R"([{"tag": "Channel|stable"}])"));
  EXPECT_EQ(reason_, "Filter [0]: tag = false; "_w);
  EXPECT_TRUE(Applies(R"([{"tag": "Channel|beta,Device.Usage.IsManagedDevice|false"}])"));
}

TEST_F(IsApplicableTest, ExtraTagsReplaceStoredOnesOfTheSameKey) {
  EXPECT_TRUE(Applies(R"([{"tag": "Channel|stable"}])", {{"Channel"_w, "stable"_w}}));
  EXPECT_FALSE(Applies(R"([{"tag": "Channel|beta"}])", {{"Channel"_w, "stable"_w}}));
  EXPECT_TRUE(Applies(R"([{"tag": "Channel|beta"}])", {{"channel"_w, "stable"_w}}))
      << "only of the very same key";
}

TEST_F(IsApplicableTest, TheClientsVersionIsThatOfItsService) {
  EXPECT_TRUE(Applies(R"([{"version": ">=4.2"}])"));
  EXPECT_FALSE(Applies(R"([{"version": ">=4.3"}])"));
}

TEST_F(IsApplicableTest, ManyThreadsMayDecideWhileTheServiceIsInstalled) {
  const auto install = [this](const WString& version) {
    device_.Change(
        [&](yox::platform::DeviceProfile& profile) { profile.client.version = version; });
  };
  install({});
  const ApplicabilityFilter list =
      ReadFilterDocument(R"([{"version": ">=4.2", "tag": "Channel"}])");
  ApplicabilityEvaluator* const evaluator = &evaluator_;
  WString reason;
  EXPECT_FALSE(evaluator->IsApplicable(list, nullptr, {}, reason));
  yox_test::Latch begun(4);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      WString reason_of_mine;
      begun.CountDown();
      while (!evaluator->IsApplicable(list, nullptr, {}, reason_of_mine)) {
      }
      EXPECT_EQ(reason_of_mine, "Filter [0]: true; "_w);
    });
  }
  EXPECT_TRUE(begun.Wait());
  install("4.2.10.0"_w);
  for (std::thread& thread : threads) thread.join();
}

TEST_F(IsApplicableTest, TheRegistryDecides) {
  EXPECT_TRUE(
      Applies(R"([{"registry": "HKLM\\SOFTWARE\\Tervan\\YOX\\Applicability\\Tags:Channel|b*"}])"));
  EXPECT_FALSE(
      Applies(R"([{"registry": "HKLM\\SOFTWARE\\Tervan\\YOX\\Applicability\\Tags:Missing|*"}])"));
  EXPECT_EQ(reason_, "Filter [0]: registry = false; "_w);
}

TEST_F(IsApplicableTest, TheOrganisationDecides) {
  EXPECT_FALSE(Applies(R"([{"device_subscription": "one*"}])"));
  const RegistryKey key{HKEY_LOCAL_MACHINE, "SOFTWARE\\Tervan\\YOX\\Organisation"_w, {}, {}};
  const WString subscriptions[] = {"other"_w, "one-two"_w};
  ASSERT_EQ(device_.registry().CreateKey(key), RegistryStatus::kOk);
  device_.registry().SetValue(key, "Subscriptions"_w, RegistryValue::MultiText(subscriptions));
  EXPECT_TRUE(Applies(R"([{"device_subscription": "one*"}])"));
}

TEST_F(IsApplicableTest, WithoutARecordEverythingApplies) {
  std::shared_ptr<MachineInformation> none;
  yox::YOXHelperFactory::GetInstance()->SetMachineInformationAgent(none);
  const yox_test::CapturedLog log;
  EXPECT_TRUE(Applies(R"([{"default": "false"}])"));
  EXPECT_EQ(reason_, ""_w);
  EXPECT_THAT(log.Text(), testing::HasSubstr("ApplicabilityEvaluator E "
                                             "ApplicabilityEvaluator::IsApplicable : Exception - "
                                             "machineInformation\n"));
}

TEST_F(IsApplicableTest, TheFirstDecisionWithoutARecordWarns) {
  std::shared_ptr<MachineInformation> none;
  yox::YOXHelperFactory::GetInstance()->SetMachineInformationAgent(none);
  const yox_test::CapturedLog log;
  Applies("[]");
  Applies("[]");
  const auto warnings = std::ranges::count_if(log.Lines(), [](const auto& line) {
    return line.level == YOX::LogLevel::Warning &&
           line.text.starts_with("ApplicabilityEvaluator::IsApplicable No machine record: ");
  });
  EXPECT_EQ(warnings, 1) << log.Text();
}

TEST_F(IsApplicableTest, WithARecordNothingWarns) {
  const yox_test::CapturedLog log;
  Applies("[]");
  EXPECT_THAT(log.Text(), testing::Not(testing::HasSubstr(" W ")));
}

// The version that a decision fetches itself is its own to trim.
TEST_F(IsApplicableTest, TheClientsVersionMayHaveBlanksAroundIt) {
  device_.Change([](auto& profile) { profile.client.version = " 4.2.10.0 "_w; });
  EXPECT_TRUE(Applies(R"([{"version": ">=9.0"}, {"version": "4.2.10.0"}])"));
  EXPECT_EQ(reason_, "Filter [0]: version = false; Filter [1]: true; "_w);
}

TEST_F(IsApplicableTest, AnExceptionAppliesAndKeepsTheReasonSoFar) {
  EXPECT_TRUE(Applies("[]"));  // what the first decision creates is there
  yox_test::FailingClock clock;
  yox_test::SubstitutedPlatform platform(device_);
  platform.Set(clock);
  const yox::platform::ScopedPlatform installed(platform);
  constexpr const char* kList = R"([{"country": "DE"}, {"os": "Windows",
      "date_function": "2026-01-05|28|linear"}, {"default": "false"}])";
  const yox_test::CapturedLog log;
  EXPECT_TRUE(Applies(kList));
  EXPECT_EQ(reason_, "Filter [0]: country = false; "_w);
  EXPECT_EQ(log.Lines().back().text,
            "ApplicabilityEvaluator::IsApplicable : Exception - the clock fällt aus");

  EXPECT_THROW(evaluator_.EvaluateApplicability(record_, "1.0"_w, ReadFilterDocument(kList),
                                                nullptr, nullptr, {}, reason_),
               std::runtime_error);
  EXPECT_EQ(reason_, "Filter [0]: country = false; "_w);
}

}  // namespace
