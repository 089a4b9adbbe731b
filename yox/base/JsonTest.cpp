#include <gtest/gtest.h>

#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"

#include "tests/support/Rows.h"

namespace yox {
namespace {

Json::Value Sample() {
  Json::Value document;
  document["town"] = "Z\xC3\xBCrich";
  document["list"].append(1);
  document["list"].append(true);
  document["empty"] = Json::Value(Json::objectValue);
  return document;
}

TEST(JsonText, IsReadableByDefault) {
  EXPECT_EQ(JsonText(Sample()),
            "{\n"
            "  \"empty\" : {},\n"
            "  \"list\" : \n"
            "  [\n"
            "    1,\n"
            "    true\n"
            "  ],\n"
            "  \"town\" : \"Z\xC3\xBCrich\"\n"
            "}\n");
}

TEST(JsonText, FitsOnOneLine) {
  EXPECT_EQ(JsonText(Sample(), JsonStyle::kReadableLine),
            "{\"empty\":{},\"list\":[1,true],\"town\":\"Z\xC3\xBCrich\"}\n");
}

TEST(JsonText, OfStoredDocumentsIsAscii) {
  EXPECT_EQ(JsonText(Sample(), JsonStyle::kCompact),
            "{\"empty\":{},\"list\":[1,true],\"town\":\"Z\\u00fcrich\"}");
  EXPECT_EQ(JsonText(Sample(), JsonStyle::kTabbed),
            "{\n"
            "\t\"empty\" : {},\n"
            "\t\"list\" : \n"
            "\t[\n"
            "\t\t1,\n"
            "\t\ttrue\n"
            "\t],\n"
            "\t\"town\" : \"Z\\u00fcrich\"\n"
            "}");
}

TEST(JsonText, EscapesWhatATerminalObeysAndReadsBackTheSame) {
  const std::string text = "a\x1b[31m\nb\x7f\xC2\x9B\xE2\x80\xAE\xE2\x80\xA8\xF3\xA0\x81\x81\\";
  Json::Value document;
  document[text] = text;
  for (const JsonStyle style : {JsonStyle::kReadable, JsonStyle::kReadableLine}) {
    const std::string json = JsonText(document, style);
    EXPECT_EQ(ParseDocument(json), document);
    EXPECT_EQ(json.find_first_of("\x1b\x7f\x9b"), std::string::npos);
    EXPECT_NE(json.find("b\\u007f\\u009b\\u202e\\u2028\\udb40\\udc41\\\\\""), std::string::npos);
  }
}

TEST(JsonText, ReplacesBytesThatAreNoUtf8) {
  EXPECT_EQ(JsonText(Json::Value("a\xFFz")), "\"a\xEF\xBF\xBDz\"\n");
}

struct LenientRow {
  const char* name;
  std::string text;
  bool read;
};

class LenientJson : public testing::TestWithParam<LenientRow> {};

TEST_P(LenientJson, ReadsWhatJsonCppReads) {
  EXPECT_EQ(ParseLenientJson(GetParam().text).has_value(), GetParam().read);
}

INSTANTIATE_TEST_SUITE_P(Rows, LenientJson,
                         testing::Values(LenientRow{"Object", "{\"a\": 1}", true},
                                         LenientRow{"Null", "null", true},
                                         LenientRow{"Comment", "{\"a\": /* b */ 1} // c", true},
                                         LenientRow{"TrailingComma", "[1,]", true},
                                         LenientRow{"TextAfterIt", "{} x", true},
                                         LenientRow{"Empty", "", false},
                                         LenientRow{"PlainText", "hello", false},
                                         LenientRow{"CutObject", "{\"a\": 1", false},
                                         LenientRow{"SingleQuotes", "{'a': 1}", false}),
                         yox_test::RowName());

TEST(ParseLenientJson, KeepsTheLastOfARepeatedKey) {
  const auto document = ParseLenientJson(R"({"a": 1, "a": 2})");
  ASSERT_TRUE(document);
  EXPECT_EQ((*document)["a"], Json::Value(2));
}

TEST(ParseLenientJson, ThrowsForDeepNesting) {
  EXPECT_TRUE(ParseLenientJson(std::string(900, '[') + std::string(900, ']')));
  EXPECT_THROW(ParseLenientJson(std::string(1001, '[')), Json::Exception);
}

TEST(ParseLenientJson, ReadsUtf16) {
  const auto document = ParseLenientJson("{\"a\": \"Z\xC3\xBCrich\"}"_wv);
  ASSERT_TRUE(document);
  EXPECT_EQ(ToText((*document)["a"]), "Z\xC3\xBCrich"_w);
}

TEST(ToText, ConvertsNumbersAndBooleans) {
  EXPECT_EQ(ToText(Json::Value(15)), "15"_w);
  EXPECT_EQ(ToText(Json::Value(true)), "true"_w);
  EXPECT_EQ(ToText(Json::Value()), ""_w);
  EXPECT_THROW(ToText(Json::Value(Json::arrayValue)), Json::Exception);
}

}  // namespace
}  // namespace yox
