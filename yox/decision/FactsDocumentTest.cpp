#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/Document.h"
#include "yox/base/String.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/Decide.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/PreparedDevice.h"

#include "tests/support/Rows.h"
#include "tests/support/SchemaPaths.h"

namespace yox::decision {
namespace {

constexpr const char* kWhole =
    R"({"id":"0007f3","time_zone":"Europe/Berlin","country":"DE","language":"de-DE",)"
    R"("enclosure":"Notebook","family":"Falcon 14","mfr":"Contoso","model":"FA14-2210",)"
    R"("sku":"FALCON14-16-512","os":"Windows","os_bitness":"64",)"
    R"("os_description":"Microsoft Windows 11 Pro","os_version":"10.0.22631.4460",)"
    R"("version":"4.2.10.0","serial_number":"C0FFEE12","realm":"contoso",)"
    R"("device_subscription":["1b4e28ba-2fa1-11d2-883f-0016d3cca427"],)"
    R"("tags":{"Ring":"pilot","Alpha":"é"},"installed_items":[["Contoso Editor","7.1.0"]],)"
    R"("hardware_ids":["PCI\\VEN_8086&DEV_7D45"],)"
    R"("registry":{"HKLM\\SOFTWARE\\Contoso\\App":{"Level":"10","Gone":null,"Channel":"beta"}}})";

TEST(ReadFacts, TakesEveryKey) {
  const FactsRecord facts = ReadFacts(kWhole);
  EXPECT_EQ(facts.id, "0007f3");
  EXPECT_EQ(facts.time_zone, TimeZone::Parse("Europe/Berlin"));
  EXPECT_EQ(facts.text(FilterField::country).value, "DE"_w);
  EXPECT_EQ(facts.text(FilterField::sku).knowledge, Knowledge::kKnown);
  EXPECT_EQ(facts.text(FilterField::version).value, "4.2.10.0"_w);
  EXPECT_EQ(facts.text(FilterField::sn_hash).value, SaltedHashOf("C0FFEE12"_w));
  EXPECT_EQ(facts.text(FilterField::org_hash).value, SaltedHashOf("contoso"_w));
  EXPECT_EQ(facts.rollout_bucket.value, RolloutBucket(SaltedHashOf("C0FFEE12"_w)));
  EXPECT_EQ(facts.organisation_bucket.value, RolloutBucket(SaltedHashOf("contoso"_w)));
  EXPECT_EQ(facts.device_subscriptions.value[0], "1b4e28ba-2fa1-11d2-883f-0016d3cca427"_w);
  ASSERT_EQ(facts.tags->size(), 2U);
  EXPECT_EQ((*facts.tags)[0].key(), "Ring"_w) << "in the order of the document";
  EXPECT_EQ((*facts.tags)[1].value(), "\u00e9"_w);
  EXPECT_EQ((*facts.installed_items)[0].value(), "7.1.0"_w);
  EXPECT_EQ((*facts.hardware_ids)[0], "PCI\\VEN_8086&DEV_7D45"_w);
  ASSERT_EQ(facts.registry.size(), 3U);
  EXPECT_EQ(facts.registry[1].name, "Gone"_w);
  EXPECT_EQ(facts.registry[1].text, std::nullopt);
  EXPECT_EQ(facts.registry[2].text, "beta"_w);
}

TEST(ReadFacts, WhatIsNotThereIsUnknown) {
  const FactsRecord facts = ReadFacts("{}");
  for (const FilterField field : {FilterField::country, FilterField::sku, FilterField::sn_hash}) {
    EXPECT_EQ(facts.text(field).knowledge, Knowledge::kUnknown);
  }
  EXPECT_EQ(facts.text(FilterField::os).value, "Windows"_w) << "of every device";
  EXPECT_EQ(facts.rollout_bucket.knowledge, Knowledge::kUnknown);
  EXPECT_FALSE(facts.time_zone || facts.tags || facts.installed_items || facts.hardware_ids);
  EXPECT_EQ(FactsJson(facts), R"({"os":"Windows"})");
}

TEST(ReadFacts, NullIsKnownToBeMissing) {
  const FactsRecord facts =
      ReadFacts(R"({"country":null,"sku":null,"serial_number":null,"org_hash":null,"tags":null,)"
                R"("organisation_bucket":null,"device_subscription":null,"installed_items":null,)"
                R"("hardware_ids":null})");
  EXPECT_EQ(facts.text(FilterField::country).knowledge, Knowledge::kKnown);
  EXPECT_EQ(facts.text(FilterField::country).value, ""_w);
  EXPECT_EQ(facts.text(FilterField::sku).knowledge, Knowledge::kKnown) << "not skipped";
  EXPECT_EQ(facts.text(FilterField::sn_hash).value, SaltedHashOf({}));
  EXPECT_EQ(facts.text(FilterField::org_hash).value, SaltedHashOf({}));
  EXPECT_EQ(facts.text(FilterField::org_hash).knowledge, Knowledge::kMissing);
  EXPECT_EQ(facts.organisation_bucket.value, RolloutBucket(SaltedHashOf({})));
  EXPECT_EQ(facts.device_subscriptions.knowledge, Knowledge::kMissing);
  EXPECT_TRUE(facts.tags && facts.tags->empty());
  EXPECT_TRUE(facts.installed_items && facts.hardware_ids);
}

TEST(ReadFacts, RemarksMeanNothing) {
  const FactsRecord facts =
      ReadFacts(R"({"$schema":"x","comment":["a","b"],"tags":{"comment":"x"},"id":"a"})");
  EXPECT_EQ(facts.id, "a");
  EXPECT_EQ(facts.tags->size(), 1U);
}

TEST(ReadFacts, WithoutFirmwareTablesItsTextsAreMissing) {
  for (const char* const document :
       {R"({"firmware":false,"model":"FA14"})", R"({"model":"FA14","firmware":false})"}) {
    const FactsRecord facts = ReadFacts(document);
    for (const FilterField field : {FilterField::sku, FilterField::family, FilterField::mfr,
                                    FilterField::model, FilterField::enclosure}) {
      EXPECT_EQ(facts.text(field).knowledge, Knowledge::kMissing);
    }
    EXPECT_EQ(facts.text(FilterField::model).value, "FA14"_w);
    EXPECT_EQ(ReadFacts(FactsJson(facts)).text(FilterField::sku).knowledge, Knowledge::kMissing);
  }
  EXPECT_EQ(ReadFacts(R"({"firmware":true})").text(FilterField::sku).knowledge,
            Knowledge::kUnknown);
}

TEST(ReadFacts, AHashHasItsBucket) {
  const std::string hash = String::UTF16ToUTF8(SaltedHashOf("C0FFEE12"_w));
  const int bucket = RolloutBucket(SaltedHashOf("C0FFEE12"_w));
  EXPECT_EQ(ReadFacts(R"({"sn_hash":")" + hash + R"("})").rollout_bucket.value, bucket);
  EXPECT_EQ(ReadFacts(R"({"rollout_bucket":7,"sn_hash":")" + hash + R"("})").rollout_bucket.value,
            7);
  EXPECT_EQ(ReadFacts(R"({"sn_hash":")" + hash + R"(","rollout_bucket":7})").rollout_bucket.value,
            7);
  const FactsRecord alone = ReadFacts(R"({"organisation_bucket":4095})");
  EXPECT_EQ(alone.organisation_bucket.value, 4095);
  EXPECT_EQ(alone.text(FilterField::org_hash).knowledge, Knowledge::kUnknown);
}

struct RefusedFactsRow {
  const char* name;
  std::string document;
  std::string error;
};

class FactsRefusals : public ::testing::TestWithParam<RefusedFactsRow> {};

TEST_P(FactsRefusals, NameLinePathExpectedAndFound) {
  try {
    ReadFacts(GetParam().document, 17);
    FAIL() << "taken";
  } catch (const DocumentError& error) {
    EXPECT_EQ(error.what(), GetParam().error);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FactsRefusals,
    ::testing::Values(
        RefusedFactsRow{"Number", R"({"country": 49})",
                        "line 17, column 13: country: expected a string or null, found a number"},
        RefusedFactsRow{"UnknownKey", R"({"county": "DE"})",
                        "line 17, column 2: county: unknown key (did you mean \"country\"?)"},
        RefusedFactsRow{"OfTheQuestion", R"({"target_version": "1.0"})",
                        "line 17, column 2: target_version: unknown key"},
        RefusedFactsRow{"SecondLine", "{\"id\":\"a\",\n\"tags\":{\"Ring\":null}}",
                        "line 18, column 16: tags.Ring: expected a string, found null"},
        RefusedFactsRow{"Syntax", R"({"country": "DE",})",
                        "line 17, column 18: expected a key, found \"}\""},
        RefusedFactsRow{"Utf8", "{\"id\":\"\xff\"}", "line 17, column 8: not well-formed UTF-8"},
        RefusedFactsRow{"Twice", R"({"id":"a","id":"b"})",
                        "line 17, column 11: the key \"id\" is given twice"},
        RefusedFactsRow{"NoObject", "[]", "line 17, column 1: expected an object, found an array"},
        RefusedFactsRow{"Nothing", "",
                        "line 17, column 1: expected a value, found the end of the document"},
        RefusedFactsRow{
            "Zone", R"({"time_zone":"Nowhere/Land"})",
            "line 17, column 14: time_zone: expected a time zone such as \"Europe/Berlin\" or "
            "\"+01:00\", found \"Nowhere/Land\""},
        RefusedFactsRow{"NoZone", R"({"time_zone":null})",
                        "line 17, column 14: time_zone: expected a string, found null"},
        RefusedFactsRow{
            "Bucket", R"({"rollout_bucket":4096})",
            "line 17, column 19: rollout_bucket: expected a whole number from 0 to 4095, "
            "found a number"},
        RefusedFactsRow{
            "Fraction", R"({"rollout_bucket":1.0})",
            "line 17, column 19: rollout_bucket: expected a whole number from 0 to 4095, "
            "found a number"},
        RefusedFactsRow{
            "Hash", R"({"sn_hash":"12ab"})",
            "line 17, column 12: sn_hash: expected 64 hexadecimal digits, found \"12ab\""},
        RefusedFactsRow{
            "HashBesideText", R"({"realm":"a","organisation_bucket":1})",
            "line 17, column 36: organisation_bucket: expected \"realm\" or its hash and "
            "bucket, found "
            "both"},
        RefusedFactsRow{
            "TextBesideHash", R"({"rollout_bucket":1,"serial_number":null})",
            "line 17, column 37: serial_number: expected \"serial_number\" or its hash and "
            "bucket, found "
            "both"},
        RefusedFactsRow{"Firmware", R"({"firmware":null})",
                        "line 17, column 13: firmware: expected true or false, found null"},
        RefusedFactsRow{
            "Items", R"({"installed_items":[["a","1"],["b"]]})",
            "line 17, column 31: installed_items[1]: expected a name and a version, found fewer"},
        RefusedFactsRow{
            "ThreeTexts", R"({"installed_items":[["a","1","2"]]})",
            "line 17, column 21: installed_items[0]: expected a name and a version, found more"},
        RefusedFactsRow{"Ids", R"({"hardware_ids":["a",1]})",
                        "line 17, column 22: hardware_ids[1]: expected a string, found a number"},
        RefusedFactsRow{
            "Hive", R"({"registry":{"HKCR\\a":{}}})",
            "line 17, column 24: registry[\"HKCR\\a\"]: expected a key that begins with "
            "HKLM\\ or HKCU\\"},
        RefusedFactsRow{
            "Value", R"({"registry":{"HKLM\\a":{"b":1}}})",
            "line 17, column 29: registry[\"HKLM\\a\"].b: expected a string or null, found "
            "a number"}),
    yox_test::RowName());

TEST(FactsJson, WritesWhatWasRead) { EXPECT_EQ(FactsJson(ReadFacts(kWhole)), kWhole); }

TEST(FactsJson, AnonymousNamesNobodyAndDecidesTheSame) {
  const FactsRecord named = ReadFacts(kWhole);
  const std::string text = FactsJson(named, Anonymity::kAnonymous);
  EXPECT_EQ(text.find("C0FFEE12"), std::string::npos);
  EXPECT_EQ(text.find("\"realm\""), std::string::npos);
  const FactsRecord anonymous = ReadFacts(text);
  for (const FilterField field : {FilterField::sn_hash, FilterField::org_hash}) {
    EXPECT_EQ(anonymous.text(field).value, named.text(field).value);
  }
  EXPECT_EQ(anonymous.rollout_bucket.value, named.rollout_bucket.value);
  EXPECT_EQ(anonymous.organisation_bucket.value, named.organisation_bucket.value);
  EXPECT_EQ(FactsJson(anonymous), text);
}

// A hole in the table would write a fact that the reader does not read.
TEST(FactsJson, EveryKeyOfTheTableIsWrittenAndRead) {
  const FactsRecord named = ReadFacts(kWhole);
  const std::string documents = FactsJson(named) + FactsJson(named, Anonymity::kAnonymous) +
                                FactsJson(ReadFacts(R"({"firmware":false})"));
  for (std::size_t i = 0; i < kFacts.size(); ++i) {
    const bool is_written =
        documents.find("\"" + std::string(kFacts[i].name) + "\":") != std::string::npos;
    EXPECT_EQ(is_written, kFacts[i].form != FactForm::kOfTheQuestion) << kFacts[i].name;
  }
}

TEST(FactsDocuments, TheSchemaAndThePageHaveEveryKey) {
  std::vector<std::string> keys(kDocumentKeys.begin(), kDocumentKeys.end());
  std::ranges::sort(keys);
  EXPECT_EQ(yox_test::SchemaPaths("schemas/facts.schema.json"), keys);
  const std::string page = yox_test::CheckoutFile("docs/facts.md");
  for (const std::string_view key : kDocumentKeys) {
    EXPECT_NE(page.find("`" + std::string(key) + "`"), std::string::npos) << key;
  }
}

// What a verdict says it needs is a key that a document can have.
TEST(Facts, EveryCriterionNeedsAKey) {
  for (const Criterion& criterion : kCriteria) {
    const bool is_key = FactOfKey(NameOf(criterion.fact)).has_value();
    EXPECT_EQ(is_key, criterion.field != FilterField::target_version) << criterion.name();
    if (criterion.language != Language::kText) continue;
    const FactForm form = FormOf(criterion.fact);
    if (form == FactForm::kText || form == FactForm::kFirmwareText) {
      EXPECT_EQ(FieldOf(criterion.fact), criterion.field) << criterion.name();
    }
  }
}

// Giving the facts that an undetermined verdict names settles it.
TEST(Facts, TheNamedNeedsSettleAVerdict) {
  const auto list =
      ReadFilterDocument(R"([{"country":"DE","tag":"Ring|pilot","registry":"HKLM\\A:B|c"}])")
          .snapshot();
  const Question question{0};
  const auto verdict = [&](const std::string& document) {
    const PreparedDevice device(ReadFacts(document));
    PreparedFacts facts(device, question);
    return Decide(*list, facts);
  };
  EXPECT_EQ(verdict("{}").needs,
            (std::vector<std::string>{"country", "registry.HKLM\\A.B", "tags.Ring"}));
  EXPECT_EQ(verdict(R"({"country":"DE","tags":{"ring":"pilot"},"registry":{"hklm\\a":{"b":"c"}}})")
                .applies,
            Truth::kTrue);
  EXPECT_EQ(
      verdict(R"({"country":"DE","tags":{"ring":"pilot"},"registry":{"HKLM\\A\\":{"B":null}}})")
          .applies,
      Truth::kFalse);
}

}  // namespace
}  // namespace yox::decision
