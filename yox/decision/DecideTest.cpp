#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "yox/base/String.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/Decide.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/decision/ReasonText.h"
#include "yox/decision/TestMoments.h"

#include "tests/support/Rows.h"

namespace yox::decision {
namespace {

using yox_test::kMorning;

using Known = Given<WString>;

FactsRecord WholeDevice() {
  FactsRecord record;
  record.text(FilterField::country) = Known::Known("DE"_w);
  record.text(FilterField::language) = Known::Known(" de-DE "_w);
  record.text(FilterField::enclosure) = Known::Known("Notebook"_w);
  record.text(FilterField::family) = Known::Known("Falcon 14"_w);
  record.text(FilterField::mfr) = Known::Known("Contoso"_w);
  record.text(FilterField::model) = Known::Known("FA14-2210"_w);
  record.text(FilterField::sku) = Known::Known("FALCON14-16-512"_w);
  record.text(FilterField::os_bitness) = Known::Known("64"_w);
  record.text(FilterField::os_description) = Known::Known("Microsoft Windows 11 Pro"_w);
  record.text(FilterField::os_version) = Known::Known("10.0.22631.4460"_w);
  record.text(FilterField::version) = Known::Known("4.2.10.0"_w);
  record.SetSerialNumber(Known::Known("C0FFEE12"_w));  // bucket 2777
  record.SetRealm(Known::Known("contoso"_w));
  record.time_zone = TimeZone();
  record.device_subscriptions = Given<std::vector<WString>>::Known({"first"_w, "Second"_w});
  record.tags = Pairs{{"Ring"_w, "beta"_w}, {"ring"_w, "later"_w}, {"Build"_w, "12"_w}};
  record.installed_items = Pairs{{"Contoso Editor"_w, "7.1.0"_w}};
  record.hardware_ids = {"pci\\ven_8086"_w, "PCI\\CC_03"_w, "PCI\\CC_02"_w};
  record.registry = {{"HKLM\\SOFTWARE\\Contoso\\App"_w, "Channel"_w, "beta"_w},
                     {"HKLM\\SOFTWARE\\Contoso\\App\\"_w, "Gone"_w, std::nullopt}};
  return record;
}

struct Decided {
  Verdict verdict;
  WString reason;
};

Decided DecideOn(const FactsRecord& record, const char* list, const Question& question) {
  const PreparedDevice device(record);
  PreparedFacts facts(device, question);
  const auto compiled = ReadFilterDocument(list).snapshot();
  Decided outcome;
  ReasonText reason(*compiled, outcome.reason);
  outcome.verdict = Decide(*compiled, facts, &reason);
  return outcome;
}

Decided DecideOn(const FactsRecord& record, const char* list) {
  return DecideOn(record, list, {kMorning, "2.0"_w, {{"Extra"_w, "x"_w}}});
}

// One criterion that the whole device meets, and the fact without which it is unknown.
struct FactRow {
  const char* name;
  const char* list;
  void (*forget)(FactsRecord& record);
  std::vector<std::string> needs;
};

template <FilterField kField>
void Forget(FactsRecord& record) {
  record.text(kField) = {};
}

class CriterionOnFacts : public testing::TestWithParam<FactRow> {};

TEST_P(CriterionOnFacts, IsTrueWhenTheFactMatches) {
  const Decided outcome = DecideOn(WholeDevice(), GetParam().list);
  EXPECT_EQ(outcome.verdict.applies, Truth::kTrue);
  EXPECT_EQ(outcome.verdict.decided_by, 0U);
  EXPECT_EQ(outcome.reason, "Filter [0]: true; "_w);
}

TEST_P(CriterionOnFacts, IsUnknownWithoutTheFactAndNamesIt) {
  FactsRecord record = WholeDevice();
  GetParam().forget(record);
  const Decided outcome = DecideOn(record, GetParam().list);
  EXPECT_EQ(outcome.verdict.applies, Truth::kUnknown);
  EXPECT_EQ(outcome.verdict.decided_by, std::nullopt);
  EXPECT_EQ(outcome.verdict.needs, GetParam().needs);
  EXPECT_EQ(outcome.reason, ""_w);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CriterionOnFacts,
    testing::Values(
        FactRow{"Country", R"([{"country": "US,de"}])", Forget<FilterField::country>, {"country"}},
        FactRow{
            "Language", R"([{"language": "de*"}])", Forget<FilterField::language>, {"language"}},
        FactRow{"Enclosure",
                R"([{"enclosure": "*BOOK"}])",
                Forget<FilterField::enclosure>,
                {"enclosure"}},
        FactRow{"Family", R"([{"family": "*alcon*"}])", Forget<FilterField::family>, {"family"}},
        FactRow{"Manufacturer", R"([{"mfr": "!Fabrikam"}])", Forget<FilterField::mfr>, {"mfr"}},
        FactRow{"Model", R"([{"model": "fa14*"}])", Forget<FilterField::model>, {"model"}},
        FactRow{"Sku", R"([{"sku": "falcon*"}])", Forget<FilterField::sku>, {"sku"}},
        FactRow{"Bitness",
                R"([{"os_bitness": "64"}])",
                Forget<FilterField::os_bitness>,
                {"os_bitness"}},
        FactRow{"Description",
                R"([{"os_description": "*Pro"}])",
                Forget<FilterField::os_description>,
                {"os_description"}},
        FactRow{"OsVersion",
                R"([{"os_version": ">=10.0"}])",
                Forget<FilterField::os_version>,
                {"os_version"}},
        FactRow{
            "Version", R"([{"version": "4.2.10.0"}])", Forget<FilterField::version>, {"version"}},
        FactRow{"SerialNumberHash",
                R"([{"sn_hash": "!000*"}])",
                Forget<FilterField::sn_hash>,
                {"serial_number"}},
        FactRow{"OrganisationHash",
                R"([{"org_hash": "!000*"}])",
                Forget<FilterField::org_hash>,
                {"realm"}},
        FactRow{"DateRange",
                R"([{"date_range": "2026-03-01|2026-03-01"}])",
                [](FactsRecord& record) { record.time_zone.reset(); },
                {"time_zone"}},
        FactRow{"RolloutInItsZone",
                R"([{"date_function": "2026-03-01|1|linear"}])",
                [](FactsRecord& record) { record.time_zone.reset(); },
                {"time_zone"}},
        FactRow{"RolloutOfADevice",
                R"([{"date_function": "2026-01-01|80|linear"}])",
                [](FactsRecord& record) { record.rollout_bucket = {}; },
                {"serial_number"}},
        FactRow{"RolloutOfAnOrganisation",
                R"([{"date_function": "2026-01-01|61|linear|tenant"}])",
                [](FactsRecord& record) { record.organisation_bucket = {}; },
                {"realm"}},
        FactRow{"Subscriptions",
                R"([{"device_subscription": "second"}])",
                [](FactsRecord& record) { record.device_subscriptions = {}; },
                {"device_subscription"}},
        FactRow{"Tags",
                R"([{"tag": "RING|beta,Bui*|>5,!Gone"}])",
                [](FactsRecord& record) { record.tags.reset(); },
                {"tags", "tags.Gone", "tags.RING"}},
        FactRow{"InstalledItems",
                R"([{"installed_items": "None,contoso editor|>=7.0"}])",
                [](FactsRecord& record) { record.installed_items.reset(); },
                {"installed_items"}},
        FactRow{"HardwareIds",
                R"([{"hardware_id": "usb*,PCI/ven_8086"}])",
                [](FactsRecord& record) { record.hardware_ids.reset(); },
                {"hardware_ids"}},
        FactRow{"Registry",
                R"([{"registry": "HKLM/Software/contoso/App:channel|b*"}])",
                [](FactsRecord& record) { record.registry.clear(); },
                {"registry.HKLM\\Software\\contoso\\App.channel"}}),
    yox_test::RowName());

TEST(DecideTest, WhatIsMissingIsSeenAsOnADeviceWithoutIt) {
  FactsRecord record = WholeDevice();
  record.text(FilterField::country) = Known::Missing();
  record.text(FilterField::sku) = Known::Missing();
  record.device_subscriptions = Given<std::vector<WString>>::Missing();
  record.SetRealm(Known::Missing());
  EXPECT_EQ(DecideOn(record, R"([{"country": "!US"}])").verdict.applies, Truth::kTrue);
  EXPECT_EQ(DecideOn(record, R"([{"country": "US"}])").reason, "Filter [0]: country = false; "_w);
  EXPECT_EQ(DecideOn(record, R"([{"sku": "anything"}])").reason, "Filter [0]: true; "_w);
  EXPECT_EQ(DecideOn(record, R"([{"device_subscription": "*"}])").verdict.applies, Truth::kFalse);
  EXPECT_EQ(DecideOn(record, R"([{"registry": "HKLM\\SOFTWARE\\Contoso\\App:Gone|"}])").reason,
            "Filter [0]: registry = false; "_w);
  const std::string hash = String::UTF16ToUTF8(SaltedHashOf({}));
  const std::string list = R"([{"org_hash": ")" + hash + "\"}]";
  EXPECT_EQ(DecideOn(record, list.c_str()).verdict.applies, Truth::kTrue);
}

TEST(DecideTest, WithoutATargetVersionItsCriterionFailsUnnamed) {
  const Decided outcome = DecideOn(WholeDevice(), R"([{"target_version": ">1.0"}])", {kMorning});
  EXPECT_EQ(outcome.verdict.applies, Truth::kFalse);
  EXPECT_EQ(outcome.reason, "Filter [0]: "_w);
}

struct WalkRow {
  const char* name;
  const char* list;  // country and os_version are unknown
  Truth applies;
  std::vector<std::string> needs = {};
};

class UnknownWalk : public testing::TestWithParam<WalkRow> {};

TEST_P(UnknownWalk, DecidesWhatLogicAllows) {
  FactsRecord record = WholeDevice();
  record.text(FilterField::country) = {};
  record.text(FilterField::os_version) = {};
  record.tags.reset();
  record.registry.clear();
  const Decided outcome = DecideOn(record, GetParam().list);
  EXPECT_EQ(outcome.verdict.applies, GetParam().applies);
  EXPECT_EQ(outcome.verdict.needs, GetParam().needs);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, UnknownWalk,
    testing::Values(
        WalkRow{"OneFalseCriterionIsEnough", R"([{"country": "DE", "language": "en*"}])",
                Truth::kFalse},
        WalkRow{"ATrueCriterionBesideAnUnknownOneIsNot",
                R"([{"country": "DE", "language": "de*"}])",
                Truth::kUnknown,
                {"country"}},
        WalkRow{"BothWaysEndAlike", R"([{"country": "DE"}, {"default": "true"}])", Truth::kTrue},
        WalkRow{"BothWaysEndAlikeInTheEnd", R"([{"country": "DE", "value": "false"}])",
                Truth::kFalse},
        WalkRow{"TheWaysEndDifferently",
                R"([{"country": "DE"}, {"default": "false"}])",
                Truth::kUnknown,
                {"country"}},
        WalkRow{"TheWalkGoesOnToADecidingFilter",
                R"([{"country": "DE"}, {"language": "de*"}, {"default": "false"}])", Truth::kTrue},
        WalkRow{"NothingAfterADecidingFilterCounts",
                R"([{"country": "DE", "value": "false"}, {"default": "false"},
                    {"os_version": ">1.0"}])",
                Truth::kFalse},
        WalkRow{"AllFactsThatMaySettleAreNamed",
                R"([{"os_version": ">1.0"}, {"country": "DE"}, {"default": "false"}])",
                Truth::kUnknown,
                {"country", "os_version"}},
        WalkRow{"AFilterThatEndsLikeTheRestIsNotNamed",
                R"([{"os_version": ">1.0"}, {"country": "DE", "value": "false"},
                    {"default": "false"}])",
                Truth::kUnknown,
                {"os_version"}},
        WalkRow{"APatternOfEverythingNeedsNoFact", R"([{"country": "*"}])", Truth::kTrue},
        WalkRow{"AVersionThatIsNoneNeedsNoFact", R"([{"os_version": "new"}])", Truth::kFalse},
        WalkRow{"ATermThatNeverHoldsNeedsNoTags", R"([{"tag": "Ring,Level|>x"}])", Truth::kFalse},
        WalkRow{"APathWithoutAHiveNeedsNoRegistry", R"([{"registry": "HKEY\\A:b|"}])",
                Truth::kFalse},
        WalkRow{"AFalseRequirementSettlesTheRegistry", R"([{"registry": "HKLM\\A:b|,HKLM\\A:b"}])",
                Truth::kFalse},
        WalkRow{"AFactIsNamedOnce",
                R"([{"country": "DE"}, {"country": "FR"}, {"default": "false"}])",
                Truth::kUnknown,
                {"country"}}),
    yox_test::RowName());

struct ZoneRow {
  const char* name;
  const char* list;
  Truth applies;  // the time zone unknown
};

class UnknownZone : public testing::TestWithParam<ZoneRow> {};

TEST_P(UnknownZone, DecidesWhatIsSoEverywhereOnEarth) {
  FactsRecord record = WholeDevice();
  record.time_zone.reset();
  const Question question{kMorning};
  EXPECT_EQ(DecideOn(record, GetParam().list, question).verdict.applies, GetParam().applies);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, UnknownZone,
    testing::Values(
        ZoneRow{"BegunEverywhere", R"([{"date_range": "2026-02-28|*"}])", Truth::kTrue},
        ZoneRow{"BegunSomewhere", R"([{"date_range": "2026-03-01|*"}])", Truth::kUnknown},
        ZoneRow{"BegunNowhere", R"([{"date_range": "2026-03-03|*"}])", Truth::kFalse},
        ZoneRow{"OnlyInTheMiddle", R"([{"date_range": "2026-03-01|2026-03-01"}])", Truth::kUnknown},
        ZoneRow{"RolloutOverEverywhere", R"([{"date_function": "2026-02-20|5|linear"}])",
                Truth::kTrue},
        ZoneRow{"RolloutBegunSomewhere", R"([{"date_function": "2026-03-02|1|linear"}])",
                Truth::kUnknown},
        ZoneRow{"RolloutBegunNowhere", R"([{"date_function": "2026-03-03|1|linear"}])",
                Truth::kFalse},
        ZoneRow{"RolloutMalformed", R"([{"date_function": "2026-03|1|linear"}])", Truth::kFalse}),
    yox_test::RowName());

// Facts that are all known, and a record of which were fetched.
class WatchedFacts final : public DeviceFacts {
 public:
  WatchedFacts() : DeviceFacts(NoPairs()) {}

  std::string fetched;

  DayStart StartOfDay(int, int, int) override { return DayStart::Of(0); }
  RegistryFact ReadRegistry(const CompiledRegistryRequirement&) override {
    fetched += " registry";
    return {RegistryFact::Stage::kRead, "x"_wv};
  }

 private:
  struct Nothing final : PairSource, HardwareIds {
    std::optional<PairView> First(const TextPattern&, const Pairs&) const override {
      return PairView{"x"_wv, "x"_wv};
    }
    bool Contains(WStringView) const override { return true; }
    bool ContainsAnyFolded(std::span<const WStringView>) const override { return true; }
    std::span<const WString> All() const override { return {}; }
  };

  TextFact FetchText(FilterField field) override {
    fetched += " " + std::string(kFilterFieldNames[static_cast<std::size_t>(field)]);
    return TextFact::Of("x"_wv);
  }
  VersionFact FetchVersion(FilterField field) override {
    fetched += " " + std::string(kFilterFieldNames[static_cast<std::size_t>(field)]);
    return {Knowledge::kKnown, VersionText("1.0"_wv)};
  }
  TextsFact FetchSubscriptions() override {
    fetched += " subscriptions";
    return {Knowledge::kKnown, {&subscription_, 1}};
  }
  PairsFact FetchTags() override {
    fetched += " tags";
    return {Knowledge::kKnown, &nothing_};
  }
  PairsFact FetchInstalledItems() override {
    fetched += " items";
    return {Knowledge::kKnown, &nothing_};
  }
  HardwareIdsFact FetchHardwareIds() override {
    fetched += " ids";
    return {Knowledge::kKnown, &nothing_};
  }
  BucketFact FetchBucket(bool of_organisation) override {
    fetched += of_organisation ? " organisation" : " bucket";
    return {Knowledge::kKnown, 0};
  }
  std::int64_t FetchNow() override {
    fetched += " now";
    return 86400;
  }
  LocalDays FetchToday() override {
    fetched += " today";
    return LocalDays::Of({2026, 3, 1});
  }

  const WString subscription_ = "x"_w;
  const Nothing nothing_;
};

TEST(DecideTest, FactsAreFetchedInTheOrderOfTheCriteriaAndOnce) {
  Filter all;
  for (const Criterion& criterion : kCriteria) {
    all.Set(criterion.field, criterion.language == Language::kVersion ? "1.0"_w : "x"_w);
  }
  all.set_date_range("*|*"_w);
  all.set_date_function("1970-01-01|4|linear"_w);
  all.set_registry("HKLM\\A:b|x"_w);
  Filter passed = all;
  passed.set_installed_items("x|y"_w);
  const CompiledList list({passed, all});
  WatchedFacts facts;
  EXPECT_EQ(Decide(list, facts).decided_by, 1U);
  const std::string once =
      " country today now bucket subscriptions enclosure family ids language mfr model org_hash os "
      "os_bitness os_description os_version registry sku sn_hash target_version version tags items";
  EXPECT_EQ(facts.fetched, once + " registry") << "only the registry is read again";
}

TEST(DecideTest, ATextAndAnotherFactOfOneFieldAreKeptApart) {
  WatchedFacts facts;
  facts.Version(FilterField::os_version);
  facts.Tags();
  facts.Today();
  for (const FilterField field :
       {FilterField::os_version, FilterField::tag, FilterField::date_range}) {
    EXPECT_EQ(facts.Text(field).given, "x"_w);
  }
  EXPECT_EQ(facts.fetched, " os_version tags today os_version tag date_range");
}

TEST(DecideTest, FactsAfterTheFirstFailureAreNotFetched) {
  const auto list = ReadFilterDocument(R"([{"language": "x", "mfr": "y", "model": "x"},
                                           {"default": "true"}, {"family": "x"}])")
                        .snapshot();
  WatchedFacts facts;
  EXPECT_EQ(Decide(*list, facts).decided_by, 1U);
  EXPECT_EQ(facts.fetched, " language mfr");
}

TEST(DecideTest, AReasonOfManyFiltersIsOneAllocationAtMost) {
  const auto list = ReadFilterDocument(R"([{"country": "US"}, {"country": "FR"}, {"mfr": "x"},
      {"country": "JP"}, {"language": "fr*"}, {"default": "false"}])")
                        .snapshot();
  WString reason;
  const ReasonText empty(*list, reason);
  EXPECT_EQ(reason.capacity(), WString().capacity()) << "nothing before the first part";
  const PreparedDevice device(WholeDevice());
  const Question question{kMorning};
  PreparedFacts facts(device, question);
  ReasonText text(*list, reason);
  Decide(*list, facts, &text);
  const auto* const place = reason.data();
  ReasonText again(*list, reason);
  Decide(*list, facts, &again);
  EXPECT_EQ(reason.data(), place);
  EXPECT_LE(reason.size(), list->longest_reason());
}

TEST(DecideTest, StoredTagsComeFirstAndTheCallersReplaceThoseOfTheVerySameName) {
  const auto decide = [](const char* list, const Pairs& extra) {
    return DecideOn(WholeDevice(), list, {kMorning, {}, extra}).verdict.applies;
  };
  EXPECT_EQ(decide(R"([{"tag": "Ring|beta"}])", {}), Truth::kTrue);
  EXPECT_EQ(decide(R"([{"tag": "Ring|later"}])", {{"Ring"_w, "mine"_w}}), Truth::kTrue)
      << "the stored one of another letter case is left";
  EXPECT_EQ(decide(R"([{"tag": "R*|later"}])", {{"Ring"_w, "mine"_w}}), Truth::kTrue);
  EXPECT_EQ(decide(R"([{"tag": "Ring|mine"}])", {{"Ring"_w, "mine"_w}, {"ring"_w, "no"_w}}),
            Truth::kTrue);
}

TEST(ExplainTest, AnUndeterminedListSaysWhatItNeeds) {
  FactsRecord record = WholeDevice();
  record.text(FilterField::country) = {};
  const PreparedDevice device(record);
  const Question question{kMorning};
  PreparedFacts facts(device, question);
  const auto list =
      ReadFilterDocument(R"([{"country": "DE", "mfr": "Contoso"}, {"default": "false"}])")
          .snapshot();
  const Explanation explanation = Explain(*list, facts);
  EXPECT_TRUE(explanation.is_undetermined);
  EXPECT_EQ(explanation.needs, std::vector<std::string>{"country"});
  EXPECT_EQ(explanation.filters[0].outcome, ExplainedFilter::Outcome::kUndecided);
  EXPECT_EQ(explanation.filters[1].outcome, ExplainedFilter::Outcome::kDefault);
  EXPECT_EQ(explanation.filters[0].criteria[0].result, CriterionResult::kUnknown);
  EXPECT_EQ(explanation.filters[0].criteria[0].facts[0].note, "not known");
  EXPECT_EQ(explanation.filters[0].criteria[1].result, CriterionResult::kHeld);
  EXPECT_EQ(explanation.reason, ""_w);
}

TEST(ExplainTest, OfSeveralHardwareIdsTheSmallestIsShownWhateverTheirOrder) {
  for (const auto& ids : {std::vector<WString>{"PCI\\B"_w, "PCI\\A"_w, "PCI\\C"_w},
                          std::vector<WString>{"PCI\\C"_w, "PCI\\B"_w, "PCI\\A"_w}}) {
    FactsRecord record;
    record.hardware_ids = ids;
    const PreparedDevice device(record);
    const Question question;
    PreparedFacts facts(device, question);
    const auto list = ReadFilterDocument(R"([{"hardware_id": "pci*"}])").snapshot();
    EXPECT_EQ(Explain(*list, facts).filters[0].criteria[0].facts[0].actual, "PCI\\A"_w);
  }
}

TEST(FilterTest, AMovedFromFilterHasNoFieldSetAndCanBeUsedAgain) {
  Filter source;
  source.set_country("US"_w);
  source.set_family("a text that is longer than a short string"_w);
  const Filter moved(std::move(source));
  EXPECT_TRUE(moved.IsSet(FilterField::family));
  for (int way = 0; way < 2; ++way) {
    EXPECT_EQ(source.criteria(), 0U);  // NOLINT(bugprone-use-after-move): the state is promised
    EXPECT_FALSE(source.IsSet(FilterField::country));
    EXPECT_EQ(source.country(), ""_w);
    FactsRecord record = WholeDevice();
    const PreparedDevice device(record);
    const Question question;
    PreparedFacts facts(device, question);
    EXPECT_EQ(Decide(CompiledList({source}), facts).applies, Truth::kTrue);
    source.set_country("DE"_w);
    EXPECT_TRUE(source.IsSet(FilterField::country));
    Filter target;
    target = std::move(source);
    EXPECT_EQ(target.country(), "DE"_w);
  }
}

TEST(ApplicabilityFilterTest, AMovedFromListCanBeUsedAgain) {
  Filter filter;
  filter.set_country("US"_w);
  ApplicabilityFilter source({filter});
  const ApplicabilityFilter moved(std::move(source));
  EXPECT_EQ(moved.filters().size(), 1U);
  ASSERT_NE(source.snapshot(), nullptr);  // NOLINT(bugprone-use-after-move): the state is promised
  source.set_filters({filter, filter});
  EXPECT_EQ(source.filters().size(), 2U);
  EXPECT_EQ(moved.filters().size(), 1U);
}

TEST(ApplicabilityFilterTest, ALeaseKeepsTheListThatItBeganWith) {
  Filter filter;
  filter.set_country("US"_w);
  ApplicabilityFilter list({filter});
  std::weak_ptr<const CompiledList> former = list.snapshot();
  {
    const ApplicabilityFilter::Lease outer(list);
    {
      const ApplicabilityFilter::Lease inner(list);
      list.set_filters({});
      EXPECT_EQ((*inner).filters().size(), 1U);
    }
    const ApplicabilityFilter::Lease later(list);
    EXPECT_EQ((*later).filters().size(), 0U);
    EXPECT_EQ((*outer).filters()[0].country(), "US"_w);
    EXPECT_FALSE(former.expired());
  }
  EXPECT_TRUE(former.expired()) << "nobody needs it any more";
}

// With ThreadSanitizer, or under any allocator that reuses memory at once, a list that is freed too
// early shows.
TEST(ApplicabilityFilterTest, ListsMayBeSetWhileTheyAreDecidedOn) {
  Filter filter;
  filter.set_country("DE"_w);
  ApplicabilityFilter list({filter});
  const PreparedDevice device(WholeDevice());
  const Question question{kMorning};
  std::atomic<bool> done{false};
  const auto decide = [&] {
    PreparedFacts facts(device, question);
    do {
      const ApplicabilityFilter::Lease lease(list);
      EXPECT_EQ(Decide(*lease, facts).applies, Truth::kTrue);
    } while (!done);
  };
  std::thread first(decide);
  std::thread second(decide);
  for (int i = 0; i < 2000; ++i) list.set_filters({filter});
  done = true;
  first.join();
  second.join();
}

TEST(TextFolding, FoldingTwiceIsFoldingOnce) {
  for (std::uint32_t unit = 0; unit < 0x10000; ++unit) {
    const WChar folded = String::FoldCase(static_cast<WChar>(unit));
    EXPECT_EQ(String::FoldCase(folded), folded) << unit;
  }
}

TEST(KCriteria, EveryRowHasItsOtherHalves) {
  for (const Criterion& criterion : kCriteria) {
    EXPECT_NE(criterion.evaluate, nullptr) << criterion.name();
    EXPECT_NE(criterion.describe, nullptr) << criterion.name();
    EXPECT_FALSE(criterion.source.empty()) << criterion.name();
  }
}

}  // namespace
}  // namespace yox::decision
