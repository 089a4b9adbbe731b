#include <gtest/gtest.h>

#include "yox/base/Document.h"
#include "yox/base/DocumentLayout.h"

#include "tests/support/Rows.h"

namespace yox {
namespace {

struct LayoutRow {
  const char* name;
  std::string text;
  std::string laid_out;
};

class DocumentLayout : public testing::TestWithParam<LayoutRow> {};

TEST_P(DocumentLayout, IsTheRowsAndStays) {
  EXPECT_EQ(LayOutDocument(GetParam().text), GetParam().laid_out);
  EXPECT_EQ(LayOutDocument(GetParam().laid_out), GetParam().laid_out);
}

const std::string kLong(76, 'x');

const LayoutRow kLayouts[] = {
    {"Scalar", " 5 ", "5\n"},
    {"EmptyObject", "{ }", "{}\n"},
    {"EmptyArray", "[\n]", "[]\n"},
    {"OrderOfKeys", R"({"b":1,"a":[ 1,2 ]})", "{\n  \"b\": 1,\n  \"a\": [1, 2]\n}\n"},
    {"ListOfObjects", R"([{"country":"US"},{}])", "[\n  { \"country\": \"US\" },\n  {}\n]\n"},
    {"FiltersOfADocument", R"({"comment":"x","filters":[{"a":"b","c":"d"}]})",
     "{\n  \"comment\": \"x\",\n  \"filters\": [\n    { \"a\": \"b\", \"c\": \"d\" }\n  ]\n}\n"},
    {"StringsAsWritten", R"(["\u00e4\"]{,","Ä"])", "[\"\\u00e4\\\"]{,\", \"Ä\"]\n"},
    {"NumbersAsWritten", "[1.50e+3,-0,true,null]", "[1.50e+3, -0, true, null]\n"},
    {"TooLongForALine", R"([{"a":")" + kLong + R"(","b":"c"}])",
     "[\n  { \"a\": \"" + kLong + "\", \"b\": \"c\" }\n]\n"},
    {"FarTooLongForALine", R"([{"a":")" + kLong + R"(","bb":"cccc"}])",
     "[\n  {\n    \"a\": \"" + kLong + "\",\n    \"bb\": \"cccc\"\n  }\n]\n"},
    {"WideLettersCountOnce", R"([{"a":")" + kLong + R"(","ä":"ö"}])",
     "[\n  { \"a\": \"" + kLong + "\", \"ä\": \"ö\" }\n]\n"},
    {"LettersOfThreeBytesCountOnce", R"([{"a":")" + kLong + R"(","b":"€€"}])",
     "[\n  { \"a\": \"" + kLong + "\", \"b\": \"€€\" }\n]\n"},
};

INSTANTIATE_TEST_SUITE_P(Rows, DocumentLayout, testing::ValuesIn(kLayouts), yox_test::RowName());

TEST(DocumentLayoutTest, ALineIsAtMostAHundredColumnsWithItsComma) {
  // The first element of two is followed by a comma.
  const std::string value(87, 'x');
  const std::string one = "{ \"a\": \"" + value + "\" }";
  ASSERT_EQ(one.size() + 2, kDocumentColumns);
  EXPECT_EQ(LayOutDocument("[" + one + "]"), "[\n  " + one + "\n]\n");
  EXPECT_EQ(LayOutDocument("[" + one + "," + one + "]"),
            "[\n  {\n    \"a\": \"" + value + "\"\n  },\n  " + one + "\n]\n");
}

TEST(DocumentLayoutTest, WhatIsNoDocumentIsRefused) {
  EXPECT_THROW(LayOutDocument("{\"a\": }"), DocumentError);
  EXPECT_THROW(LayOutDocument(""), DocumentError);
}

}  // namespace
}  // namespace yox
