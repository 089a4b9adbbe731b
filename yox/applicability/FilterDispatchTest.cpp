#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "yox/applicability/TestEvaluator.h"
#include "yox/base/String.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/Dates.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Rows.h"
#include "tests/support/TestRecord.h"

using yox::decision::Criterion;
using yox::decision::FilterField;
using yox::decision::kCriteria;
using yox::decision::kFilterFieldNames;
using yox::decision::Throttling;

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
using Field = FilterField;
using Pairs = ApplicabilityEvaluator::Pairs;

constexpr const char* kDecidingProfile = R"({
  "clock": {"now": "2026-03-15T12:00:00"},
  "firmware": {"sku": "FALCON14-16-512"},
  "os": {"architecture": 9},
  "installed_apps": [{"key": "{1234}", "name": "Contoso Editor", "version": "7.1.0"}],
  "store_apps": {"Contoso.Notes": "2.0.1.0"}
})";

std::shared_ptr<MachineInformation> ExampleRecord() {
  const auto record = MakeRecord();
  record->set_os_region("DE"_w);
  record->set_device_enclosuretype("Notebook"_w);
  record->set_device_family("Falcon 14"_w);
  record->set_os_language("de-DE"_w);
  record->set_device_manufacturer("Contoso"_w);
  record->set_device_model("FA14-2210"_w);
  record->set_os_description("Contoso OS 11 Pro"_w);
  record->set_os_version("10.0.22631.4460"_w);
  record->set_serial_number("C0FFEE12"_w);
  return record;
}

// The device of kDecidingProfile, unless a profile is given, with an evaluator of its own.
class DecidingDevice {
 public:
  explicit DecidingDevice(const char* profile = kDecidingProfile)
      : device_(ReadDeviceProfile(profile)), installed_(device_) {}

  bool Decide(const Filter& filter, WString* reason = nullptr, WString* target = nullptr,
              const Pairs& extra_tags = {}) {
    WString words;
    const bool applies = evaluator.EvaluateApplicability(
        record, client_version, ApplicabilityFilter({filter}), nullptr, target, extra_tags, words);
    if (reason != nullptr) *reason = words;
    return applies;
  }

  bool Decide(Field field, const WString& text) {
    Filter filter;
    filter.Set(field, text);
    return Decide(filter);
  }

 private:
  SimulatedDevice device_;
  ScopedPlatform installed_;

 public:
  TestEvaluator evaluator;
  std::shared_ptr<MachineInformation> record = ExampleRecord();
  WString client_version = "4.2.10.0"_w;
};

// One row for each criterion: a text that matches, one that fails, and the line that a failure
// writes.
struct CriterionCase {
  Field field;
  WString holds;
  WString fails;
  std::string message;
  const char* profile = kDecidingProfile;

  std::string name() const {
    return std::string(kFilterFieldNames[static_cast<std::size_t>(field)]);
  }
};

void PrintTo(const CriterionCase& row, std::ostream* out) { *out << row.name(); }

struct CriterionName {
  std::string operator()(const testing::TestParamInfo<CriterionCase>& row) const {
    return row.param.name();
  }
};

std::string RealmHash() { return String::UTF16ToUTF8(AnyEvaluator().GetHashedSaltedString(""_w)); }

const std::vector<CriterionCase>& CriterionCases() {
  static const std::vector<CriterionCase> rows = {
      {Field::country, "de"_w, "US,CA"_w, "Country filter is false. Required: US,CA, Actual: DE"},
      {Field::date_range, "2026-03-01|*"_w, "*|2026-03-01"_w,
       "Date range filter is false. Required: *|2026-03-01"},
      {Field::date_function, "2026-03-01|5|linear"_w, "2026-03-01|0|linear"_w,
       "Date function filter is false. Required: 2026-03-01|0|linear"},
      {Field::enclosure, "notebook"_w, "Tower"_w,
       "Enclosure filter is false. Required: Tower, Actual: Notebook"},
      {Field::family, "Falcon*"_w, "Eagle*"_w,
       "Family name filter is false. Required: Eagle*, Actual: Falcon 14"},
      {Field::language, "de-*"_w, "en-*"_w,
       "Language filter is false. Required: en-*, Actual: de-DE"},
      {Field::mfr, "contoso"_w, "!Contoso"_w,
       "Manufacturer filter is false. Required: !Contoso, Actual: Contoso"},
      {Field::model, "*2210"_w, "FA16*"_w,
       "Model filter is false. Required: FA16*, Actual: FA14-2210"},
      {Field::os, "Windows"_w, "Linux"_w, "Os filter is false. Required: Linux, Actual: Windows"},
      {Field::os_bitness, "64"_w, "32,ARM64"_w,
       "Os bitness filter is false. Required: 32,ARM64, Actual: 64"},
      {Field::os_description, "*11 pro"_w, "*Home*"_w,
       "Os description filter is false. Required: *Home*, Actual: Contoso OS 11 Pro"},
      {Field::os_version, ">=10.0.22631"_w, "<10.0"_w,
       "Os version filter is false. Required: <10.0, Actual: 10.0.22631.4460"},
      {Field::sku, "falcon14-*"_w, "FALCON16-*"_w,
       "SKU filter is false. Required: FALCON16-*, Actual: FALCON14-16-512"},
      {Field::sn_hash, "*"_w, "000*,!*"_w, "Sn hash filter is false. Required: 000*,!*"},
      {Field::target_version, "2.0"_w, ">2.0"_w,
       "Target version filter is false. Required: >2.0, Actual: 2.0"},
      {Field::version, ">4.2"_w, "<4.2"_w,
       "Version filter is false. Required: <4.2, Actual: 4.2.10.0"},
      {Field::tag, "Ring|2"_w, "Ring|3"_w, "Tag filter is false. Required: Ring|3"},
      {Field::installed_items, "Contoso Editor|>=7.0"_w, "Contoso Editor|>7.1.0"_w,
       "Installed items filter is false. Required: Contoso Editor|>7.1.0"},
      {Field::device_subscription, "one*"_w, "three"_w,
       "Device subscription filter is false. Required: three",
       R"({"organisation": {"subscriptions": ["one-two", "other"]}})"},
      {Field::org_hash, "*"_w, "000*,!*"_w, "Org hash filter is false. Required: 000*,!*"},
      {Field::registry, "HKLM\\SOFTWARE\\Contoso:Level|10"_w, "HKLM/SOFTWARE/Contoso:Level|11"_w,
       "Registry filter is false. Required: HKLM/SOFTWARE/Contoso:Level|11 not found",
       R"({"registry": {"HKLM\\SOFTWARE\\Contoso": {"Level": {"type": "REG_DWORD", "data": 10}}}})"},
  };
  return rows;
}

int FailureLines(const CapturedLog& log) {
  return static_cast<int>(std::ranges::count_if(log.Lines(), [](const CapturedLog::Line& line) {
    return line.text.find("filter is false") != std::string::npos;
  }));
}

class CriterionTest : public testing::TestWithParam<CriterionCase> {};

TEST_P(CriterionTest, HoldsWithoutAWord) {
  DecidingDevice bench(GetParam().profile);
  Filter filter;
  filter.Set(GetParam().field, GetParam().holds);
  WString target = "2.0"_w;
  WString reason;
  const CapturedLog log;
  EXPECT_TRUE(bench.Decide(filter, &reason, &target, {{"Ring"_w, "2"_w}}));
  EXPECT_EQ(reason, "Filter [0]: true; "_w);
  EXPECT_EQ(log.Text().find("filter is false"), std::string::npos) << log.Text();
}

TEST_P(CriterionTest, FailsWithItsWordAndItsLine) {
  DecidingDevice bench(GetParam().profile);
  Filter filter;
  filter.Set(GetParam().field, GetParam().fails);
  WString target = "2.0"_w;
  WString reason;
  const CapturedLog log;
  EXPECT_FALSE(bench.Decide(filter, &reason, &target, {{"Ring"_w, "2"_w}}));
  EXPECT_EQ(String::UTF16ToUTF8(reason), "Filter [0]: " + GetParam().name() + " = false; ");
  const std::string line = "ApplicabilityEvaluator D ApplicabilityEvaluator::DoesFilterMatch " +
                           GetParam().message + "\n";
  EXPECT_NE(log.Text().find(line), std::string::npos) << log.Text();
}

TEST_P(CriterionTest, AFailureIsLoggedOnceWhileNothingChanges) {
  DecidingDevice bench(GetParam().profile);
  Filter filter;
  filter.Set(GetParam().field, GetParam().fails);
  WString target = "2.0"_w;
  const CapturedLog log;
  for (int i = 0; i < 3; ++i) bench.Decide(filter, nullptr, &target, {{"Ring"_w, "2"_w}});
  EXPECT_EQ(FailureLines(log), 1) << log.Text();
}

// What is logged under a fixed key is forgotten with the next line; otherwise each required text is
// remembered by itself.
TEST_P(CriterionTest, AlternatingTextsAreLoggedByTheFormOfTheThrottle) {
  const std::set<Field> by_key = {
      Field::enclosure, Field::family,     Field::mfr,        Field::model,
      Field::os,        Field::os_bitness, Field::os_version, Field::os_description,
      Field::sku,       Field::sn_hash};
  DecidingDevice bench(GetParam().profile);
  WString target = "2.0"_w;
  const CapturedLog log;
  const WString other = GetParam().fails + ","_w + GetParam().fails;
  for (const WString& text : {GetParam().fails, other, GetParam().fails}) {
    Filter filter;
    filter.Set(GetParam().field, text);
    EXPECT_FALSE(bench.Decide(filter, nullptr, &target, {{"Ring"_w, "2"_w}}));
  }
  EXPECT_EQ(FailureLines(log), by_key.contains(GetParam().field) ? 3 : 2) << log.Text();
}

TEST_P(CriterionTest, ABlankTextIsNotSet) {
  DecidingDevice bench(GetParam().profile);
  Filter filter;
  filter.Set(GetParam().field, " \t"_w);
  EXPECT_TRUE(bench.Decide(filter));
}

INSTANTIATE_TEST_SUITE_P(Rows, CriterionTest, testing::ValuesIn(CriterionCases()), CriterionName());

TEST(FilterDispatchTest, EveryCriterionWithAThrottleHasACase) {
  for (const Criterion& criterion : kCriteria) {
    EXPECT_EQ(std::ranges::count(CriterionCases(), criterion.field, &CriterionCase::field),
              criterion.throttling == Throttling::kNone ? 0 : 1)
        << criterion.name();
  }
}

TEST(FilterDispatchTest, CriteriaAreEvaluatedInTheirOrder) {
  const std::vector<std::string> expected = {
      "country",    "date_range",     "date_function",  "device_subscription",
      "enclosure",  "family",         "hardware_id",    "language",
      "mfr",        "model",          "org_hash",       "os",
      "os_bitness", "os_description", "os_version",     "registry",
      "sku",        "sn_hash",        "target_version", "version",
      "tag",        "installed_items"};
  std::vector<std::string> order;
  for (const Criterion& criterion : kCriteria) order.emplace_back(criterion.name());
  EXPECT_EQ(order, expected);

  // All fail; each time the first is named and then taken away.
  DecidingDevice bench;
  Filter filter;
  for (const Criterion& criterion : kCriteria) filter.Set(criterion.field, "!*"_w);
  filter.set_os_version("0.0"_w);
  filter.set_version("0.0"_w);
  filter.set_target_version("0.0"_w);
  filter.set_tag("no such tag"_w);
  filter.set_installed_items("no such item"_w);
  WString target = "1.0"_w;
  for (const std::string& word : expected) {
    WString reason;
    EXPECT_FALSE(bench.Decide(filter, &reason, &target)) << word;
    EXPECT_EQ(String::UTF16ToUTF8(reason), "Filter [0]: " + word + " = false; ");
    for (const Criterion& criterion : kCriteria) {
      if (criterion.name() == word) filter.Set(criterion.field, ""_w);
    }
  }
  EXPECT_TRUE(bench.Decide(filter, nullptr, &target));
}

TEST(FilterDispatchTest, TheOsIsAlwaysWindows) {
  DecidingDevice bench;
  EXPECT_TRUE(bench.Decide(Field::os, "Windows"_w));
  WString reason;
  Filter filter;
  filter.set_os("Linux"_w);
  EXPECT_FALSE(bench.Decide(filter, &reason));
  EXPECT_EQ(reason, "Filter [0]: os = false; "_w);
}

TEST(FilterDispatchTest, WithoutAnOrganisationNoSubscriptionHolds) {
  DecidingDevice bench;
  EXPECT_FALSE(bench.Decide(Field::device_subscription, "*"_w));
}

TEST(FilterDispatchTest, WithoutAnOrganisationTheHashIsThatOfTheEmptyText) {
  DecidingDevice bench;
  EXPECT_TRUE(bench.Decide(Field::org_hash, String::UTF8ToUTF16(RealmHash())));
  EXPECT_TRUE(bench.Decide(Field::org_hash, String::UTF8ToUTF16(RealmHash().substr(0, 3)) + "*"_w));
  const CapturedLog log;
  EXPECT_FALSE(bench.Decide(Field::org_hash, "!*"_w));
  EXPECT_EQ(log.Text(),
            "ApplicabilityEvaluator D ApplicabilityEvaluator::DoesFilterMatch Org hash filter is "
            "false. Required: !*\n");
}

TEST(FilterDispatchTest, ASerialNumberHashIsHeldWithItsPrefix) {
  DecidingDevice bench;
  const WString hash = AnyEvaluator().GetHashedSaltedString("C0FFEE12"_w);
  EXPECT_TRUE(bench.Decide(Field::sn_hash, "zzz*,"_w + hash.substr(0, 4) + "*"_w));
  EXPECT_TRUE(bench.Decide(Field::sn_hash, hash));
  EXPECT_FALSE(bench.Decide(Field::sn_hash, hash.substr(0, 4)));
  EXPECT_FALSE(bench.Decide(Field::sn_hash, "!"_w + hash));
}

TEST(FilterDispatchTest, WithoutFirmwareASkuIsNotAsked) {
  DecidingDevice bench(R"({})");
  Filter filter;
  filter.set_sku("anything"_w);
  WString reason;
  EXPECT_TRUE(bench.Decide(filter, &reason));
  EXPECT_EQ(reason, "Filter [0]: true; "_w);
}

struct BitnessCase {
  const char* name;
  int architecture;
  WString text;
};

class Bitness : public testing::TestWithParam<BitnessCase> {
  // A singleton remembers: each row has a process of its own.
};

TEST_P(Bitness, IsTheArchitecturesText) {
  const std::string profile =
      R"({"os": {"architecture": )" + std::to_string(GetParam().architecture) + "}}";
  DecidingDevice bench(profile.c_str());
  for (const WString& text : {"32"_w, "64"_w, "ARM64"_w, "not supported"_w}) {
    EXPECT_EQ(bench.Decide(Field::os_bitness, text), text == GetParam().text);
  }
}

INSTANTIATE_TEST_SUITE_P(, Bitness,
                         testing::Values(BitnessCase{"X86", 0, "32"_w},
                                         BitnessCase{"X64", 9, "64"_w},
                                         BitnessCase{"Arm64", 12, "ARM64"_w},
                                         BitnessCase{"Arm", 5, "not supported"_w},
                                         BitnessCase{"Itanium", 6, "not supported"_w}),
                         yox_test::RowName());

TEST(FilterDispatchTest, AMissingTargetVersionIsLoggedOnce) {
  DecidingDevice bench;
  Filter filter;
  filter.set_target_version(">=1.0"_w);
  const CapturedLog log;
  WString reason;
  EXPECT_FALSE(bench.Decide(filter, &reason));
  EXPECT_EQ(reason, "Filter [0]: "_w);
  EXPECT_FALSE(bench.Decide(filter));
  filter.set_target_version("!1.0"_w);
  EXPECT_FALSE(bench.Decide(filter));
  EXPECT_EQ(
      log.Text(),
      "ApplicabilityEvaluator D ApplicabilityEvaluator::DoesFilterMatch Target version filter "
      "is false. Target version pointer is null\n");
}

TEST(FilterDispatchTest, ADynamicLineIsWrittenAgainWhenTheValueChanges) {
  DecidingDevice bench;
  const CapturedLog log;
  EXPECT_FALSE(bench.Decide(Field::country, "US"_w));
  EXPECT_FALSE(bench.Decide(Field::country, "US"_w));
  bench.record->set_os_region("FR"_w);
  EXPECT_FALSE(bench.Decide(Field::country, "US"_w));
  EXPECT_FALSE(bench.Decide(Field::country, "JP"_w));
  EXPECT_FALSE(bench.Decide(Field::country, "US"_w));
  const std::string origin =
      "ApplicabilityEvaluator D ApplicabilityEvaluator::DoesFilterMatch Country filter is false. ";
  EXPECT_EQ(log.Text(), origin + "Required: US, Actual: DE\n" +  //
                            origin + "Required: US, Actual: FR\n" + origin +
                            "Required: JP, Actual: FR\n");
}

// Its hash is the value that counts, though the line does not show it.
TEST(FilterDispatchTest, AnotherOrganisationIsLoggedAgainInTheSameWords) {
  TestEvaluator evaluator;
  Filter filter;
  filter.set_org_hash("!*"_w);
  const CapturedLog log;
  for (const std::string realm : {"contoso", "contoso", "fabrikam"}) {
    SimulatedDevice device(ReadDeviceProfile(R"({"organisation": {"realm": ")" + realm + R"("}})"));
    const ScopedPlatform installed(device);
    WString reason;
    EXPECT_FALSE(
        evaluator.DoesFilterMatch(&filter, ExampleRecord(), "1.0"_w, nullptr, nullptr, {}, reason));
  }
  EXPECT_EQ(FailureLines(log), 2) << log.Text();
}

TEST(FilterDispatchTest, AStaticLineIsWrittenAgainWhenTheMessageChanges) {
  DecidingDevice bench;
  const CapturedLog log;
  for (const WString& text : {"A"_w, "A"_w, "B"_w, "A"_w}) {
    EXPECT_FALSE(bench.Decide(Field::enclosure, text));
  }
  const std::string origin =
      "ApplicabilityEvaluator D ApplicabilityEvaluator::DoesFilterMatch Enclosure filter is "
      "false. ";
  EXPECT_EQ(log.Text(), origin + "Required: A, Actual: Notebook\n" +  //
                            origin + "Required: B, Actual: Notebook\n" + origin +
                            "Required: A, Actual: Notebook\n");
}

TEST(FilterDispatchTest, ALogThatIsOpenedLaterStillTells) {
  DecidingDevice bench;
  EXPECT_FALSE(bench.Decide(Field::country, "US"_w));
  const CapturedLog log;
  EXPECT_FALSE(bench.Decide(Field::country, "US"_w));
  EXPECT_EQ(log.Lines().size(), 1U);
}

TEST(FilterDispatchTest, TheManufacturerIsAskedThroughItsVirtualAccessor) {
  class Renamed : public MachineInformation {
   public:
    WString device_manufacturer() const override { return "Fabrikam"_w; }
  };
  DecidingDevice bench;
  bench.record = std::make_shared<Renamed>();
  EXPECT_TRUE(bench.Decide(Field::mfr, "Fabrikam"_w));
}

TEST(FilterDispatchTest, EachOfTheCallersTagsIsSeen) {
  DecidingDevice bench;
  Filter filter;
  filter.set_tag("Ring|2, !Missing, Level|>=10"_w);
  EXPECT_TRUE(bench.Decide(filter, nullptr, nullptr, {{"Ring"_w, "2"_w}, {"Level"_w, "12"_w}}));
  EXPECT_FALSE(bench.Decide(filter, nullptr, nullptr, {{"Ring"_w, "2"_w}, {"Level"_w, "9"_w}}));
  EXPECT_FALSE(bench.Decide(filter));
}

TEST(FilterDispatchTest, AnInstalledItemIsFoundByEitherName) {
  DecidingDevice bench;
  EXPECT_TRUE(bench.Decide(Field::installed_items, "{1234}|7.1.0"_w));
  EXPECT_TRUE(bench.Decide(Field::installed_items, "contoso editor|<8.0"_w));
  EXPECT_TRUE(bench.Decide(Field::installed_items, "Missing,Contoso.Notes|2.0.1.0"_w));
  EXPECT_FALSE(bench.Decide(Field::installed_items, "Missing,Contoso.Notes|>2.0.1.0"_w));
}

// A device is asked on day 50 of 100, then gets another serial number.
TEST(FilterDispatchTest, ARolloutFollowsTheSerialNumber) {
  DecidingDevice bench(R"({"clock": {"now": "2026-02-19T12:00:00"}})");
  const auto bucket = [](const WString& serial) {
    return yox::decision::RolloutBucket(AnyEvaluator().GetHashedSaltedString(serial));
  };
  WString early = "a"_w;
  WString late = "a"_w;
  while (bucket(early) > 400) early += 'a';
  while (bucket(late) < 3600) late += 'b';
  for (const bool is_in : {true, false, true}) {
    bench.record->set_serial_number(is_in ? early : late);
    EXPECT_EQ(bench.Decide(Field::date_function, "2026-01-01|100|linear"_w), is_in);
    EXPECT_EQ(bench.Decide(Field::date_function, "2026-01-01|100|linear"_w), is_in);
  }
}

// The organisation's bucket, on a day on which it is in and its devices would not all be.
TEST(FilterDispatchTest, ARolloutByTenantFollowsTheRealmAndNotTheSerialNumber) {
  const auto bucket = [](const WString& text) {
    return yox::decision::RolloutBucket(AnyEvaluator().GetHashedSaltedString(text));
  };
  WString early = "a"_w;
  WString late = "a"_w;
  while (bucket(early) > 400) early += 'a';
  while (bucket(late) < 3600) late += 'b';
  for (const bool is_in : {true, false}) {
    const WString& realm = is_in ? early : late;
    const std::string profile =
        R"({"clock": {"now": "2026-02-19T12:00:00"}, "organisation": {"realm": ")" +
        String::UTF16ToUTF8(realm) + R"("}})";
    DecidingDevice bench(profile.c_str());
    bench.record->set_serial_number(is_in ? late : early);
    EXPECT_EQ(bench.Decide(Field::date_function, "2026-01-01|100|linear|tenant"_w), is_in);
    EXPECT_EQ(bench.Decide(Field::date_function, "2026-01-01|100|linear|TENANT|x"_w), is_in);
    EXPECT_EQ(bench.Decide(Field::date_function, "2026-01-01|100|linear|device"_w), !is_in);
  }
}

// A record that is assigned has another serial number, as one whose number is set.
TEST(FilterDispatchTest, ARolloutFollowsARecordThatIsAssigned) {
  DecidingDevice bench(R"({"clock": {"now": "2026-02-19T12:00:00"}})");
  const auto bucket = [](const WString& serial) {
    return yox::decision::RolloutBucket(AnyEvaluator().GetHashedSaltedString(serial));
  };
  const auto early = MakeRecord();
  const auto late = MakeRecord();
  WString serial = "a"_w;
  while (bucket(serial) > 400) serial += 'a';
  early->set_serial_number(serial);
  while (bucket(serial) < 3600) serial += 'b';
  late->set_serial_number(serial);
  for (const bool is_in : {true, false, true}) {
    *bench.record = is_in ? *early : *late;
    EXPECT_EQ(bench.Decide(Field::date_function, "2026-01-01|100|linear"_w), is_in);
  }
}

}  // namespace
