#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "yox/applicability/TestEvaluator.h"
#include "yox/base/String.h"
#include "yox/decision/Filter.h"
#include "yox/foundation/YOXTag.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/tags/AppAndTagCollection.h"

#include "tests/faults/FailingMemory.h"
#include "tests/support/TestRecord.h"

namespace {

using namespace yox::literals;
using yox::WString;

struct Collection : AppAndTagCollection {};

// A decision that compares every kind of text, version and tag, with a reason of six filters.
class DecisionMemoryTest : public testing::Test {
 protected:
  DecisionMemoryTest() {
    record->set_os_region("a region of more units than a string has room for"_w);
    // A getter that a class of the host may override returns a copy.
    record->set_device_manufacturer(
        record->MayOverrideManufacturer() ? "Short"_w : "A Manufacturer with a Long Name"_w);
    record->set_device_model(" A Model with White Space Around It "_w);
    record->set_os_version("10.0.19045.4170"_w);
    tags.setTags({{"a.tag.of.the.collection"_w, "with a value of some length"_w}});
    ApplicabilityFilter::List all(6);
    all[0].set_country("no such region, nor this other one"_w);
    all[1].set_mfr("*no such manufacturer*"_w);
    all[2].set_model("A Model with White Space*,"_w);
    all[2].set_os_version(">=10.0.22621"_w);
    all[3].set_version("<2.0"_w);
    all[4].set_tag("a.tag.of.the.collection|another value of some length"_w);
    all[5].set_tag("a.tag.of.the.caller|with a value of some length"_w);
    list.set_filters(all);
    Decide(discarded);  // what a thread and the process keep from the first decision on
  }

  bool Decide(WString& reason) {
    return evaluator.EvaluateApplicability(shared, version, list, &tags, nullptr, extra, reason);
  }
  std::int64_t Allocations(WString& reason) {
    yox_test::FailAllocation(0);
    Decide(reason);
    return yox_test::StopFailing();
  }

  yox::platform::SimulatedDevice device;
  yox::platform::ScopedPlatform installed{device};
  yox_test::TestEvaluator evaluator;
  std::shared_ptr<yox_test::TestRecord> record = yox_test::MakeRecord();
  std::shared_ptr<MachineInformation> shared = record;
  Collection tags;
  ApplicabilityFilter list;
  WString version = "3.1.4.1592"_w;
  ApplicabilityEvaluator::Pairs extra{{"a.tag.of.the.caller"_w, "With a Value of Some Length"_w}};
  WString discarded = ApplicabilityEvaluator::discard_reason_;
};

TEST_F(DecisionMemoryTest, WithoutAReasonNothingIsAllocated) {
  EXPECT_EQ(Allocations(discarded), 0);
}

TEST_F(DecisionMemoryTest, AReasonIsAllocatedOnce) {
  WString reason;
  EXPECT_EQ(Allocations(reason), 1);
  EXPECT_EQ(YOX::String::UTF16ToUTF8(reason),
            "Filter [0]: country = false; Filter [1]: mfr = false; Filter [2]: os_version = false; "
            "Filter [3]: version = false; Filter [4]: tag = false; Filter [5]: true; ");
}

TEST_F(DecisionMemoryTest, AReasonThatHasRoomIsNotAllocated) {
  WString reason;
  Decide(reason);
  EXPECT_EQ(Allocations(reason), 0);
}

}  // namespace
