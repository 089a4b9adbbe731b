#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "yox/applicability/TestEvaluator.h"
#include "yox/base/String.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/tags/AppAndTagCollection.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/SubstitutedPlatform.h"
#include "tests/support/TestRecord.h"

namespace {

using namespace yox::literals;
using yox::WString;
using yox::platform::ApplicationSource;

// Records what it was asked for, in order.
class ObservedApplications final : public yox::platform::Applications {
 public:
  ByKey Installed(ApplicationSource source) override {
    asked += "mu3"[static_cast<int>(source)];
    if (source == closed) throw std::runtime_error("source is closed");
    return installed;
  }
  std::map<WString, WString> Store() override {
    asked += 's';
    return {{"Contoso.Notes"_w, "2.0"_w}};
  }
  std::uint64_t Generation() override { return generation; }

  ByKey installed{{"{1}"_w, {"Contoso Editor"_w, {}, "7.1"_w}}};
  std::uint64_t generation = 0;
  std::optional<ApplicationSource> closed;
  std::string asked;
};

class InstalledItemsTest : public testing::Test {
 protected:
  InstalledItemsTest() { platform_.Set(applications_); }

  bool Decide(const WString& required) {
    Filter filter;
    filter.set_installed_items(required);
    WString reason;
    return evaluator_.EvaluateApplicability(
        yox_test::MakeRecord(), {}, ApplicabilityFilter({filter}), nullptr, nullptr, {}, reason);
  }

  yox::platform::SimulatedDevice device_;
  ObservedApplications applications_;
  yox_test::SubstitutedPlatform platform_{device_};
  yox::platform::ScopedPlatform installed_{platform_};
  yox_test::TestEvaluator evaluator_;
};

TEST_F(InstalledItemsTest, AreAskedForOnceInTheOrderOfTheirSourcesAndTheStoreEachTime) {
  const yox_test::CapturedLog log;
  EXPECT_TRUE(Decide("Contoso Editor|7.1"_w));
  EXPECT_EQ(applications_.asked, "mu3s");
  EXPECT_NE(log.Text().find("ApplicabilityEvaluator D ApplicabilityEvaluator::DoesFilterMatch "
                            "Updated installed apps list its size is now: 1\n"),
            std::string::npos)
      << log.Text();
  EXPECT_TRUE(Decide("{1}|7.1"_w));
  EXPECT_TRUE(Decide("Contoso.Notes|2.0"_w));
  EXPECT_EQ(applications_.asked, "mu3sss");
}

TEST_F(InstalledItemsTest, AreAskedForAgainWhileThereAreNone) {
  applications_.installed.clear();
  EXPECT_FALSE(Decide("Contoso Editor"_w));
  EXPECT_FALSE(Decide("Contoso Editor"_w));
  EXPECT_EQ(applications_.asked, "mu3smu3s");
}

TEST_F(InstalledItemsTest, AReadThatFailedMidwayIsRepeated) {
  applications_.closed = ApplicationSource::kUser;
  EXPECT_THROW(Decide("Contoso Editor"_w), std::runtime_error);
  applications_.closed.reset();
  EXPECT_TRUE(Decide("Contoso Editor"_w));
  EXPECT_EQ(applications_.asked, "mumu3s");
}

TEST_F(InstalledItemsTest, AReadThatFailedLeavesWhatWasKnown) {
  EXPECT_TRUE(Decide("Contoso Editor"_w));
  applications_.generation = 1;
  applications_.closed = ApplicationSource::kMachine;
  EXPECT_THROW(Decide("Contoso Editor"_w), std::runtime_error);
  applications_.generation = 0;
  EXPECT_TRUE(Decide("Contoso Editor"_w));
  EXPECT_EQ(applications_.asked, "mu3sms");
}

TEST_F(InstalledItemsTest, AnotherGenerationIsAskedForAgain) {
  EXPECT_FALSE(Decide("Contoso Viewer"_w));
  applications_.installed["{2}"_w] = {"Contoso Viewer"_w, {}, "1"_w};
  EXPECT_FALSE(Decide("Contoso Viewer"_w)) << "nobody told";
  applications_.generation = 1;
  EXPECT_TRUE(Decide("Contoso Viewer"_w));
}

// Only the first pair that the name matches counts: in the order of the keys, whatever the order of
// the map that contains them.
TEST_F(InstalledItemsTest, AreTriedInTheOrderOfTheirKeys) {
  applications_.installed.clear();
  for (int i = 10; i < 60; ++i) {
    const WString number = yox::String::UTF8ToUTF16(std::to_string(i));
    applications_.installed["{"_w + number + "}"_w] = {
        "Contoso App "_w + number, {}, number + ".0"_w};
  }
  EXPECT_TRUE(Decide("Contoso App*|10.0"_w));
  EXPECT_TRUE(Decide("{*|10.0"_w));
  EXPECT_FALSE(Decide("Contoso App*|11.0"_w));
}

TEST_F(InstalledItemsTest, AnInstalledOneComesBeforeTheStores) {
  applications_.installed["Contoso.Notes"_w] = {"Notes"_w, {}, "1.0"_w};
  EXPECT_TRUE(Decide("Contoso.Notes|1.0"_w));
  EXPECT_FALSE(Decide("Contoso.Notes|2.0"_w));
}

// Has changed each time that it is looked at.
class Changing final : public yox::platform::Applications {
 public:
  ByKey Installed(ApplicationSource /*source*/) override {
    return {{"{1}"_w, {"Contoso Editor"_w, {}, "7.1"_w}}};
  }
  std::map<WString, WString> Store() override { return {}; }
  std::uint64_t Generation() override { return ++generation_; }

 private:
  std::atomic<std::uint64_t> generation_ = 0;
};

class DecisionsOfThreads : public testing::Test {
 protected:
  DecisionsOfThreads() { platform_.Set(applications_); }
  // An empty collection is filled again at the next access.
  ~DecisionsOfThreads() override { AppAndTagCollection::GetInstance()->setTags({}); }

  void DecideInTwo(const Filter& filter, AppAndTagCollection* tags) {
    const ApplicabilityFilter list({filter});
    const auto record = yox_test::MakeRecord();
    const auto decide = [&] {
      for (int i = 0; i < 100; ++i) {
        WString reason;
        EXPECT_TRUE(evaluator_.EvaluateApplicability(record, {}, list, tags, nullptr, {}, reason));
        if (tags != nullptr) tags->setTags({YOXTag("Ring"_w, "beta"_w)});
      }
    };
    std::thread other(decide);
    decide();
    other.join();
  }

  yox::platform::SimulatedDevice device_;
  Changing applications_;
  yox_test::SubstitutedPlatform platform_{device_};
  yox::platform::ScopedPlatform installed_{platform_};
  yox_test::TestEvaluator evaluator_;
};

TEST_F(DecisionsOfThreads, MayMeetWhileApplicationsChange) {
  Filter filter;
  filter.set_installed_items("Contoso Editor|7.1"_w);
  DecideInTwo(filter, nullptr);
}

TEST_F(DecisionsOfThreads, MayMeetWhileTagsChange) {
  auto* const tags = AppAndTagCollection::GetInstance();
  tags->setTags({YOXTag("Ring"_w, "beta"_w)});
  Filter filter;
  filter.set_tag("Ring|beta"_w);
  DecideInTwo(filter, tags);
}

TEST(InstalledItemsOfADevice, FollowItsChanges) {
  yox::platform::SimulatedDevice device(yox::platform::ReadDeviceProfile(
      R"({"installed_apps": [{"key": "{1}", "name": "Editor", "version": "7.1"}]})"));
  const yox::platform::ScopedPlatform installed(device);
  yox_test::TestEvaluator evaluator;
  Filter filter;
  filter.set_installed_items("Editor|>=8"_w);
  const auto decide = [&] {
    WString reason;
    return evaluator.EvaluateApplicability(
        yox_test::MakeRecord(), {}, ApplicabilityFilter({filter}), nullptr, nullptr, {}, reason);
  };
  EXPECT_FALSE(decide());
  device.Change([](auto& profile) { profile.installed_apps[0].version = "8.0"_w; });
  EXPECT_TRUE(decide());
}

}  // namespace
