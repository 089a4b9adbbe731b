#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "yox/applicability/TestEvaluator.h"
#include "yox/base/String.h"
#include "yox/decision/Filter.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Rows.h"
#include "tests/support/TestRecord.h"

using yox::decision::FilterField;

namespace {

using namespace yox::literals;
using YOX::String;
using yox::WString;
using yox_test::CapturedLog;
using yox_test::MakeRecord;
using yox_test::TestEvaluator;

using Field = FilterField;
struct Setting {
  Field field;
  WString text;
};
using Settings = std::vector<Setting>;

Filter MakeFilter(const Settings& settings) {
  Filter filter;
  for (const auto& [field, text] : settings) filter.Set(field, text);
  return filter;
}

ApplicabilityFilter MakeList(const std::vector<Settings>& filters) {
  ApplicabilityFilter::List list;
  for (const Settings& settings : filters) list.push_back(MakeFilter(settings));
  return ApplicabilityFilter(list);
}

struct Answer {
  bool applies;
  WString reason;
};

// A device in the US whose client is version 4.2.10.0.
Answer DecideWalk(const std::vector<Settings>& filters, WString reason = {}) {
  const auto record = MakeRecord();
  record->set_os_region("US"_w);
  record->set_os_version("10.0.22631.4460"_w);
  record->set_device_family("Falcon 14"_w);
  TestEvaluator evaluator;
  const bool applies = evaluator.EvaluateApplicability(record, "4.2.10.0"_w, MakeList(filters),
                                                       nullptr, nullptr, {}, reason);
  return {applies, reason};
}

struct WalkCase {
  const char* name;
  std::vector<Settings> filters;
  bool applies;
  WString reason;
};

class Walk : public testing::TestWithParam<WalkCase> {};

TEST_P(Walk, DecidesWithItsReason) {
  const Answer answer = DecideWalk(GetParam().filters);
  EXPECT_EQ(answer.applies, GetParam().applies);
  EXPECT_EQ(answer.reason, GetParam().reason);
}

TEST_P(Walk, DecidesTheSameWithoutAReason) {
  const Answer answer = DecideWalk(GetParam().filters, ApplicabilityEvaluator::discard_reason_);
  EXPECT_EQ(answer.applies, GetParam().applies);
  EXPECT_EQ(answer.reason, "discard_reason"_w);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Walk,
    testing::Values(
        WalkCase{"EmptyListApplies", {}, true, ""_w},
        WalkCase{"DefaultTrueAddsNothing", {{{Field::default_, "true"_w}}}, true, ""_w},
        WalkCase{"DefaultIgnoresCase", {{{Field::default_, "TRUE"_w}}}, true, ""_w},
        WalkCase{"DefaultOfAnyOtherTextIsFalse",
                 {{{Field::default_, "yes"_w}}},
                 false,
                 "Filter [0]: default = false; "_w},
        WalkCase{"DefaultIsComparedUntrimmed",
                 {{{Field::default_, " true"_w}}},
                 false,
                 "Filter [0]: default = false; "_w},
        WalkCase{
            "BlankDefaultIsNotSet", {{{Field::default_, " "_w}}}, true, "Filter [0]: true; "_w},
        WalkCase{"DefaultIsNeverMatchedAgainstTheDevice",
                 {{{Field::default_, "true"_w}, {Field::country, "DE"_w}}},
                 true,
                 ""_w},
        WalkCase{"DefaultEndsTheWalk",
                 {{{Field::default_, "false"_w}}, {{Field::country, "US"_w}}},
                 false,
                 "Filter [0]: default = false; "_w},
        WalkCase{"FilterWithoutCriterionMatches", {{}}, true, "Filter [0]: true; "_w},
        WalkCase{"ValueFalseTurnsAMatch",
                 {{{Field::value, "False"_w}}},
                 false,
                 "Filter [0]: value = false; "_w},
        WalkCase{"ValueOfAnyOtherTextIsTrue",
                 {{{Field::value, "no"_w}, {Field::country, "US"_w}}},
                 true,
                 "Filter [0]: true; "_w},
        WalkCase{"ValueIsComparedUntrimmed",
                 {{{Field::value, " false"_w}}},
                 true,
                 "Filter [0]: true; "_w},
        WalkCase{"ValuePlaysNoPartWithoutAMatch",
                 {{{Field::value, "false"_w}, {Field::country, "DE"_w}}},
                 false,
                 "Filter [0]: country = false; "_w},
        WalkCase{
            "TheFirstMatchDecides",
            {{{Field::country, "DE"_w}},
             {{Field::os_version, ">=11.0"_w}},
             {{Field::family, "Falcon*"_w}},
             {{Field::default_, "false"_w}}},
            true,
            "Filter [0]: country = false; Filter [1]: os_version = false; Filter [2]: true; "_w},
        WalkCase{"OnlyTheFirstFailingCriterionIsNamed",
                 {{{Field::family, "Eagle"_w}, {Field::country, "DE"_w}}},
                 false,
                 "Filter [0]: country = false; "_w},
        WalkCase{"DefaultBehindFailuresKeepsTheirPrefixes",
                 {{{Field::country, "DE"_w}}, {{Field::default_, "true"_w}}},
                 true,
                 "Filter [0]: country = false; "_w},
        WalkCase{"MissingTargetVersionAddsOnlyThePrefix",
                 {{{Field::target_version, ">=1.0"_w}}},
                 false,
                 "Filter [0]: "_w},
        WalkCase{
            "TenthFilterIsNumberedInDecimal",
            {{{Field::country, "A"_w}},
             {{Field::country, "B"_w}},
             {{Field::country, "C"_w}},
             {{Field::country, "D"_w}},
             {{Field::country, "E"_w}},
             {{Field::country, "F"_w}},
             {{Field::country, "G"_w}},
             {{Field::country, "H"_w}},
             {{Field::country, "I"_w}},
             {{Field::country, "J"_w}},
             {}},
            true,
            "Filter [0]: country = false; Filter [1]: country = false; Filter [2]: country = "
            "false; Filter [3]: country = false; Filter [4]: country = false; Filter [5]: "
            "country = false; Filter [6]: country = false; Filter [7]: country = false; Filter "
            "[8]: country = false; Filter [9]: country = false; Filter [10]: true; "_w}),
    yox_test::RowName());

TEST(DecisionWalkTest, AReasonLosesWhatItHeld) {
  EXPECT_EQ(DecideWalk({{}}, "something else"_w).reason, "Filter [0]: true; "_w);
  EXPECT_EQ(DecideWalk({}, "something else"_w).reason, ""_w);
}

TEST(DecisionWalkTest, TheSentinelIsComparedByContent) {
  WString own = "discard_"_w;
  own += "reason"_w;
  EXPECT_EQ(DecideWalk({{{Field::country, "DE"_w}}}, own).reason, "discard_reason"_w);
  EXPECT_EQ(DecideWalk({{}}, "Discard_reason"_w).reason, "Filter [0]: true; "_w);
}

TEST(DecisionWalkTest, ANullRecordIsRefusedBeforeTheReasonIsTouched) {
  TestEvaluator evaluator;
  WString reason = "kept"_w;
  try {
    evaluator.EvaluateApplicability(nullptr, "1.0"_w, MakeList({{}}), nullptr, nullptr, {}, reason);
    FAIL() << "nothing was thrown";
  } catch (const std::invalid_argument& exception) {
    EXPECT_STREQ(exception.what(), "machineInformation");
  }
  EXPECT_EQ(reason, "kept"_w);
}

TEST(DecisionWalkTest, VersionCriteriaTrimTheCallersTexts) {
  const auto record = MakeRecord();
  TestEvaluator evaluator;
  WString client = " 4.2 "_w;
  WString target = "\t2.0\n"_w;
  WString reason;
  EXPECT_FALSE(evaluator.EvaluateApplicability(
      record, client, MakeList({{{Field::version, ">=4"_w}}}), nullptr, &target, {}, reason));
  EXPECT_EQ(client, "4.2"_w);
  EXPECT_EQ(target, "\t2.0\n"_w);
  EXPECT_TRUE(evaluator.EvaluateApplicability(record, client,
                                              MakeList({{{Field::target_version, "2.0"_w}}}),
                                              nullptr, &target, {}, reason));
  EXPECT_EQ(target, "2.0"_w);
}

TEST(DecisionWalkTest, EachVersionFilterTellsTheTrimmedText) {
  const auto record = MakeRecord();
  record->set_os_version(" 10.0.1 "_w);
  TestEvaluator evaluator;
  WString client = " 4.2, a text that is longer than a short one "_w;
  WString target = " 2.0 "_w;
  WString reason;
  const CapturedLog log;
  EXPECT_FALSE(evaluator.EvaluateApplicability(record, client,
                                               MakeList({{{Field::version, ">=9.0"_w}},
                                                         {{Field::version, "<1.0"_w}},
                                                         {{Field::target_version, ">3.0"_w}},
                                                         {{Field::target_version, "<1.0"_w}},
                                                         {{Field::os_version, ">11.0"_w}}}),
                                               nullptr, &target, {}, reason));
  std::string lines;
  for (const auto& line : log.Lines())
    lines += line.text.substr(line.text.find("Required")) + "|\n";
  EXPECT_EQ(lines,
            "Required: >=9.0, Actual: 4.2, a text that is longer than a short one|\n"
            "Required: <1.0, Actual: 4.2, a text that is longer than a short one|\n"
            "Required: >3.0, Actual: 2.0|\nRequired: <1.0, Actual: 2.0|\n"
            "Required: >11.0, Actual: 10.0.1|\n");
}

// Both criteria see the text that the first has trimmed.
TEST(DecisionWalkTest, BothVersionsMayBeOneText) {
  const auto record = MakeRecord();
  TestEvaluator evaluator;
  const ApplicabilityFilter list =
      MakeList({{{Field::target_version, ">=4.2"_w}, {Field::version, ">=9.0"_w}},
                {{Field::version, "4.2"_w}}});
  WString both = "  4.2  "_w;
  WString reason;
  EXPECT_TRUE(evaluator.EvaluateApplicability(record, both, list, nullptr, &both, {}, reason));
  EXPECT_EQ(reason, "Filter [0]: version = false; Filter [1]: true; "_w);
  EXPECT_EQ(both, "4.2"_w);
}

// The first criterion looks at the text and leaves its blanks, the second removes them.
TEST(DecisionWalkTest, AVersionThatIsTrimmedAsTheOtherIsLookedAtAgain) {
  const auto record = MakeRecord();
  TestEvaluator evaluator;
  WString both = "  10.20.30.40 of a longer kind  "_w;
  WString reason;
  EXPECT_TRUE(evaluator.EvaluateApplicability(
      record, both,
      MakeList({{{Field::version, ","_w}},
                {{Field::target_version, ">=99.0"_w}},
                {{Field::version, "10.20.30.40 of a longer kind"_w}}}),
      nullptr, &both, {}, reason));
  EXPECT_EQ(
      reason,
      "Filter [0]: version = false; Filter [1]: target_version = false; Filter [2]: true; "_w);
}

TEST(DecisionWalkTest, ARequirementOfBlanksAloneTrimsNothing) {
  const auto record = MakeRecord();
  TestEvaluator evaluator;
  WString client = " 4.2 "_w;
  WString reason;
  const CapturedLog log;
  EXPECT_FALSE(evaluator.EvaluateApplicability(
      record, client, MakeList({{{Field::version, ", ,"_w}}}), nullptr, nullptr, {}, reason));
  EXPECT_EQ(client, " 4.2 "_w);
  EXPECT_NE(log.Text().find("Required: , ,, Actual:  4.2 \n"), std::string::npos) << log.Text();
}

// A host's own registry, which does something in the middle of a decision.
class InterruptedEvaluator : public TestEvaluator {
 public:
  std::function<void()> interrupt;

 protected:
  bool DoesRequirementPathandValueExistInRegistry(WString& /*path*/,
                                                  const std::vector<WString>&) override {
    interrupt();
    return false;
  }
};

TEST(DecisionWalkTest, FiltersMaySetDuringADecisionOnThem) {
  const auto record = MakeRecord();
  record->set_os_region("US"_w);
  InterruptedEvaluator evaluator;
  ApplicabilityFilter list =
      MakeList({{{Field::registry, "HKLM\\A:b|"_w}}, {{Field::country, "US"_w}}});
  evaluator.interrupt = [&] { list.set_filters({}); };
  WString reason;
  EXPECT_TRUE(evaluator.EvaluateApplicability(record, ""_w, list, nullptr, nullptr, {}, reason));
  EXPECT_EQ(reason, "Filter [0]: registry = false; Filter [1]: true; "_w);
  EXPECT_EQ(list.filters().size(), 0U);
}

TEST(DecisionWalkTest, WhatTheHostsRegistryChangesIsSeenByLaterCriteria) {
  const auto record = MakeRecord();
  record->set_os_version("1.0"_w);
  record->set_device_family("a family with a name that is longer than a short text"_w);
  InterruptedEvaluator evaluator;
  WString client = "1.0"_w;
  const ApplicabilityFilter list = MakeList({{{Field::family, "a family*"_w},
                                              {Field::os_version, "1.0"_w},
                                              {Field::registry, "HKLM\\A:b|"_w}},
                                             {{Field::version, "1.0"_w}},
                                             {{Field::os_version, "1.0"_w}},
                                             {{Field::family, "a family*"_w}},
                                             {{Field::family, "another*"_w},
                                              {Field::os_version, ">1.0"_w},
                                              {Field::version, "2.0.0"_w}}});
  evaluator.interrupt = [&] {
    record->set_os_version("2.0, a version with a name that is longer than a short text"_w);
    record->set_device_family("another family with a name that is longer than the one before"_w);
    client = "2.0.0"_w;
  };
  WString reason;
  EXPECT_TRUE(evaluator.EvaluateApplicability(record, client, list, nullptr, nullptr, {}, reason));
  EXPECT_EQ(reason,
            "Filter [0]: registry = false; Filter [1]: version = false; Filter [2]: os_version = "
            "false; Filter [3]: family = false; Filter [4]: true; "_w);
}

// The lines show texts that were fetched for lines before the change.
TEST(DecisionWalkTest, WhatTheHostsRegistryChangesIsLoggedByLaterCriteria) {
  const auto record = MakeRecord();
  record->set_device_family("family, one with a long name"_w);
  InterruptedEvaluator evaluator;
  evaluator.interrupt = [&] { record->set_device_family("family, another with a longer name"_w); };
  const ApplicabilityFilter list = MakeList(
      {{{Field::family, "A"_w}}, {{Field::registry, "HKLM\\A:b|"_w}}, {{Field::family, "B"_w}}});
  const CapturedLog log;
  WString reason;
  evaluator.EvaluateApplicability(record, {}, list, nullptr, nullptr, {}, reason);
  const std::string text = log.Text();
  for (const char* const line : {"Required: A, Actual: family, one with a long name\n",
                                 "Required: B, Actual: family, another with a longer name\n"}) {
    EXPECT_NE(text.find(line), std::string::npos) << text;
  }
}

TEST(DecisionWalkTest, ASerialNumberThatTheHostsRegistryChangesIsHashedAgain) {
  const auto record = MakeRecord();
  record->set_serial_number("one"_w);
  InterruptedEvaluator evaluator;
  evaluator.interrupt = [&] { record->set_serial_number("another"_w); };
  const auto hash_of = [&](const WString& serial) {
    return evaluator.GetHashedSaltedString(serial);
  };
  const ApplicabilityFilter list =
      MakeList({{{Field::sn_hash, hash_of("one"_w)}, {Field::registry, "HKLM\\A:b|"_w}},
                {{Field::sn_hash, hash_of("one"_w)}},
                {{Field::sn_hash, hash_of("another"_w)}}});
  WString reason;
  EXPECT_TRUE(evaluator.EvaluateApplicability(record, {}, list, nullptr, nullptr, {}, reason));
  EXPECT_EQ(reason,
            "Filter [0]: registry = false; Filter [1]: sn_hash = false; Filter [2]: true; "_w);
}

TEST(DecisionWalkTest, EachCriterionIsComparedWithItsOwnTextOfTheRecord) {
  const auto record = MakeRecord();
  record->set_device_name("name"_w);
  record->set_os_region("region"_w);
  record->set_os_language("language"_w);
  record->set_device_enclosuretype("enclosure"_w);
  record->set_device_family("family"_w);
  record->set_device_manufacturer("manufacturer"_w);
  record->set_device_model("model"_w);
  record->set_os_description("description"_w);
  const Settings rows = {{Field::country, "Region"_w},
                         {Field::language, "Language"_w},
                         {Field::enclosure, "En*"_w},
                         {Field::family, "*ily"_w},
                         {Field::mfr, "Manufacturer"_w},
                         {Field::model, "*ODE*"_w},
                         {Field::os_description, "x,description"_w}};
  TestEvaluator evaluator;
  WString reason;
  for (const auto& [field, own] : rows) {
    for (const auto& [other, text] : rows) {
      EXPECT_EQ(evaluator.EvaluateApplicability(record, {}, MakeList({{{field, text}}}), nullptr,
                                                nullptr, {}, reason),
                field == other)
          << String::UTF16ToUTF8(text) << ": " << String::UTF16ToUTF8(reason);
    }
  }
}

TEST(DecisionWalkTest, AVersionThatHasChangedIsParsedAgain) {
  const auto record = MakeRecord();
  const ApplicabilityFilter list = MakeList({{{Field::os_version, ">=2.0"_w}},
                                             {{Field::version, ">=2.0"_w}},
                                             {{Field::target_version, ">=2.0"_w}}});
  TestEvaluator evaluator;
  const WString old_version = "1.0"_w;
  const WString new_version = "2.0"_w;
  const WString long_version = "00000000000000000000000000000000000002.0"_w;
  for (const WString& system : {old_version, new_version, old_version}) {
    record->set_os_version(system);
    for (const WString& client : {old_version, new_version, long_version, "no version"_w}) {
      for (WString target : {old_version, long_version, new_version, old_version}) {
        WString reason;
        evaluator.EvaluateApplicability(record, client, list, nullptr, &target, {}, reason);
        const bool is_client = client == new_version || client == long_version;
        EXPECT_EQ(reason.find("true"_w) != WString::npos,
                  system == new_version || is_client || target != old_version)
            << String::UTF16ToUTF8(reason);
      }
    }
  }
}

// More than are remembered, and fewer.
TEST(DecisionWalkTest, AVersionOfAnyLengthIsRead) {
  const auto record = MakeRecord();
  TestEvaluator evaluator;
  const ApplicabilityFilter list = MakeList({{{Field::version, ">=2.0"_w}}});
  for (std::size_t zeros = 0; zeros < 80; ++zeros) {
    for (const WString& version : {"1.0"_w, "2.0"_w, "1.9"_w}) {
      WString reason;
      EXPECT_EQ(evaluator.EvaluateApplicability(record, WString(zeros, u'0') + version, list,
                                                nullptr, nullptr, {}, reason),
                version == "2.0"_w)
          << zeros << " " << String::UTF16ToUTF8(version);
    }
  }
}

// The thread remembers the last versions by their texts, and not where these were.
TEST(DecisionWalkTest, AVersionIsReadFromTheTextOfThisDecision) {
  const auto record = MakeRecord();
  TestEvaluator evaluator;
  const auto decide = [&](const WString& client, const WString& required) {
    WString reason;
    return evaluator.EvaluateApplicability(record, client, MakeList({{{Field::version, required}}}),
                                           nullptr, nullptr, {}, reason);
  };
  WString first = "1.0"_w;
  EXPECT_TRUE(decide(first, "1.0"_w));
  first = "2.0"_w;
  EXPECT_TRUE(decide("1.0"_w, "1.0"_w));
  EXPECT_TRUE(decide("3.0"_w, ">2.0"_w));
  EXPECT_FALSE(decide({}, ">2.0"_w));
  EXPECT_FALSE(decide({}, "!2.0"_w));
}

TEST(DecisionWalkTest, WithoutFirmwareAMakerOfTheHostsRecordIsKnown) {
  class Renamed : public yox_test::TestRecord {
   public:
    WString device_manufacturer() const override { return {}; }
  };
  TestEvaluator evaluator;
  WString reason;
  EXPECT_TRUE(evaluator.EvaluateApplicability(std::make_shared<Renamed>(), {},
                                              MakeList({{{Field::mfr, "!Contoso"_w}}}), nullptr,
                                              nullptr, {}, reason));
}

TEST(DecisionWalkTest, TheRecordIsNeverTrimmed) {
  const auto record = MakeRecord();
  record->set_os_version(" 10.0.1 "_w);
  TestEvaluator evaluator;
  WString reason;
  EXPECT_TRUE(evaluator.EvaluateApplicability(
      record, ""_w, MakeList({{{Field::os_version, ">=10.0"_w}}}), nullptr, nullptr, {}, reason));
  EXPECT_EQ(record->os_version(), " 10.0.1 "_w);
}

TEST(DecisionWalkTest, DoesFilterMatchAppendsItsWords) {
  const auto record = MakeRecord();
  record->set_os_region("US"_w);
  TestEvaluator evaluator;
  WString reason = "before; "_w;
  Filter filter = MakeFilter({{Field::country, "US"_w}});
  EXPECT_TRUE(evaluator.DoesFilterMatch(&filter, record, ""_w, nullptr, nullptr, {}, reason));
  EXPECT_EQ(reason, "before; "_w);
  filter = MakeFilter({{Field::country, "DE"_w}});
  EXPECT_FALSE(evaluator.DoesFilterMatch(&filter, record, ""_w, nullptr, nullptr, {}, reason));
  EXPECT_EQ(reason, "before; country = false; "_w);
}

// A target version that is not passed has a line of its own, and no word in the reason.
TEST(DecisionWalkTest, DoesFilterMatchNamesNoCriterionForAMissingTargetVersion) {
  TestEvaluator evaluator;
  Filter filter = MakeFilter({{Field::target_version, "1.0"_w}});
  WString reason = "before; "_w;
  const auto record = MakeRecord();
  const CapturedLog log;
  EXPECT_FALSE(evaluator.DoesFilterMatch(&filter, record, {}, nullptr, nullptr, {}, reason));
  EXPECT_EQ(reason, "before; "_w);
  EXPECT_EQ(
      log.Text(),
      "ApplicabilityEvaluator D ApplicabilityEvaluator::DoesFilterMatch Target version filter "
      "is false. Target version pointer is null\n");
  WString target = "2.0"_w;
  EXPECT_FALSE(evaluator.DoesFilterMatch(&filter, record, {}, nullptr, &target, {}, reason));
  EXPECT_EQ(reason, "before; target_version = false; "_w);
}

TEST(DecisionWalkTest, DecisionsRunOnManyThreads) {
  const auto record = MakeRecord();
  record->set_os_region("US"_w);
  TestEvaluator evaluator;
  const ApplicabilityFilter list =
      MakeList({{{Field::country, "DE"_w}}, {{Field::country, "US"_w}}});
  const CapturedLog log;
  const WString client = "4.2.10.0"_w;
  const auto decide = [&] {
    for (int i = 0; i < 300; ++i) {
      WString reason;
      EXPECT_TRUE(
          evaluator.EvaluateApplicability(record, client, list, nullptr, nullptr, {}, reason));
      EXPECT_EQ(reason, "Filter [0]: country = false; Filter [1]: true; "_w);
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) threads.emplace_back(decide);
  decide();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(log.Lines().size(), 1U) << log.Text();
}

TEST(ApplicabilityFilterTest, ACopySharesTheListUntilOneOfThemIsSet) {
  ApplicabilityFilter first = MakeList({{{Field::country, "US"_w}}});
  ApplicabilityFilter second = first;
  EXPECT_EQ(first.snapshot(), second.snapshot());
  second.set_filters({MakeFilter({{Field::country, "DE"_w}}), Filter()});
  EXPECT_EQ(first.filters().size(), 1U);
  EXPECT_EQ(first.filters()[0].country(), "US"_w);
  EXPECT_EQ(second.filters().size(), 2U);
  EXPECT_EQ(ApplicabilityFilter().filters().size(), 0U);
}

TEST(FilterTest, AccessorsReadAndWriteTheirOwnField) {
  Filter filter;
  filter.set_default("d"_w);
#define YOX_SET(name) filter.set_##name(#name##_w);
  YOX_FILTER_FIELDS(YOX_SET)
#undef YOX_SET
  EXPECT_EQ(filter.default_(), "d"_w);
#define YOX_GET(name) EXPECT_EQ(filter.name(), #name##_w);
  YOX_FILTER_FIELDS(YOX_GET)
#undef YOX_GET
}

TEST(FilterTest, ABlankFieldIsNotSet) {
  Filter filter;
  EXPECT_EQ(filter.criteria(), 0U);
  filter.set_country("US"_w);
  EXPECT_TRUE(filter.IsSet(Field::country));
  EXPECT_NE(filter.criteria(), 0U);
  filter.set_country(" \t"_w);
  EXPECT_FALSE(filter.IsSet(Field::country));
  EXPECT_EQ(filter.criteria(), 0U);
  EXPECT_EQ(filter.country(), " \t"_w);
  filter.set_value("x"_w);
  EXPECT_TRUE(filter.IsSet(Field::value));
  EXPECT_EQ(filter.criteria(), 0U);
}

TEST(FilterTest, GettersReturnCopies) {
  Filter filter;
  filter.set_mfr("Contoso"_w);
  WString copy = filter.mfr();
  copy.clear();
  EXPECT_EQ(filter.mfr(), "Contoso"_w);
}

// Each criterion has an entry of its own in the throttle, whatever it requires.
TEST(DecisionLogTest, CriteriaThatFailTogetherAreEachLoggedOnce) {
  TestEvaluator evaluator;
  const auto record = MakeRecord();
  record->set_os_region("DE"_w);
  record->set_os_language("de-DE"_w);
  record->set_device_enclosuretype("Tablet"_w);
  record->set_device_family("Falcon"_w);
  record->set_device_manufacturer("Contoso"_w);
  record->set_device_model("FA14"_w);
  record->set_os_description("Pro"_w);
  record->set_os_version("1.0"_w);
  std::vector<Settings> filters;
  for (const Field field :
       {Field::country, Field::language, Field::enclosure, Field::family, Field::mfr, Field::model,
        Field::os_description, Field::os, Field::os_bitness, Field::os_version, Field::version,
        Field::tag, Field::registry, Field::sn_hash, Field::org_hash, Field::date_range}) {
    filters.push_back({{field, "9.9"_w}});
  }
  const ApplicabilityFilter list = MakeList(filters);
  const CapturedLog log;
  const auto lines = [&] {
    std::size_t count = 0;
    for (const auto& line : log.Lines()) {
      count += line.text.starts_with("ApplicabilityEvaluator::DoesFilterMatch ") ? 1 : 0;
    }
    return count;
  };
  for (int i = 0; i < 3; ++i) {
    evaluator.EvaluateApplicability(record, "1.0"_w, list, nullptr, nullptr, {},
                                    ApplicabilityEvaluator::discard_reason_);
    EXPECT_EQ(lines(), filters.size()) << i;
  }
}

// The same list over and over, whose dropped lines are remembered by the thread.
TEST(DecisionLogTest, ADroppedLineIsWrittenAgainAfterAnyChange) {
  TestEvaluator evaluator;
  TestEvaluator other_evaluator;
  const auto record = MakeRecord();
  const auto list_of = [](const WString& enclosure) {
    Filter filter;
    filter.set_enclosure(enclosure);
    return ApplicabilityFilter({filter});
  };
  const ApplicabilityFilter list = list_of("Notebook"_w);
  const ApplicabilityFilter other_list = list_of("Tower"_w);
  const CapturedLog log;
  const auto lines = [&](TestEvaluator& asked, const ApplicabilityFilter& decided) {
    const std::size_t before = log.Lines().size();
    for (int i = 0; i < 3; ++i) {
      asked.EvaluateApplicability(record, {}, decided, nullptr, nullptr, {},
                                  ApplicabilityEvaluator::discard_reason_);
    }
    return log.Lines().size() - before;
  };
  EXPECT_EQ(lines(evaluator, list), 1U);
  EXPECT_EQ(lines(evaluator, list), 0U);
  record->set_device_enclosuretype("Tablet"_w);
  EXPECT_EQ(lines(evaluator, list), 1U);
  record->set_device_enclosuretype("tablet"_w);
  EXPECT_EQ(lines(evaluator, list), 1U) << "letter case counts";
  EXPECT_EQ(lines(evaluator, other_list), 1U);
  EXPECT_EQ(lines(evaluator, list), 1U) << "the key's last line is another";
  EXPECT_EQ(lines(other_evaluator, list), 1U) << "each evaluator has its own throttle";
  EXPECT_EQ(lines(evaluator, list), 0U);
}

}  // namespace
