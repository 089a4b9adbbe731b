#include <gtest/gtest.h>

#include <algorithm>

#include "yox/decision/Criteria.h"
#include "yox/decision/FilterDocument.h"

#include "tests/support/Rows.h"
#include "tests/support/SchemaPaths.h"

namespace yox::decision {
namespace {

TEST(ReadFilterDocument, TakesAnObjectOrABareArray) {
  for (const char* document : {R"({"filters": [{"country": "US,CA"}, {"default": "false"}]})",
                               R"([{"country": "US,CA"}, {"default": "false"}])"}) {
    const ApplicabilityFilter::List filters = ReadFilterDocument(document).filters();
    ASSERT_EQ(filters.size(), 2U);
    EXPECT_EQ(filters[0].country(), "US,CA"_w);
    EXPECT_EQ(filters[0].default_(), ""_w);
    EXPECT_EQ(filters[1].default_(), "false"_w);
  }
}

TEST(ReadFilterDocument, TakesAnEmptyListAndEmptyFilters) {
  EXPECT_TRUE(ReadFilterDocument("[]").filters().empty());
  EXPECT_EQ(ReadFilterDocument("[{}, {\"os\": \"\"}]").filters().size(), 2U);
}

TEST(ReadFilterDocument, EveryFieldHasItsKey) {
  for (std::size_t i = 0; i < kFilterFieldCount; ++i) {
    const std::string name(kFilterFieldNames[i]);
    const auto field = static_cast<FilterField>(i);
    const std::string document = R"([{")" + name + R"(": "te\u0000x\u00e9"}])";
    const ApplicabilityFilter filter = ReadFilterDocument(document);
    for (std::size_t other = 0; other < kFilterFieldCount; ++other) {
      EXPECT_EQ(filter.filters()[0].View(static_cast<FilterField>(other)),
                other == i ? yox::WString("te"_w) + yox::WChar{0} + "x\u00e9"_w : ""_w)
          << name;
    }
    EXPECT_EQ(ReadFilterDocument(WriteFilterDocument(filter)).filters()[0].View(field),
              filter.filters()[0].View(field));
  }
}

TEST(WriteFilterDocument, LeavesEmptyFieldsOut) {
  Filter filter;
  filter.set_value("true"_w);
  filter.set_country(" "_w);
  EXPECT_EQ(WriteFilterDocument(ApplicabilityFilter({filter, Filter()})), R"({
  "filters" : 
  [
    {
      "country" : " ",
      "value" : "true"
    },
    {}
  ]
}
)");
}

TEST(FilterListDocuments, MayHaveASchemaAndComments) {
  const ApplicabilityFilter list = ReadFilterDocument(R"({"$schema": "a", "comment": ["b", "c"],
      "filters": [{"comment": "d", "country": "US"}]})");
  ASSERT_EQ(list.filters().size(), 1U);
  EXPECT_EQ(list.filters()[0].criteria(), 1U);
}

// Returns the line and column of the error.
std::string PlaceOfError(std::string_view document) {
  try {
    ReadFilterDocument(document);
  } catch (const yox::DocumentError& error) {
    return std::string(error.what()).substr(0, std::string(error.what()).find(": "));
  }
  return "no error";
}

TEST(FilterListDocuments, AnErrorHasTheLineAndColumnOfTheKeyOrValue) {
  EXPECT_EQ(PlaceOfError("[{\"country\":\n \"US\"},\n {\"\u00e4\\\"\" : \"x\"}]"),
            "line 3, column 3");
  EXPECT_EQ(PlaceOfError("[{\"country\":\n  7}]"), "line 2, column 3");
  EXPECT_EQ(PlaceOfError("{\"filters\": [],\n\"a:b\": {\"c\": 1}}"), "line 2, column 1");
  EXPECT_EQ(PlaceOfError("[{\"comment\": [\"a\", 1]}]"), "line 1, column 20");
  EXPECT_EQ(PlaceOfError("[{\"$schema\": \"a\"}]"), "line 1, column 3");
}

TEST(FilterListDocuments, TheSchemaHasTheFieldsOfAFilter) {
  std::vector<std::string> expected = {"filters"};
  for (const std::string_view name : kFilterFieldNames) {
    expected.push_back("[*]." + std::string(name));
    expected.push_back("filters[*]." + std::string(name));
  }
  std::ranges::sort(expected);
  EXPECT_EQ(yox_test::SchemaPaths("schemas/filter-list.schema.json"), expected);
}

TEST(FilterListDocuments, ThePageNamesTheCriteriaInTheOrderOfEvaluation) {
  const std::string page = yox_test::CheckoutFile("docs/filter-list.md");
  std::size_t last = 0;
  for (const Criterion& criterion : kCriteria) {
    const std::size_t row = page.find("\n| `" + std::string(criterion.name()) + "` |");
    ASSERT_NE(row, std::string::npos) << criterion.name();
    EXPECT_LT(last, row) << criterion.name();
    last = row;
  }
}

TEST(FilterListDocuments, TheExamplesAreRead) {
  for (const char* name : {"editor-8", "firmware-1.36", "pilot-ring"}) {
    const std::string document =
        yox_test::CheckoutFile("examples/lists/" + std::string(name) + ".json");
    EXPECT_GE(ReadFilterDocument(document).filters().size(), 2U) << name;
  }
}

struct RefusedFilterRow {
  const char* name;
  const char* document;
  const char* error;
};

class RefusedFilterDocument : public testing::TestWithParam<RefusedFilterRow> {};

TEST_P(RefusedFilterDocument, NamesTheFilterAndTheKey) {
  try {
    ReadFilterDocument(GetParam().document);
    FAIL() << "was read";
  } catch (const yox::DocumentError& error) {
    EXPECT_EQ(error.message(), GetParam().error);
    EXPECT_TRUE(error.place());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedFilterDocument,
    testing::Values(
        RefusedFilterRow{"Text", R"("filters")", "expected an object or an array, found a string"},
        RefusedFilterRow{"NoFilters", "{}", "the key \"filters\" is missing"},
        RefusedFilterRow{"NoList", R"({"filters": {}})",
                         "filters: expected an array, found an object"},
        RefusedFilterRow{"OtherKeyBeside", R"({"filters": [], "version": 1})",
                         "version: unknown key"},
        RefusedFilterRow{"FilterIsNoObject", R"({"filters": [{}, "US"]})",
                         "filters[1]: expected an object, found a string"},
        RefusedFilterRow{"UnknownKey", R"({"filters": [{}, {}, {"contry": "US"}]})",
                         "filters[2].contry: unknown key (did you mean \"country\"?)"},
        RefusedFilterRow{"UnknownKeyInBareArray", R"([{"Country": "US"}])",
                         "[0].Country: unknown key (did you mean \"country\"?)"},
        RefusedFilterRow{"Number", R"({"filters": [{"version": 4}]})",
                         "filters[0].version: expected a string, found a number"},
        RefusedFilterRow{"Boolean", R"({"filters": [{"value": true}]})",
                         "filters[0].value: expected a string, found true"},
        RefusedFilterRow{"List", R"([{"country": ["US"]}])",
                         "[0].country: expected a string, found an array"},
        RefusedFilterRow{"Null", R"([{"country": null}])",
                         "[0].country: expected a string, found null"},
        RefusedFilterRow{"KeyTwice", R"([{"country": "US", "country": "CA"}])",
                         "the key \"country\" is given twice"},
        RefusedFilterRow{"NoJson", "country=US", "expected a value, found \"country\""}),
    yox_test::RowName());

}  // namespace
}  // namespace yox::decision
