#include <gtest/gtest.h>

#include <string>

#include "yox/facts/FactsLine.h"
#include "yox/facts/FastParser.h"
#include "yox/facts/LineValues.h"

#include "tests/support/Rows.h"

namespace yox::facts {
namespace {

struct FastRow {
  const char* name;
  std::string document;
  bool is_taken;
};

class FastParserRows : public ::testing::TestWithParam<FastRow> {};

// What it does not take is read by the strict parser: no mistake, but slow.
TEST_P(FastParserRows, TakesOrdinaryDocuments) {
  FastParser parser;
  LineValues values;
  for (const char after : {' ', '}', ',', '"'}) {
    values.Clear();
    const std::string padded = GetParam().document + std::string(FactsLine::kPadding, after);
    const auto document = std::string_view(padded).substr(0, GetParam().document.size());
    EXPECT_EQ(parser.Read(document, values), GetParam().is_taken) << after;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FastParserRows,
    ::testing::Values(
        FastRow{"Nothing", "{}", true},
        FastRow{"TheMain", R"({"id":"a","country":"DE","tags":{"a":"\u00e9 \\u"},"os":null})",
                true},
        FastRow{"Carriage", "{\"id\":\"a\"}\r", true},
        FastRow{"Lists", R"({"installed_items":[["a","1"]],"registry":{"HKLM\\a":{"b":null}}})",
                true},
        FastRow{"WhiteSpace", "{\r\n\t\"id\" : \"a\" , \"tags\" : { \"a\" : \"b\" } }\n", true},
        FastRow{"EveryEscape", R"({"id":"\"\\\/\b\f\n\r\t\u00e9"})", true},
        FastRow{"Bucket", R"({"rollout_bucket":4095})", true},
        FastRow{"UnknownEscape", R"({"id":"\x"})", false},
        FastRow{"ShortEscape", R"({"id":"\u00e"})", false},
        FastRow{"AWordAndAString", R"({"country":null"a"})", false},
        FastRow{"TwoStrings", R"({"country":"a""b"})", false},
        FastRow{"TwoCommas", R"({"country":"a",,"language":"b"})", false},
        FastRow{"ACommaAtTheEnd", R"({"country":"a",})", false},
        FastRow{"NoColon", R"({"country" "a"})", false},
        FastRow{"NoEnd", R"({"country":"a")", false},
        FastRow{"NoEndAfterAnObject", R"({"tags":{"a":"b"})", false},
        FastRow{"NoEndAfterAnEmptyObject", R"({"tags":{})", false},
        FastRow{"NoEndOfAList", R"({"hardware_ids":["a"})", false},
        FastRow{"NoValue", R"({"country":})", false},
        FastRow{"TooManyEnds", R"({"tags":{}}})", false},
        FastRow{"AnotherDocument", R"({}{})", false},
        FastRow{"TheWrongBracket", R"({"tags":{]})", false},
        FastRow{"AControlCharacter", "{\"firmware\":false\x01}", false},
        FastRow{"ALeadingZero", R"({"rollout_bucket":007})", false},
        FastRow{"SurrogatePair", R"({"id":"\ud83d\ude00"})", false},
        FastRow{"RepeatedName", R"({"tags":{"a":"1","a":"2"}})", false},
        FastRow{"UnknownKey", R"({"county":"DE"})", false},
        FastRow{"WrongKind", R"({"country":1})", false}),
    yox_test::RowName());

}  // namespace
}  // namespace yox::facts
