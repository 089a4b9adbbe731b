#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "yox/applicability/TestEvaluator.h"
#include "yox/base/String.h"
#include "yox/decision/Explanation.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/tags/AppAndTagCollection.h"

#include "tests/support/Generators.h"
#include "tests/support/TestRecord.h"

using yox::decision::CriterionResult;
using yox::decision::DecisionTrace;
using yox::decision::ExplainedCriterion;
using yox::decision::ExplainedFilter;
using yox::decision::Explanation;
using yox::decision::FilterField;
using yox::decision::kFilterFieldNames;

// What is true of the explanation of every list on every device, tried on generated ones.
namespace yox_test {
namespace {

using YOX::String;
using yox::WString;
using yox::platform::ReadDeviceProfile;
using yox::platform::ScopedPlatform;
using yox::platform::SimulatedDevice;
using namespace yox::literals;

// The filter that the reason names as the deciding one; std::nullopt if it names none.
std::optional<std::size_t> DecidingFilter(const WString& reason) {
  const std::size_t last = reason.rfind("Filter ["_wv);
  if (last == WString::npos) return std::nullopt;
  const WString words = reason.substr(reason.find("]: "_wv, last) + 3);
  if (words != "true; "_w && words != "value = false; "_w && words != "default = false; "_w) {
    return std::nullopt;
  }
  return static_cast<std::size_t>(String::ToInteger(WString(reason.substr(last + 8))));
}

class ExplanationProperties : public testing::Test {
 protected:
  static constexpr int kDevices = 250;
  static constexpr int kListsForEach = 12;

  // Calls `check` for each list on each device.
  template <class Check>
  void ForEach(Check check) {
    // The tracking of hardware IDs stays with the platform that started it: the first device's.
    static SimulatedDevice lasting(ReadDeviceProfile(MakeDevice(random_, mix_).ToProfile()));
    {
      const ScopedPlatform installed(lasting);
      evaluator_.EvaluateHardwareIdFilter("X"_w);
    }
    for (int i = 0; i < kDevices; ++i) {
      const GeneratedDevice device = MakeDevice(random_, mix_);
      SimulatedDevice simulated(ReadDeviceProfile(device.ToProfile()));
      const ScopedPlatform installed(simulated);
      record_ = std::make_shared<TestRecord>();
      device.Fill(*record_);
      client_version_ = String::UTF8ToUTF16(device.client_version);
      AppAndTagCollection::List tags;
      for (const auto& pair : ToPairs(device.tags)) tags.emplace_back(pair.key(), pair.value());
      collection_->setTags(tags);
      for (int j = 0; j < kListsForEach; ++j) {
        const GeneratedArguments arguments = MakeArguments(random_);
        target_version_ = String::UTF8ToUTF16(arguments.target_version);
        extra_tags_ = ToPairs(arguments.extra_tags);
        const GeneratedList list = MakeList(random_, mix_);
        check(list.ToFilters());
        if (HasFatalFailure()) {
          FAIL() << list.ToDocument() << device.ToProfile();
        }
      }
    }
  }

  bool Decide(const ApplicabilityFilter& list, WString& reason) {
    WString client = client_version_;
    WString target = target_version_;
    return evaluator_.EvaluateApplicability(record_, client, list, collection_,
                                            target.empty() ? nullptr : &target, extra_tags_,
                                            reason);
  }

  Explanation Explain(const ApplicabilityFilter& list) {
    return evaluator_.Explain(record_, client_version_, list, collection_,
                              target_version_.empty() ? nullptr : &target_version_, extra_tags_);
  }

  static constexpr Mix mix_ = Mix::kEverything;
  Random random_{10};
  TestEvaluator evaluator_;
  AppAndTagCollection* const collection_ = AppAndTagCollection::GetInstance();
  std::shared_ptr<TestRecord> record_;
  WString client_version_;
  WString target_version_;
  ApplicabilityEvaluator::Pairs extra_tags_;
};

TEST_F(ExplanationProperties, DecisionReasonAndDecidingFilterAreTheEvaluations) {
  std::array<int, 4> outcomes{};
  ForEach([&](const ApplicabilityFilter& list) {
    WString reason;
    const bool applies = Decide(list, reason);
    const Explanation explanation = Explain(list);
    ASSERT_EQ(explanation.applies, applies);
    ASSERT_EQ(explanation.reason, reason);
    const std::vector<Filter> filters = list.filters();
    ASSERT_EQ(explanation.filters.size(), filters.size());
    if (const auto deciding = DecidingFilter(reason)) {
      ASSERT_EQ(explanation.decided_by, deciding);
    } else if (applies) {  // a default of true, which the reason does not name
      ASSERT_TRUE(explanation.decided_by.has_value());
      ASSERT_TRUE(filters[*explanation.decided_by].IsSet(FilterField::default_));
    } else {
      ASSERT_EQ(explanation.decided_by, std::nullopt);
    }
    for (std::size_t i = 0; i < filters.size(); ++i) {
      const ExplainedFilter& filter = explanation.filters[i];
      ++outcomes[static_cast<std::size_t>(filter.outcome)];
      const bool whole = std::ranges::all_of(
          filter.criteria, [](const auto& c) { return c.result == CriterionResult::kHeld; });
      if (filter.outcome == ExplainedFilter::Outcome::kMatched) {
        ASSERT_TRUE(whole);
      } else if (filter.outcome == ExplainedFilter::Outcome::kNotMatched) {
        ASSERT_FALSE(whole);
      }
    }
  });
  for (const int count : outcomes) EXPECT_GT(count, 50);  // each has been met
}

TEST_F(ExplanationProperties, ACriterionHoldsAsAListOfItAloneDecides) {
  std::array<int, 3> results{};
  ForEach([&](const ApplicabilityFilter& list) {
    const Explanation explanation = Explain(list);
    const std::vector<Filter> filters = list.filters();
    for (std::size_t i = 0; i < filters.size(); ++i) {
      std::size_t set = 0;
      for (const ExplainedCriterion& criterion : explanation.filters[i].criteria) {
        ASSERT_EQ(criterion.required, filters[i].View(criterion.field));
        Filter alone;
        alone.Set(criterion.field, criterion.required);
        WString reason;
        ASSERT_EQ(criterion.result == CriterionResult::kHeld,
                  Decide(ApplicabilityFilter({alone}), reason))
            << kFilterFieldNames[static_cast<std::size_t>(criterion.field)];
        ++results[static_cast<std::size_t>(criterion.result)];
        ++set;
        ASSERT_FALSE(criterion.facts.empty());
      }
      ASSERT_EQ(set, static_cast<std::size_t>(std::popcount(filters[i].criteria())));
    }
  });
  for (const int count : results) EXPECT_GT(count, 500);  // each has been met
}

TEST_F(ExplanationProperties, AFailingCriterionHasAFailingFactAndAHeldOneAHeldFact) {
  ForEach([&](const ApplicabilityFilter& list) {
    for (const ExplainedFilter& filter : Explain(list).filters) {
      for (const ExplainedCriterion& criterion : filter.criteria) {
        const bool held = criterion.result == CriterionResult::kHeld;
        ASSERT_TRUE(std::ranges::any_of(criterion.facts, [&](const auto& fact) {
          return (fact.result == CriterionResult::kHeld) == held;
        })) << kFilterFieldNames[static_cast<std::size_t>(criterion.field)];
      }
    }
  });
}

TEST_F(ExplanationProperties, ATraceIsTheExplanationsShortForm) {
  std::optional<DecisionTrace> before;
  ForEach([&](const ApplicabilityFilter& list) {
    const Explanation explanation = Explain(list);
    const DecisionTrace trace =
        evaluator_.Trace(record_, client_version_, list, collection_,
                         target_version_.empty() ? nullptr : &target_version_, extra_tags_);
    ASSERT_EQ(trace.applies, explanation.applies);
    ASSERT_EQ(trace.reason, explanation.reason);
    ASSERT_EQ(trace.decided_by, explanation.decided_by);
    ASSERT_EQ(trace.failed.size(), explanation.decided_by.value_or(explanation.filters.size()));
    for (std::size_t i = 0; i < trace.failed.size(); ++i) {
      const auto& criteria = explanation.filters[i].criteria;
      const auto first = std::ranges::find_if(
          criteria, [](const auto& c) { return c.result != CriterionResult::kHeld; });
      ASSERT_NE(first, criteria.end());
      ASSERT_EQ(trace.failed[i], first->field);
    }
  });
}

}  // namespace
}  // namespace yox_test
