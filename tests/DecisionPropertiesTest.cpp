#include <gtest/gtest.h>

#include <memory>

#include "yox/applicability/TestEvaluator.h"
#include "yox/base/String.h"

#include "tests/support/Generators.h"
#include "tests/support/TestRecord.h"

using yox::decision::FilterField;

// What is true of every list and device, tried on generated ones. The platform is the machine's
// own: criteria that depend on it have some result, the same in each decision.
namespace yox_test {
namespace {

using yox::WString;
using namespace yox::literals;

class DecisionProperties : public testing::Test {
 protected:
  static constexpr int kDecisions = 1000;

  // Draws the next list, device and arguments.
  void Draw() {
    const GeneratedDevice device = MakeDevice(random_, Mix::kEverything);
    record_ = std::make_shared<TestRecord>();
    device.Fill(*record_);
    client_version_ = YOX::String::UTF8ToUTF16(device.client_version);
    list_ = MakeList(random_, Mix::kEverything);
    const GeneratedArguments arguments = MakeArguments(random_);
    target_version_ = YOX::String::UTF8ToUTF16(arguments.target_version);
    tags_ = ToPairs(device.tags);
  }

  bool Decide(const ApplicabilityFilter& filter, WString& reason) {
    return evaluator_.EvaluateApplicability(record_, client_version_, filter, nullptr,
                                            target_version_.empty() ? nullptr : &target_version_,
                                            tags_, reason);
  }

  Random random_{2026};
  TestEvaluator evaluator_;
  std::shared_ptr<TestRecord> record_;
  WString client_version_;
  WString target_version_;
  ApplicabilityEvaluator::Pairs tags_;
  GeneratedList list_;
};

TEST_F(DecisionProperties, TheFirstDecisiveFilterDecidesAsItDoesAlone) {
  for (int i = 0; i < kDecisions; ++i) {
    Draw();
    const ApplicabilityFilter filter = list_.ToFilters();
    WString reason;
    const bool applies = Decide(filter, reason);

    bool expected = false;
    for (const Filter& one : filter.filters()) {
      Filter matches_or_not = one;
      matches_or_not.set_value("true"_w);
      WString ignored;
      if (one.IsSet(FilterField::default_) ||
          Decide(ApplicabilityFilter({matches_or_not}), ignored)) {
        expected = Decide(ApplicabilityFilter({one}), ignored);
        break;
      }
    }
    ASSERT_EQ(applies, expected) << list_.ToDocument();
  }
}

TEST_F(DecisionProperties, AReasonIsTheSameAtEachAskingAndNamesEachFilterPassed) {
  for (int i = 0; i < kDecisions; ++i) {
    Draw();
    const ApplicabilityFilter filter = list_.ToFilters();
    WString first = "left over"_w;
    WString second;
    const bool applies = Decide(filter, first);
    ASSERT_EQ(applies, Decide(filter, second));
    ASSERT_EQ(first, second) << list_.ToDocument();
    const std::string reason = YOX::String::UTF16ToUTF8(first);
    if (!applies && reason.find("value = false") == std::string::npos &&
        reason.find("default = false") == std::string::npos) {
      // None was decisive: each is named.
      const std::string last = "Filter [" + std::to_string(list_.filters.size() - 1) + "]: ";
      ASSERT_NE(reason.find(last), std::string::npos) << list_.ToDocument();
    }
  }
}

TEST_F(DecisionProperties, ADecisionIsTheSameWithoutAReason) {
  for (int i = 0; i < kDecisions; ++i) {
    Draw();
    WString reason;
    WString none = ApplicabilityEvaluator::discard_reason_;
    ASSERT_EQ(Decide(list_.ToFilters(), reason), Decide(list_.ToFilters(), none));
    ASSERT_EQ(none, "discard_reason"_w);
  }
}

TEST_F(DecisionProperties, AFurtherFilterBehindADecisiveOneChangesNothing) {
  for (int i = 0; i < kDecisions; ++i) {
    Draw();
    ApplicabilityFilter::List filters = list_.ToFilters().filters();
    filters.emplace_back().set_default("true"_w);
    WString reason;
    const bool applies = Decide(ApplicabilityFilter(filters), reason);
    filters.emplace_back().set_default("false"_w);
    WString longer;
    ASSERT_EQ(Decide(ApplicabilityFilter(filters), longer), applies);
    ASSERT_EQ(longer, reason);
  }
}

}  // namespace
}  // namespace yox_test
