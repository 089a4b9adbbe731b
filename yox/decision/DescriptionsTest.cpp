#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "yox/base/String.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/decision/TestMoments.h"

#include "tests/support/Encodings.h"
#include "tests/support/Rows.h"

namespace yox::decision {
namespace {

using YOX::String;
using yox_test::Utf8;

const char* WordOf(CriterionResult result) {
  switch (result) {
    case CriterionResult::kHeld:
      return "matches";
    case CriterionResult::kDiffers:
      return "differs";
    case CriterionResult::kMissing:
      return "missing";
    case CriterionResult::kUnknown:
      return "unknown";
  }
  return "";
}

// "RESULT: REQUIRED / ACTUAL / SOURCE / NOTE / RESULT" of each fact of a filter's criteria.
std::string Described(const std::string& facts, const std::string& filter) {
  const auto quoted = [](std::string text) {
    std::ranges::replace(text, '\'', '"');
    return text;
  };
  const PreparedDevice device(ReadFacts(quoted(facts)));
  const Question question{.now = yox_test::kMorning};
  PreparedFacts prepared(device, question);
  const ApplicabilityFilter list = ReadFilterDocument(quoted("[" + filter + "]"));
  const Explanation explanation = Explain(*list.snapshot(), prepared);
  std::string all;
  for (const ExplainedCriterion& criterion : explanation.filters.at(0).criteria) {
    all += std::string(WordOf(criterion.result)) + ":";
    for (const ExplainedFact& fact : criterion.facts) {
      all += " " + Utf8(fact.required) + " / " + Utf8(fact.actual) + " / " + fact.source + " / " +
             fact.note + " / " + WordOf(fact.result) + ";";
    }
    if (criterion.facts_left_out != 0) all += " and " + std::to_string(criterion.facts_left_out);
    all += "\n";
  }
  return all;
}

struct DescriptionRow {
  const char* name;
  const char* facts;  // with ' for "
  const char* filter;
  const char* described;
};

class DescribedCriterion : public testing::TestWithParam<DescriptionRow> {};

TEST_P(DescribedCriterion, SaysWhatTheDeviceHasAndWhereItIsFrom) {
  EXPECT_EQ(Described(GetParam().facts, GetParam().filter), GetParam().described);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, DescribedCriterion,
    testing::Values(
        DescriptionRow{"Matches", "{'country': 'US'}", "{'country': 'us'}",
                       R"(matches: us / US / region /  / matches;
)"},
        DescriptionRow{"Differs", "{'country': 'US'}", "{'country': 'CA,DE'}",
                       R"(differs: CA,DE / US / region /  / differs;
)"},
        DescriptionRow{"Missing", "{'country': null}", "{'country': 'CA'}",
                       R"(missing: CA /  / region / no text / missing;
)"},
        DescriptionRow{"MissingAndExcluded", "{'country': null}", "{'country': '!CA'}",
                       R"(matches: !CA /  / region / no text / matches;
)"},
        DescriptionRow{"Unknown", "{}", "{'country': 'CA'}",
                       R"(unknown: CA /  / region / not known / unknown;
)"},
        DescriptionRow{"NoFirmware", "{'firmware': false}", "{'mfr': 'A', 'sku': 'B'}",
                       R"(missing: A /  / firmware / no firmware tables / missing;
matches: B /  / firmware / no firmware tables: holds unasked / matches;
)"},
        DescriptionRow{"System", "{}", "{'os': 'Linux'}",
                       R"(differs: Linux / Windows / fixed /  / differs;
)"},
        DescriptionRow{"Bitness", "{'os_bitness': '64'}", "{'os_bitness': '32'}",
                       R"(differs: 32 / 64 / processor /  / differs;
)"},
        DescriptionRow{
            "Hash", "{'serial_number': 'A'}", "{'sn_hash': 'zz*'}",
            R"(differs: zz* / 7e31f65494acfc129219f6e06d304b89b3f14617a13e6f3bb821a4f4e0be8d34 / serial number /  / differs;
)"},
        DescriptionRow{
            "HashOfNothing", "{'serial_number': null, 'realm': null}",
            "{'sn_hash': 'a', 'org_hash': 'b'}",
            R"(missing: b / f7b6cc2e1372bb4663bbceb9a25531bcceb5ae6659d446b0181bdb49f24ea3bb / organisation's realm / no organisation / missing;
missing: a / f7b6cc2e1372bb4663bbceb9a25531bcceb5ae6659d446b0181bdb49f24ea3bb / serial number / no serial number / missing;
)"},
        DescriptionRow{"HashUnknown", "{}", "{'sn_hash': 'a'}",
                       R"(unknown: a /  / serial number / not known / unknown;
)"}),
    yox_test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Versions, DescribedCriterion,
    testing::Values(DescriptionRow{"Matches", "{'version': '4.2'}", "{'version': '>=4.0'}",
                                   R"(matches: >=4.0 / 4.2 / client /  / matches;
)"},
                    DescriptionRow{"Differs", "{'os_version': '4.2'}", "{'os_version': '>=5.0'}",
                                   R"(differs: >=5.0 / 4.2 / operating system /  / differs;
)"},
                    DescriptionRow{"Missing", "{'version': null}", "{'version': '4.2'}",
                                   R"(missing: 4.2 /  / client / no client version / missing;
)"},
                    DescriptionRow{"Unknown", "{}", "{'version': '4.2'}",
                                   R"(unknown: 4.2 /  / client / not known / unknown;
)"},
                    DescriptionRow{"NoVersion", "{'version': 'x'}", "{'version': '>4.2'}",
                                   R"(differs: >4.2 / x / client /  / differs;
)"},
                    DescriptionRow{"NoTarget", "{}", "{'target_version': '>4.2'}",
                                   R"(missing: >4.2 /  / caller / none given / missing;
)"}),
    yox_test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Pairs, DescribedCriterion,
    testing::Values(
        DescriptionRow{
            "Tag", "{'tags': {'Ring': 'beta'}}", "{'tag': 'ring|BETA,!Team'}",
            R"(matches: ring|BETA / beta / tag Ring /  / matches; !Team /  / tags / no such tag / matches;
)"},
        DescriptionRow{
            "TagDiffers", "{'tags': {'Ring': 'beta'}}", "{'tag': 'Ring|dev,Team'}",
            R"(differs: Ring|dev / beta / tag Ring /  / differs; Team /  / tags / no such tag / missing;
)"},
        DescriptionRow{"TagThatMustNotBe", "{'tags': {'Ring': ''}}", "{'tag': '!Ring'}",
                       R"(differs: !Ring /  / tag Ring / no text / differs;
)"},
        DescriptionRow{"TagNumber", "{'tags': {'Ring': 'x'}}", "{'tag': 'Ring|>5'}",
                       R"(differs: Ring|>5 / x / tag Ring /  / differs;
)"},
        DescriptionRow{"TagsUnknown", "{}", "{'tag': 'Ring'}",
                       R"(unknown: Ring /  / tags / not known / unknown;
)"},
        DescriptionRow{"TagsMissing", "{'tags': null}", "{'tag': 'Ring'}",
                       R"(missing: Ring /  / tags / no such tag / missing;
)"},
        DescriptionRow{
            "Item", "{'installed_items': [['Editor', '7.1']]}",
            "{'installed_items': 'Viewer,Editor|>7.0'}",
            R"(matches: Viewer /  / applications / no such application / missing; Editor|>7.0 / 7.1 / application Editor /  / matches;
)"},
        DescriptionRow{
            "NoItem", "{'installed_items': []}", "{'installed_items': 'A,!A|1'}",
            R"(missing: A /  / applications / no such application / missing; !A|1 /  / applications / no such application / missing;
)"},
        DescriptionRow{"ItemsUnknown", "{}", "{'installed_items': 'A'}",
                       R"(unknown: A /  / applications / not known / unknown;
)"}),
    yox_test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Days, DescribedCriterion,
    testing::Values(
        DescriptionRow{"Today", "{'time_zone': 'UTC'}", "{'date_range': '2026-03-01|*'}",
                       R"(matches: 2026-03-01|* / 2026-03-01 / clock /  / matches;
)"},
        DescriptionRow{
            "TodaySomewhere", "{}", "{'date_range': '2026-03-02|*'}",
            R"(unknown: 2026-03-02|* / 2026-02-28 to 2026-03-02 / clock / not known / unknown;
)"},
        DescriptionRow{"NotToday", "{'time_zone': '+14:00'}", "{'date_range': '*|2026-03-01'}",
                       R"(differs: *|2026-03-01 / 2026-03-02 / clock /  / differs;
)"},
        DescriptionRow{"NoRange", "{'time_zone': 'UTC'}", "{'date_range': '2026-03-01'}",
                       R"(differs: 2026-03-01 / 2026-03-01 / clock /  / differs;
)"},
        DescriptionRow{
            "Growing", "{'time_zone': 'UTC', 'rollout_bucket': 5}",
            "{'date_function': '2026-02-20|28|linear'}",
            R"(matches: 2026-02-20|28|linear / 2026-03-01 / clock, serial number / day 10 of 28, bucket 5 of 4095 is in from day 1 on / matches;
)"},
        DescriptionRow{
            "GrowingWithoutIt", "{'time_zone': 'UTC', 'rollout_bucket': 4095}",
            "{'date_function': '2026-02-20|28|linear'}",
            R"(differs: 2026-02-20|28|linear / 2026-03-01 / clock, serial number / day 10 of 28, bucket 4095 of 4095 is in from day 28 on / differs;
)"},
        DescriptionRow{
            "GrowingUnknown", "{'time_zone': 'UTC'}",
            "{'date_function': '2026-02-20|28|linear|tenant'}",
            R"(unknown: 2026-02-20|28|linear|tenant / 2026-03-01 / clock, realm / day 10 of 28 / unknown;
)"},
        DescriptionRow{
            "GrowingForNobody", "{'time_zone': 'UTC', 'serial_number': null, 'realm': null}",
            "{'date_function': '2026-02-20|28|linear|tenant'}",
            R"(missing: 2026-02-20|28|linear|tenant / 2026-03-01 / clock, realm / day 10 of 28, bucket 3963 of 4095 is in from day 28 on, no realm / missing;
)"},
        DescriptionRow{
            "GrowingSomewhere", "{'rollout_bucket': 5}",
            "{'date_function': '2026-03-01|28|linear'}",
            R"(unknown: 2026-03-01|28|linear / 2026-02-28 to 2026-03-02 / clock / time zone not known / unknown;
)"},
        DescriptionRow{"Complete", "{'time_zone': 'UTC', 'rollout_bucket': 4095}",
                       "{'date_function': '2026-02-01|28|x'}",
                       R"(matches: 2026-02-01|28|x / 2026-03-01 / clock / day 29 of 28 / matches;
)"},
        DescriptionRow{
            "NotBegun", "{'time_zone': 'UTC', 'rollout_bucket': 5}",
            "{'date_function': '2026-03-02|28|linear'}",
            R"(differs: 2026-03-02|28|linear / 2026-03-01 / clock / has not begun / differs;
)"},
        DescriptionRow{
            "NoDays", "{'time_zone': 'UTC'}", "{'date_function': '2026-02-20|0|linear'}",
            R"(differs: 2026-02-20|0|linear / 2026-03-01 / clock / no number of days / differs;
)"},
        DescriptionRow{
            "UnreadableDays", "{'time_zone': 'UTC'}", "{'date_function': '2026-02-20|x|linear'}",
            R"(differs: 2026-02-20|x|linear / 2026-03-01 / clock / no number of days / differs;
)"},
        DescriptionRow{
            "UnknownGrowth", "{'time_zone': 'UTC'}", "{'date_function': '2026-02-20|28|x'}",
            R"(differs: 2026-02-20|28|x / 2026-03-01 / clock / day 10 of 28, unknown growth / differs;
)"},
        DescriptionRow{
            "TwoPieces", "{'time_zone': 'UTC'}", "{'date_function': '2026-02-20|28'}",
            R"(differs: 2026-02-20|28 / 2026-03-01 / clock / not of the form START|DAYS|GROWTH / differs;
)"},
        DescriptionRow{
            "NoDate", "{'time_zone': 'UTC'}", "{'date_function': '2026-x-20|28|linear'}",
            R"(differs: 2026-x-20|28|linear / 2026-03-01 / clock / not of the form START|DAYS|GROWTH / differs;
)"}),
    yox_test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Lists, DescribedCriterion,
    testing::Values(
        DescriptionRow{
            "Subscription", "{'device_subscription': ['gold', 'basic']}",
            "{'device_subscription': 'basic,b*'}",
            R"(matches: basic,b* / gold / organisation /  / differs; basic,b* / basic / organisation /  / matches;
)"},
        DescriptionRow{
            "OtherSubscriptions", "{'device_subscription': ['gold', 'basic']}",
            "{'device_subscription': 'x'}",
            R"(differs: x / gold / organisation /  / differs; x / basic / organisation /  / differs;
)"},
        DescriptionRow{"NoSubscription", "{'device_subscription': []}",
                       "{'device_subscription': 'x'}",
                       R"(missing: x /  / organisation / no subscription / missing;
)"},
        DescriptionRow{"SubscriptionsMissing", "{'device_subscription': null}",
                       "{'device_subscription': 'x'}",
                       R"(missing: x /  / organisation / no organisation / missing;
)"},
        DescriptionRow{"SubscriptionsUnknown", "{}", "{'device_subscription': 'x'}",
                       R"(unknown: x /  / organisation / not known / unknown;
)"},
        DescriptionRow{"Hardware", "{'hardware_ids': ['USB\\\\B', 'PCI\\\\A']}",
                       "{'hardware_id': 'pci/a'}",
                       R"(matches: pci/a / PCI\A / present devices /  / matches;
)"},
        DescriptionRow{"OtherHardware", "{'hardware_ids': ['USB\\\\B', 'PCI\\\\A']}",
                       "{'hardware_id': 'x'}",
                       R"(missing: x /  / present devices / none of 2 hardware IDs / missing;
)"},
        DescriptionRow{"NoHardware", "{'hardware_ids': []}", "{'hardware_id': '!x'}",
                       R"(missing: !x /  / present devices / no device has a hardware ID / missing;
)"},
        DescriptionRow{"HardwareMissing", "{'hardware_ids': null}", "{'hardware_id': 'x'}",
                       R"(missing: x /  / present devices / no device has a hardware ID / missing;
)"},
        DescriptionRow{"HardwareUnknown", "{}", "{'hardware_id': 'x'}",
                       R"(unknown: x /  / present devices / not known / unknown;
)"},
        DescriptionRow{
            "Registry", "{'registry': {'HKLM\\\\A': {'B': 'x', 'C': null}}}",
            "{'registry': 'HKLM\\\\A:B|X,HKLM\\\\A:b|y,HKLM/A:C|,HKLM\\\\A:D|'}",
            R"(differs: HKLM\A:B|X / x / registry /  / matches; HKLM\A:b|y / x / registry /  / differs; HKLM/A:C| /  / registry / no such value / missing; HKLM\A:D| /  / registry / not known / unknown;
)"},
        DescriptionRow{
            "RegistryThatCannotBe", "{'registry': {'HKLM\\\\A': {'B': 'x'}}}",
            "{'registry': 'HKLM\\\\A,HKLM\\\\A:B,HKCR\\\\A:B|,HKLM\\\\A\\\\\\\\B:C|'}",
            R"(differs: HKLM\A /  / registry / not of the form PATH:NAME|DATA / differs; HKLM\A:B /  / registry / not of the form PATH:NAME|DATA / differs; HKCR\A:B| /  / registry / not of the form HKLM\KEY or HKCU\KEY / differs; HKLM\A\\B:C| /  / registry / doubled separators / differs;
)"}),
    yox_test::RowName());

}  // namespace
}  // namespace yox::decision
