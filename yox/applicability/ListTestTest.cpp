#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "yox/applicability/DeviceOfCase.h"
#include "yox/base/String.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/ListTest.h"

#include "tests/support/Rows.h"
#include "tests/support/SchemaPaths.h"

namespace {

using yox::decision::Truth;
using namespace yox::literals;
using namespace yox::applicability;
using namespace yox::decision;

TEST(ListTestDocuments, TheSchemaHasTheReadersKeys) {
  std::vector<std::string> paths = ListTestPaths();
  std::ranges::sort(paths);
  EXPECT_EQ(yox_test::SchemaPaths("schemas/list-test.schema.json"), paths);
}

TEST(ListTestDocuments, ThePageNamesEveryKey) {
  const std::string page = yox_test::CheckoutFile("docs/list-tests.md");
  for (const std::string& path : ListTestPaths()) {
    const std::string key = path.substr(path.rfind('.') + 1);
    EXPECT_NE(page.find("| `" + key + "` |"), std::string::npos) << path;
  }
}

TEST(ListTestDocuments, TheExampleIsRead) {
  const ListTest test = ReadListTest(yox_test::CheckoutFile("examples/lists/editor-8.test.json"));
  EXPECT_EQ(test.cases.size(), 5U);
  for (const ListTestCase& one : test.cases) {
    const std::string profile =
        yox_test::CheckoutFile("examples/lists/" + YOX::String::UTF16ToUTF8(one.profile));
    EXPECT_FALSE(DeviceOfCase(one, profile).os.version.empty());
  }
}

TEST(ListTestDocuments, EveryKeyIsRead) {
  const ListTest test = ReadListTest(R"({"list": "a.json", "cases": [{"applies": false}, {
      "name": "second", "profile": "b.json", "changes": {"os": null}, "now": "2026-03-01T12:00:00",
      "target_version": "", "tags": {"Ring": "beta"}, "applies": true, "decided_by": 3}]})");
  EXPECT_EQ(test.list, "a.json"_w);
  ASSERT_EQ(test.cases.size(), 2U);
  EXPECT_EQ(test.cases[0].applies, Truth::kFalse);
  EXPECT_EQ(test.cases[0].target_version, std::nullopt);
  EXPECT_EQ(test.cases[0].decided_by, std::nullopt);
  EXPECT_EQ(test.cases[0].changes, std::nullopt);
  const ListTestCase& second = test.cases[1];
  EXPECT_EQ(second.name, "second"_w);
  EXPECT_EQ(second.profile, "b.json"_w);
  EXPECT_TRUE(second.changes.has_value());
  EXPECT_EQ(second.now, "2026-03-01T12:00:00"_w);
  EXPECT_EQ(second.target_version, ""_w);
  EXPECT_EQ(second.tags.at("Ring"_w), "beta"_w);
  EXPECT_EQ(second.applies, Truth::kTrue);
  EXPECT_EQ(second.decided_by, 3U);
}

TEST(ListTestFactsOfCase, AreTheTextOfTheDocumentOrOfAFile) {
  const std::string document = R"({"cases": [
    {"applies": null, "facts": {"tags": {"Ring": "beta", "Alpha": "a"}}},
    {"applies": true, "facts": "a.json"},
    {"applies": true, "facts": {
       "country": 1}}]})";
  const ListTest test = ReadListTest(document);
  EXPECT_EQ(test.cases[0].applies, Truth::kUnknown);
  const auto facts = FactsOfCase(test.cases[0], {});
  ASSERT_EQ(facts.tags->size(), 2U);
  EXPECT_EQ(facts.tags->front().key(), "Ring"_w) << "in the order in which they are written";
  EXPECT_EQ(test.cases[1].facts->file, "a.json"_w);
  EXPECT_EQ(FactsOfCase(test.cases[1], R"({"id":"x"})").id, "x");
  try {
    FactsOfCase(test.cases[2], {});
    FAIL() << "was read";
  } catch (const yox::DocumentError& error) {
    EXPECT_EQ(error.place()->line, 5U);
    EXPECT_EQ(error.message(), "country: expected a string or null, found a number");
  }
}

TEST(ListTestDevice, ChangesAreMergedAndTheTimeComesLast) {
  const ListTest test = ReadListTest(R"({"cases": [{"applies": true, "now": "2027-01-02T03:04:05",
      "changes": {"region": {"country_code": "DE"}, "firmware": null, "devices": [],
                  "clock": {"now": "2026-01-01T00:00:00", "time_zone": "+02:00"}}}]})");
  const auto device = DeviceOfCase(test.cases[0], R"({
      "region": {"country_code": "US", "language_code": "en-US"}, "firmware": {"sku": "X"},
      "devices": [{"instance_id": "A\\1", "hardware_ids": ["B"]}], "client": {"version": "1.0"}})");
  EXPECT_EQ(device.region.country_code, "DE"_w);
  EXPECT_EQ(device.region.language_code, "en-US"_w);
  EXPECT_FALSE(device.firmware.has_value());
  EXPECT_TRUE(device.devices.empty());
  EXPECT_EQ(device.client.version, "1.0"_w);
  ASSERT_TRUE(device.clock && device.clock->now);
  EXPECT_EQ(device.clock->now->date.year, 2027);
  EXPECT_EQ(device.clock->time_zone.text, "+02:00"_w);
}

TEST(ListTestDevice, WithoutChangesIsThatOfTheProfile) {
  const ListTest test = ReadListTest(
      R"({"cases": [{"applies": true}, {"applies": true, "now": "2027-01-02T03:04:05"},
                    {"applies": true, "changes": {"region": null, "firmware": {"sku": {}}}}]})");
  const auto* const profile = R"({"region": {"country_code": "US"}})";
  EXPECT_EQ(DeviceOfCase(test.cases[0], profile).region.country_code, "US"_w);
  const auto at_a_time = DeviceOfCase(test.cases[1], profile);
  EXPECT_EQ(at_a_time.region.country_code, "US"_w);
  EXPECT_EQ(at_a_time.clock->now->date.year, 2027);
  EXPECT_THROW(DeviceOfCase(test.cases[2], profile), yox::DocumentError);
}

struct ListRefusalRow {
  const char* name;
  const char* document;
  const char* error;
};

class RefusedListTest : public testing::TestWithParam<ListRefusalRow> {};

TEST_P(RefusedListTest, NamesThePlace) {
  try {
    ReadListTest(GetParam().document);
    FAIL() << "was read";
  } catch (const yox::DocumentError& error) {
    EXPECT_EQ(error.message(), GetParam().error);
    EXPECT_TRUE(error.place());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedListTest,
    testing::Values(
        ListRefusalRow{"NoObject", "[]", "expected an object, found an array"},
        ListRefusalRow{"NoCases", "{}", "there are no cases"},
        ListRefusalRow{"EmptyCases", R"({"cases": []})", "there are no cases"},
        ListRefusalRow{"UnknownKey", R"({"cases": [{"applies": true, "profil": ""}]})",
                       "cases[0].profil: unknown key (did you mean \"profile\"?)"},
        ListRefusalRow{"NoAnswer", R"({"cases": [{"applies": true}, {}]})",
                       "cases[1]: the key \"applies\" is missing"},
        ListRefusalRow{"AnswerIsNoAnswer", R"({"cases": [{"applies": "yes"}]})",
                       "cases[0].applies: expected true, false or null, found a string"},
        ListRefusalRow{"FactsAndProfile",
                       R"({"cases": [{"applies": true, "facts": {}, "profile": "a"}]})",
                       "cases[0]: expected \"facts\" or a profile with its changes, found "
                       "both"},
        ListRefusalRow{"Facts", R"({"cases": [{"applies": true, "facts": []}]})",
                       "cases[0].facts: expected a string or an object, found an array"},
        ListRefusalRow{"NoIndex", R"({"cases": [{"applies": true, "decided_by": -1}]})",
                       "cases[0].decided_by: expected a whole number from 0 to 4294967295"},
        ListRefusalRow{"Tags", R"({"cases": [{"applies": true, "tags": {"a": 1}}]})",
                       "cases[0].tags.a: expected a string, found a number"},
        ListRefusalRow{"Changes", R"({"cases": [{"applies": true, "changes": []}]})",
                       "cases[0].changes: expected an object, found an array"},
        ListRefusalRow{"KeyTwice", R"({"cases": [], "cases": []})",
                       "the key \"cases\" is given twice"}),
    yox_test::RowName());

struct DeviceRefusalRow {
  const char* name;
  const char* test;
  const char* profile;
  const char* error;
};

class RefusedDeviceOfCase : public testing::TestWithParam<DeviceRefusalRow> {};

TEST_P(RefusedDeviceOfCase, NamesTheKeyToBlame) {
  const ListTest test =
      ReadListTest(R"({"cases": [{"applies": true, )" + std::string(GetParam().test) + "}]}");
  try {
    DeviceOfCase(test.cases[0], GetParam().profile);
    FAIL() << "was read";
  } catch (const yox::DocumentError& error) {
    EXPECT_STREQ(error.what(), GetParam().error);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedDeviceOfCase,
    testing::Values(DeviceRefusalRow{"Profile", R"("name": "")", R"({"country": "US"})",
                                     "profile: line 1, column 2: country: unknown key"},
                    DeviceRefusalRow{"Changes", R"("changes": {"region": {"country": "US"}})", "{}",
                                     "changes: region.country: unknown key"},
                    DeviceRefusalRow{"Now", R"("now": "noon")", "{}",
                                     "now: clock.now: expected a local time YYYY-MM-DDThh:mm:ss"}),
    yox_test::RowName());

}  // namespace
