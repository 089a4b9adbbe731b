#include <gtest/gtest.h>
#include <json/value.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "yox/applicability/TestEvaluator.h"
#include "yox/base/String.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/FilterDocument.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Rows.h"
#include "tests/support/TestRecord.h"

using yox::decision::Criterion;
using yox::decision::CriterionResult;
using yox::decision::DecisionTrace;
using yox::decision::ExplainedCriterion;
using yox::decision::ExplainedFact;
using yox::decision::ExplainedFilter;
using yox::decision::Explanation;
using yox::decision::FilterField;
using yox::decision::FlippedBy;
using yox::decision::kCriteria;
using yox::decision::kFilterFieldNames;
using yox::decision::ReadFilterDocument;

namespace {

using namespace yox::literals;
using YOX::String;
using yox::WString;
using yox::platform::ReadDeviceProfile;
using yox::platform::ScopedPlatform;
using yox::platform::SimulatedDevice;
using yox_test::AnyEvaluator;
using yox_test::CapturedLog;
using yox_test::MakeRecord;
using yox_test::TestEvaluator;
using Outcome = ExplainedFilter::Outcome;
using Pairs = ApplicabilityEvaluator::Pairs;
using Result = CriterionResult;

// A device that has one fact of each kind.
constexpr const char* kWhole = R"({
  "clock": {"now": "2026-03-14T12:00:00"},
  "firmware": {"sku": "FALCON14-16-512"},
  "os": {"architecture": 9},
  "organisation": {"realm": "contoso", "subscriptions": ["first", "second"]},
  "registry": {"HKLM\\SOFTWARE\\Contoso\\App": {
    "Channel": {"type": "REG_SZ", "data": "beta"},
    "Blank": {"type": "REG_SZ", "data": ""},
    "Level": {"type": "REG_DWORD", "data": 10}}},
  "devices": [{"instance_id": "PCI\\A\\1", "hardware_ids": ["PCI\\VEN_8086", "PCI\\CC_03"]}],
  "installed_apps": [{"key": "{1234}", "name": "Contoso Editor", "version": "7.1.0"}]
})";
// One that has none.
constexpr const char* kBare = R"({"clock": {"now": "2026-03-14T12:00:00"}})";

class ExplainingDevice {
 public:
  explicit ExplainingDevice(const char* profile)
      : device_(ReadDeviceProfile(profile)), installed_(device_), record(MakeRecord()) {
    if (profile != kWhole) return;
    record->set_os_region("DE"_w);
    record->set_os_version("10.0.22631.4460"_w);
    record->set_device_manufacturer("Contoso"_w);
    record->set_serial_number("C0FFEE12"_w);
    client_version = "4.2.10.0"_w;
  }

  Explanation Explain(const std::string& document) {
    return evaluator.Explain(record, client_version, ReadFilterDocument(document), nullptr, target,
                             tags);
  }
  DecisionTrace Trace(const std::string& document) {
    return evaluator.Trace(record, client_version, ReadFilterDocument(document), nullptr, target,
                           tags);
  }

 private:
  SimulatedDevice device_;
  ScopedPlatform installed_;

 public:
  TestEvaluator evaluator;
  std::shared_ptr<yox_test::TestRecord> record;
  WString client_version;
  Pairs tags = {{"Ring"_w, "beta"_w}, {"Build"_w, "12"_w}, {"Bare"_w, ""_w}};
  const WString* target = nullptr;
};

std::string Words(const ExplainedFact& fact) {
  std::string words = String::UTF16ToUTF8(fact.required) + " / " +
                      String::UTF16ToUTF8(fact.actual) + " / " + fact.source;
  if (!fact.note.empty()) words += " / " + fact.note;
  constexpr const char* kResults[] = {"held", "differs", "missing"};
  return words + " / " + kResults[static_cast<int>(fact.result)];
}

struct FactRow {
  const char* name;
  const char* field;
  std::string required;
  Result whole;             // on the device that has facts
  std::string whole_facts;  // a line each
  Result bare;
  std::string bare_facts;
};

class ExplainedFacts : public testing::TestWithParam<FactRow> {
 protected:
  static std::string Document() {
    Json::Value filter;
    filter[0][GetParam().field] = GetParam().required;
    return filter.toStyledString();
  }
  static void Expect(const char* profile, Result result, const std::string& facts) {
    const Explanation explanation = ExplainingDevice(profile).Explain(Document());
    ASSERT_EQ(explanation.filters.size(), 1U);
    ASSERT_EQ(explanation.filters[0].criteria.size(), 1U);
    const ExplainedCriterion& criterion = explanation.filters[0].criteria[0];
    std::string lines;
    for (const ExplainedFact& fact : criterion.facts) lines += Words(fact) + "\n";
    EXPECT_EQ(lines, facts);
    EXPECT_EQ(criterion.result, result);
    EXPECT_EQ(kFilterFieldNames[static_cast<std::size_t>(criterion.field)],
              std::string_view(GetParam().field));
    EXPECT_EQ(String::UTF16ToUTF8(criterion.required), GetParam().required);
    EXPECT_EQ(explanation.applies, result == Result::kHeld);
  }
};

TEST_P(ExplainedFacts, OfADeviceThatHasThem) {
  Expect(kWhole, GetParam().whole, GetParam().whole_facts);
}

TEST_P(ExplainedFacts, OfADeviceThatHasNone) {
  Expect(kBare, GetParam().bare, GetParam().bare_facts);
}

INSTANTIATE_TEST_SUITE_P(
    , ExplainedFacts,
    testing::Values(
        FactRow{"Country", "country", "US,CA",  //
                Result::kDiffers, "US,CA / DE / region / differs\n", Result::kMissing,
                "US,CA /  / region / no text / missing\n"},
        FactRow{"Negated", "country", "!US",  //
                Result::kHeld, "!US / DE / region / held\n", Result::kHeld,
                "!US /  / region / no text / held\n"},
        FactRow{"Manufacturer", "mfr", "Fabrikam",  //
                Result::kDiffers, "Fabrikam / Contoso / firmware / differs\n", Result::kMissing,
                "Fabrikam /  / firmware / no firmware tables / missing\n"},
        FactRow{"Sku", "sku", "HERON*",  //
                Result::kDiffers, "HERON* / FALCON14-16-512 / firmware / differs\n", Result::kHeld,
                "HERON* /  / firmware / no firmware tables: holds unasked / held\n"},
        FactRow{"OsVersion", "os_version", ">=99.0",  //
                Result::kDiffers, ">=99.0 / 10.0.22631.4460 / operating system / differs\n",
                Result::kMissing, ">=99.0 /  / operating system / no text / missing\n"},
        FactRow{"ClientVersion", "version", ">=99.0",  //
                Result::kDiffers, ">=99.0 / 4.2.10.0 / client / differs\n", Result::kMissing,
                ">=99.0 /  / client / no client version / missing\n"},
        FactRow{"TargetVersion", "target_version", "1.0",  //
                Result::kMissing, "1.0 /  / caller / none given / missing\n", Result::kMissing,
                "1.0 /  / caller / none given / missing\n"},
        FactRow{"DateRange", "date_range", "*|2026-03-13",  //
                Result::kDiffers, "*|2026-03-13 / 2026-03-14 / clock / differs\n", Result::kDiffers,
                "*|2026-03-13 / 2026-03-14 / clock / differs\n"},
        FactRow{"RolloutOfADevice", "date_function", "2026-03-11|400|linear",  //
                Result::kDiffers,
                "2026-03-11|400|linear / 2026-03-14 / clock, serial number / day 4 of 400, bucket "
                "2777 of 4095 is in from day 272 on / differs\n",
                Result::kMissing,
                "2026-03-11|400|linear / 2026-03-14 / clock, serial number / day 4 of 400, bucket "
                "3963 of 4095 is in from day 388 on, no serial number / missing\n"},
        FactRow{"RolloutNotBegun", "date_function", "2026-04-01|28|linear",  //
                Result::kDiffers,
                "2026-04-01|28|linear / 2026-03-14 / clock / has not begun / differs\n",
                Result::kDiffers,
                "2026-04-01|28|linear / 2026-03-14 / clock / has not begun / differs\n"},
        FactRow{"RolloutOver", "date_function", "2026-01-01|28|x",  //
                Result::kHeld, "2026-01-01|28|x / 2026-03-14 / clock / day 73 of 28 / held\n",
                Result::kHeld, "2026-01-01|28|x / 2026-03-14 / clock / day 73 of 28 / held\n"},
        FactRow{"RolloutUnknown", "date_function", "2026-03-01|28|x",  //
                Result::kDiffers,
                "2026-03-01|28|x / 2026-03-14 / clock / day 14 of 28, unknown growth / differs\n",
                Result::kDiffers,
                "2026-03-01|28|x / 2026-03-14 / clock / day 14 of 28, unknown growth / differs\n"},
        FactRow{"RolloutMalformed", "date_function", "2026-03|28|linear",  //
                Result::kDiffers,
                "2026-03|28|linear / 2026-03-14 / clock / not of the form START|DAYS|GROWTH / "
                "differs\n",
                Result::kDiffers,
                "2026-03|28|linear / 2026-03-14 / clock / not of the form START|DAYS|GROWTH / "
                "differs\n"},
        FactRow{"Subscriptions", "device_subscription", "second",  //
                Result::kHeld,
                "second / first / organisation / differs\nsecond / second / organisation / held\n",
                Result::kMissing, "second /  / organisation / no organisation / missing\n"},
        FactRow{"Tags", "tag", "Ring|stable,Build|>5,Bare,!Gone,Other",  //
                Result::kDiffers,
                "Ring|stable / beta / caller's tag Ring / differs\n"
                "Build|>5 / 12 / caller's tag Build / held\n"
                "Bare /  / caller's tag Bare / no text / held\n"
                "!Gone /  / tags / no such tag / held\n"
                "Other /  / tags / no such tag / missing\n",
                Result::kDiffers,
                "Ring|stable / beta / caller's tag Ring / differs\n"
                "Build|>5 / 12 / caller's tag Build / held\n"
                "Bare /  / caller's tag Bare / no text / held\n"
                "!Gone /  / tags / no such tag / held\n"
                "Other /  / tags / no such tag / missing\n"},
        FactRow{"InstalledItems", "installed_items", "Contoso Editor|>=8.0,Contoso Mail",  //
                Result::kDiffers,
                "Contoso Editor|>=8.0 / 7.1.0 / application Contoso Editor / differs\n"
                "Contoso Mail /  / applications / no such application / missing\n",
                Result::kMissing,
                "Contoso Editor|>=8.0 /  / applications / no such application / missing\n"
                "Contoso Mail /  / applications / no such application / missing\n"},
        FactRow{"Registry", "registry",
                "HKLM\\SOFTWARE\\Contoso\\App:Level|10,HKLM/SOFTWARE/Contoso/App:Channel|stable,"
                "HKLM\\SOFTWARE\\Contoso\\App:Blank|x,HKLM\\SOFTWARE\\Contoso\\App:None|",
                Result::kDiffers,
                "HKLM\\SOFTWARE\\Contoso\\App:Level|10 / 10 / registry / held\n"
                "HKLM/SOFTWARE/Contoso/App:Channel|stable / beta / registry / differs\n"
                "HKLM\\SOFTWARE\\Contoso\\App:Blank|x /  / registry / no text / differs\n"
                "HKLM\\SOFTWARE\\Contoso\\App:None| /  / registry / no such value / missing\n",
                Result::kMissing,
                "HKLM\\SOFTWARE\\Contoso\\App:Level|10 /  / registry / no such key / missing\n"
                "HKLM/SOFTWARE/Contoso/App:Channel|stable /  / registry / no such key / missing\n"
                "HKLM\\SOFTWARE\\Contoso\\App:Blank|x /  / registry / no such key / missing\n"
                "HKLM\\SOFTWARE\\Contoso\\App:None| /  / registry / no such key / missing\n"},
        FactRow{"RegistryMalformed", "registry",
                "HKLM\\A,HKLM\\A:b,hklm\\A:b|c,HKLM\\A\\\\B:c|d",  //
                Result::kDiffers,
                "HKLM\\A /  / registry / not of the form PATH:NAME|DATA / differs\n"
                "HKLM\\A:b /  / registry / not of the form PATH:NAME|DATA / differs\n"
                "hklm\\A:b|c /  / registry / not of the form HKLM\\KEY or HKCU\\KEY / differs\n"
                "HKLM\\A\\\\B:c|d /  / registry / doubled separators / differs\n",
                Result::kDiffers,
                "HKLM\\A /  / registry / not of the form PATH:NAME|DATA / differs\n"
                "HKLM\\A:b /  / registry / not of the form PATH:NAME|DATA / differs\n"
                "hklm\\A:b|c /  / registry / not of the form HKLM\\KEY or HKCU\\KEY / differs\n"
                "HKLM\\A\\\\B:c|d /  / registry / doubled separators / differs\n"},
        FactRow{"HardwareIdOfAPattern", "hardware_id", "usb*,pci/cc*",  //
                Result::kHeld, "usb*,pci/cc* / PCI\\CC_03 / present devices / held\n",
                Result::kMissing,
                "usb*,pci/cc* /  / present devices / no device has a hardware ID / missing\n"},
        FactRow{"HardwareId", "hardware_id", "usb/x",  //
                Result::kMissing, "usb/x /  / present devices / none of 2 hardware IDs / missing\n",
                Result::kMissing,
                "usb/x /  / present devices / no device has a hardware ID / missing\n"}),
    yox_test::RowName());

TEST(ExplanationTest, HashesAreToldAndMissingWithoutWhatIsHashed) {
  for (const char* field : {"org_hash", "sn_hash"}) {
    const std::string document = "[{\"" + std::string(field) + "\": \"none\"}]";
    const auto fact_of = [&](const char* profile) {
      return ExplainingDevice(profile).Explain(document).filters[0].criteria[0].facts[0];
    };
    const ExplainedFact whole = fact_of(kWhole);
    EXPECT_EQ(whole.result, Result::kDiffers);
    EXPECT_EQ(whole.actual, AnyEvaluator().GetHashedSaltedString(
                                field == std::string("org_hash") ? "contoso"_w : "C0FFEE12"_w));
    const ExplainedFact bare = fact_of(kBare);
    EXPECT_EQ(bare.result, Result::kMissing);
    EXPECT_EQ(bare.actual, AnyEvaluator().GetHashedSaltedString(""_w));
  }
}

TEST(ExplanationTest, OfManyTermsTheFirstAreKeptAndTheOthersCounted) {
  ExplainingDevice bench(kWhole);
  std::string terms;
  for (int i = 0; i < 299; ++i) terms += "none,";
  const auto explained = [&](const std::string& field, const std::string& last) {
    return bench.Explain(R"([{")" + field + R"(": ")" + terms + last + R"("}])")
        .filters.front()
        .criteria.front();
  };
  const ExplainedCriterion missing = explained("tag", "none");
  EXPECT_EQ(missing.facts.size(), 256U);
  EXPECT_EQ(missing.facts_left_out, 44U);
  EXPECT_EQ(missing.result, Result::kMissing);
  // The last term, which is left out, counts all the same.
  EXPECT_EQ(explained("tag", "Ring|stable").result, Result::kDiffers);
  EXPECT_EQ(explained("installed_items", "Contoso Editor|<7").result, Result::kDiffers);
  EXPECT_EQ(explained("registry", R"(HKLM\\SOFTWARE\\Contoso\\App:Level|9)").facts_left_out, 44U);
}

TEST(ExplanationTest, ARegistryValueThatIsTooLongDiffers) {
  const std::string profile = R"({"registry": {"HKLM\\A": {"b": {"type": "REG_BINARY", "data": ")" +
                              std::string(2 * 4097, '0') + R"("}}}})";
  const Explanation explanation =
      ExplainingDevice(profile.c_str()).Explain(R"([{"registry": "HKLM\\A:b|"}])");
  EXPECT_EQ(Words(explanation.filters[0].criteria[0].facts[0]),
            "HKLM\\A:b| /  / registry / longer than 4096 bytes / differs");
}

// Every criterion has a source, and none needs more than its row says.
TEST(ExplanationTest, EveryCriterionTellsWhereItsValueComesFrom) {
  for (const Criterion& criterion : kCriteria) {
    EXPECT_FALSE(criterion.source.empty()) << criterion.name();
    const std::string document = "[{\"" + std::string(criterion.name()) + "\": \"x\"}]";
    for (const char* profile : {kWhole, kBare}) {
      const Explanation explanation = ExplainingDevice(profile).Explain(document);
      ASSERT_EQ(explanation.filters[0].criteria.size(), 1U) << criterion.name();
      for (const ExplainedFact& fact : explanation.filters[0].criteria[0].facts) {
        EXPECT_FALSE(fact.source.empty()) << criterion.name();
      }
    }
  }
}

constexpr const char* kFiveFilters = R"([
  {"country": "US"},
  {"country": "DE", "mfr": "Fabrikam", "tag": "Ring"},
  {"country": "DE", "os_version": ">=10.0", "value": "false"},
  {"os": "BeOS"},
  {"default": "true"}])";

TEST(ExplanationTest, FiltersBehindTheDecidingOneAreNotReachedAndToldAllTheSame) {
  const Explanation explanation = ExplainingDevice(kWhole).Explain(kFiveFilters);
  EXPECT_FALSE(explanation.applies);
  EXPECT_EQ(explanation.decided_by, 2U);
  EXPECT_EQ(explanation.reason,
            "Filter [0]: country = false; Filter [1]: mfr = false; Filter [2]: value = false; "_w);
  const Outcome outcomes[] = {Outcome::kNotMatched, Outcome::kNotMatched, Outcome::kMatched,
                              Outcome::kNotReached, Outcome::kNotReached};
  const std::size_t criteria[] = {1, 3, 2, 1, 0};
  const bool answers[] = {true, true, false, true, true};
  ASSERT_EQ(explanation.filters.size(), 5U);
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(explanation.filters[i].outcome, outcomes[i]) << i;
    EXPECT_EQ(explanation.filters[i].criteria.size(), criteria[i]) << i;
    EXPECT_EQ(explanation.filters[i].answer, answers[i]) << i;
  }
  EXPECT_EQ(explanation.filters[1].criteria[2].result, Result::kHeld);  // after the failing one
  EXPECT_EQ(explanation.filters[3].criteria[0].result, Result::kDiffers);
}

TEST(ExplanationTest, ADefaultDecidesUnseen) {
  const Explanation explanation = ExplainingDevice(kWhole).Explain(
      R"([{"country": "US"}, {"default": "yes", "country": "US"}, {}])");
  EXPECT_FALSE(explanation.applies);
  EXPECT_EQ(explanation.decided_by, 1U);
  EXPECT_EQ(explanation.filters[1].outcome, Outcome::kDefault);
  EXPECT_FALSE(explanation.filters[1].answer);
  EXPECT_EQ(explanation.filters[1].criteria[0].result, Result::kDiffers);
}

TEST(ExplanationTest, WithoutADecisiveFilterNoneDecided) {
  EXPECT_EQ(ExplainingDevice(kWhole).Explain(R"([{"country": "US"}])").decided_by, std::nullopt);
  const Explanation empty = ExplainingDevice(kWhole).Explain("[]");
  EXPECT_TRUE(empty.applies);
  EXPECT_EQ(empty.decided_by, std::nullopt);
  EXPECT_EQ(empty.nearest_miss, std::nullopt);
}

TEST(ExplanationTest, TheNearestMissIsTheFilterThatWouldHaveTurnedTheAnswerWithTheFewestFailures) {
  const auto nearest = [](const char* document) {
    return ExplainingDevice(kWhole).Explain(document).nearest_miss;
  };
  EXPECT_EQ(nearest(R"([{"country": "US", "mfr": "X"}, {"country": "US"}, {"mfr": "X"}])"), 1U);
  EXPECT_EQ(nearest(R"([{"country": "US", "value": "false"}, {"country": "US", "mfr": "X"}])"), 1U);
  EXPECT_EQ(nearest(R"([{"country": "US", "value": "false"}])"), std::nullopt);
  EXPECT_EQ(nearest(R"([{"country": "US", "value": "false"}, {"default": "true"}])"), 0U);
  EXPECT_EQ(nearest(R"([{"default": "false"}, {"country": "US"}])"), std::nullopt);
  EXPECT_EQ(nearest(R"([{"country": "DE"}, {"country": "US", "value": "false"}])"), std::nullopt);
}

TEST(ExplanationTest, ExplainingLeavesLogThrottleAndTextsAlone) {
  const std::string document = R"([
      {"country": "US", "tag": "Build|>x", "registry": "HKLM\\A:b|c", "hardware_id": "USB\\X"},
      {"date_function": "2026|1|x"}, {"target_version": "2.0"}, {"version": "4.3"}, {"os": "X"}])";
  const ApplicabilityFilter list = ReadFilterDocument(document);
  const auto decide = [&](bool explain_before) {
    ExplainingDevice bench(kWhole);
    bench.client_version = " 4.2 "_w;
    WString target = " 1.0 "_w;
    bench.target = &target;
    // Starts what is started once, and says so.
    WString reason;
    bench.evaluator.EvaluateHardwareIdFilter("X"_w);
    const CapturedLog log;
    if (explain_before) {
      bench.Explain(document);
      bench.Trace(document);
      EXPECT_EQ(log.Text(), "");
      EXPECT_EQ(bench.client_version, " 4.2 "_w);
      EXPECT_EQ(target, " 1.0 "_w);
    }
    bench.evaluator.EvaluateApplicability(bench.record, bench.client_version, list, nullptr,
                                          &target, bench.tags, reason);
    EXPECT_EQ(bench.client_version, "4.2"_w);
    EXPECT_EQ(target, "1.0"_w);
    return log.Text();
  };
  const std::string lines = decide(false);
  EXPECT_NE(lines.find("Country filter is false"), std::string::npos);
  EXPECT_NE(lines.find("Version filter is false"), std::string::npos);
  EXPECT_EQ(decide(true), lines);
}

// What is fetched once and kept for later decisions says so; the list decides what that is.
TEST(ExplanationTest, LogsWhatItStartsAndNoMore) {
  ExplainingDevice bench(kBare);
  const auto logged = [&](const char* document) {
    const CapturedLog log;
    bench.Explain(document);
    return log.Text();
  };
  EXPECT_EQ(logged(R"([{"country": "US", "tag": "A"}, {"registry": "HKLM\\A:b|c"}])"), "");
  EXPECT_EQ(logged(R"([{"default": "true"}, {"country": "US", "hardware_id": "USB\\X"}])"),
            "ApplicabilityEvaluator D ApplicabilityEvaluator::EvaluateHardwareIdFilter PnP device "
            "tracker started successfully\n");
  EXPECT_EQ(logged(R"([{"country": "US"}, {"installed_items": "X"}])"),
            "ApplicabilityEvaluator D ApplicabilityEvaluator::DoesFilterMatch Updated installed "
            "apps list its size is now: 0\n");
}

TEST(ExplanationTest, AMissingRecordIsRefused) {
  ExplainingDevice bench(kBare);
  bench.record = nullptr;
  EXPECT_THROW(bench.Explain("[]"), std::invalid_argument);
  EXPECT_THROW(bench.Trace("[]"), std::invalid_argument);
}

TEST(ExplanationTest, ManyThreadsMayExplainAndDecideAtOnce) {
  ExplainingDevice bench(kWhole);
  const ApplicabilityFilter list = ReadFilterDocument(kFiveFilters);
  const auto explain = [&] {
    for (int i = 0; i < 50; ++i) {
      EXPECT_EQ(bench.Explain(kFiveFilters).decided_by, 2U);
      WString reason;
      EXPECT_FALSE(bench.evaluator.EvaluateApplicability(bench.record, bench.client_version, list,
                                                         nullptr, nullptr, bench.tags, reason));
    }
  };
  std::thread other(explain);
  explain();
  other.join();
}

TEST(DecisionTraceTest, TellsTheFirstFailingCriterionOfEachFilterPassed) {
  const DecisionTrace trace = ExplainingDevice(kWhole).Trace(kFiveFilters);
  EXPECT_FALSE(trace.applies);
  EXPECT_EQ(trace.decided_by, 2U);
  EXPECT_EQ(trace.failed, (std::vector{FilterField::country, FilterField::mfr}));
  EXPECT_EQ(trace.reason, ExplainingDevice(kWhole).Explain(kFiveFilters).reason);
  EXPECT_EQ(ExplainingDevice(kWhole).Trace(R"([{"target_version": "1"}])").failed,
            std::vector{FilterField::target_version});
}

TEST(DecisionTraceTest, TheCriterionThatFlippedIsToldInBothDirections) {
  ExplainingDevice bench(kWhole);
  const DecisionTrace before = bench.Trace(kFiveFilters);
  EXPECT_EQ(FlippedBy(before, before), std::nullopt);

  bench.record->set_device_manufacturer("Fabrikam"_w);
  const DecisionTrace after = bench.Trace(kFiveFilters);
  EXPECT_TRUE(after.applies);
  const auto forward = FlippedBy(before, after);
  ASSERT_TRUE(forward.has_value());
  EXPECT_EQ(forward->filter, 1U);
  EXPECT_EQ(forward->criterion, FilterField::mfr);
  EXPECT_TRUE(forward->holds_now);

  const auto back = FlippedBy(after, before);
  ASSERT_TRUE(back.has_value());
  EXPECT_EQ(back->filter, 1U);
  EXPECT_EQ(back->criterion, FilterField::mfr);
  EXPECT_FALSE(back->holds_now);
}

}  // namespace
