#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include "yox/base/JsonFields.h"
#include "yox/base/StrictJson.h"
#include "yox/base/String.h"

#include "tests/support/Rows.h"
#include "tests/support/TemporaryFolder.h"

namespace yox {
namespace {

std::string ErrorOf(const std::function<void()>& act) {
  try {
    act();
  } catch (const DocumentError& error) {
    return error.what();
  }
  return "no error";
}

struct RefusalRow {
  const char* name;
  std::string text;
  std::string error;
};

class MalformedDocument : public testing::TestWithParam<RefusalRow> {};

TEST_P(MalformedDocument, IsRefusedWithItsPlace) {
  EXPECT_EQ(ErrorOf([] { ParseDocument(GetParam().text); }), GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    , MalformedDocument,
    testing::Values(
        RefusalRow{"Empty", "", "line 1, column 1: Syntax error: value, object or array expected"},
        RefusalRow{"NoJson", "hello",
                   "line 1, column 1: Syntax error: value, object or array expected"},
        RefusalRow{"Comment", "{} // done",
                   "line 1, column 4: Extra non-whitespace after JSON value"},
        RefusalRow{"TrailingComma", "[1,\n 2,]",
                   "line 2, column 4: Syntax error: value, object or array expected"},
        RefusalRow{"TrailingCommaInObject", "{\"a\": 1,}",
                   "line 1, column 9: Missing '}' or object member name"},
        RefusalRow{"MissingComma", "{\"a\": 1\n \"b\": 2}",
                   "line 2, column 2: Missing ',' or '}' in object declaration"},
        RefusalRow{"TwoValues", "{} {}", "line 1, column 4: Extra non-whitespace after JSON value"},
        RefusalRow{"SameKeyTwice", R"({"a": 1, "a": 2})", "line 1, column 10: Duplicate key: 'a'"},
        RefusalRow{"SingleQuotes", "{'a': 1}",
                   "line 1, column 2: Missing '}' or object member name"},
        RefusalRow{"NotANumber", "[NaN]",
                   "line 1, column 2: Syntax error: value, object or array expected"},
        RefusalRow{"LeadingZero", "[1, 01]", "line 1, column 5: a malformed number"},
        RefusalRow{"MinusAlone", "[-]", "line 1, column 2: a malformed number"},
        RefusalRow{"NoFraction", "[1.]", "line 1, column 2: a malformed number"},
        RefusalRow{"NoExponent", "[1e+]", "line 1, column 2: a malformed number"},
        RefusalRow{"EndlessText", "[\"a", "line 1, column 4: a text without an end"},
        RefusalRow{"LineBreakInText", "[\"a\nb\"]",
                   "line 1, column 4: a control character in a text"},
        RefusalRow{"HalfAPair", R"(["\ud83d"])", "line 1, column 3: half of a surrogate pair"},
        RefusalRow{"WrongHalf", R"(["\ud83d\u0041"])",
                   "line 1, column 3: half of a surrogate pair"},
        RefusalRow{"SecondHalf", R"(["\ude00"])", "line 1, column 3: half of a surrogate pair"},
        RefusalRow{"BadEscape", R"(["\u00g0"])", "line 1, column 3: a malformed escape"},
        RefusalRow{"BadByte", "{\"a\":\n \"\xC3\xA9\xFF\"}",
                   "line 2, column 4: not well-formed UTF-8"},
        RefusalRow{"Surrogate", "\"\xED\xA0\x80\"", "line 1, column 2: not well-formed UTF-8"}),
    yox_test::RowName());

// Not rows: rows are made by every test's process.
TEST(ParseDocument, RefusesWhatIsTooDeepOrTooLong) {
  EXPECT_EQ(ErrorOf([] { ParseDocument(std::string(100'000, '[')); }),
            "line 1, column 65: deeper than 64 values");
  EXPECT_EQ(ErrorOf([] { ParseDocument(std::string(kMaxDocumentSize + 1, ' ')); }),
            "longer than 4 MiB");
}

TEST(ParseDocument, ReadsEveryKindOfValue) {
  const Json::Value document = ParseDocument(
      R"( {"text": "\u00e9\ud83d\ude00\n\u0000", "number": -1.5e2, "whole": 18446744073709551615,
           "yes": true, "nothing": null, "list": [[], {}], "deep": [[[[]]]]} )");
  EXPECT_EQ(document["text"].asString(), std::string("\xC3\xA9\xF0\x9F\x98\x80\n\0", 8));
  EXPECT_EQ(document["number"].asDouble(), -150.0);
  EXPECT_EQ(document["whole"].asUInt64(), 18446744073709551615U);
  EXPECT_TRUE(document["yes"].asBool());
  EXPECT_TRUE(document["nothing"].isNull());
  EXPECT_EQ(document["list"].size(), 2U);
}

TEST(ParseDocument, GoesSixtyFourValuesDeep) {
  const std::string document = std::string(64, '[') + std::string(64, ']');
  EXPECT_TRUE(ParseDocument(document).isArray());
  EXPECT_EQ(ErrorOf([&] { ParseDocument("[" + document + "]"); }),
            "line 1, column 65: deeper than 64 values");
}

class DocumentFile : public testing::Test {
 protected:
  std::filesystem::path Write(const std::string& bytes) {
    const std::filesystem::path file = folder_.path() / "document.json";
    std::ofstream(file, std::ios::binary) << bytes;
    return file;
  }

  yox_test::TemporaryFolder folder_;
};

TEST_F(DocumentFile, IsReadWithoutItsByteOrderMark) {
  EXPECT_EQ(ReadDocumentFile(Write("\xEF\xBB\xBF{}\r\n")), "{}\r\n");
}

TEST_F(DocumentFile, MayHaveTheLargestSize) {
  EXPECT_EQ(ReadDocumentFile(Write(std::string(kMaxDocumentSize, ' '))).size(), kMaxDocumentSize);
}

TEST_F(DocumentFile, IsRefusedByItsSizeAlone) {
  const std::filesystem::path file = Write("{}");
  std::filesystem::resize_file(file, std::uintmax_t{100} << 20);
  EXPECT_EQ(ErrorOf([&] { ReadDocumentFile(file); }), "longer than 4 MiB");
}

TEST_F(DocumentFile, MustBeThere) {
  EXPECT_EQ(ErrorOf([&] { ReadDocumentFile(folder_.path() / "absent.json"); }), "no such file");
  EXPECT_EQ(ErrorOf([&] { ReadDocumentFile(folder_.path() / "absent" / "a.json"); }),
            "no such file");
}

TEST_F(DocumentFile, MustNotBeADirectory) {
  EXPECT_EQ(ErrorOf([&] { ReadDocumentFile(folder_.path()); }), "is a directory");
}

struct Part {
  WString name;
  std::uint8_t count = 1;
  std::optional<bool> good;
};

struct Whole {
  std::vector<Part> parts;
  std::map<WString, std::int64_t> sizes;
};

}  // namespace

template <>
struct JsonFields<Part> {
  static constexpr std::tuple kTable{JsonField{"name", &Part::name},
                                     JsonField{"count", &Part::count},
                                     JsonField{"good", &Part::good}};
};

template <>
struct JsonFields<Whole> {
  static constexpr std::tuple kTable{JsonField{"parts", &Whole::parts},
                                     JsonField{"sizes", &Whole::sizes}};
};

namespace {

Whole ReadWhole(std::string_view text) {
  const Json::Value document = ParseDocument(text);
  Whole whole;
  ReadJson(JsonNode(document), whole);
  return whole;
}

TEST(RecordTable, ReadsWhatIsThereAndKeepsTheRest) {
  const Whole whole = ReadWhole(
      R"({"parts": [{"name": "\u00e9", "count": 255}, {"good": false}], "sizes": {"a": -1}})");
  ASSERT_EQ(whole.parts.size(), 2U);
  EXPECT_EQ(whole.parts[0].name, "\u00e9"_w);
  EXPECT_EQ(whole.parts[0].count, 255);
  EXPECT_EQ(whole.parts[0].good, std::nullopt);
  EXPECT_EQ(whole.parts[1].count, 1);
  EXPECT_EQ(whole.parts[1].good, false);
  EXPECT_EQ(whole.sizes.at("a"_w), -1);
}

TEST(RecordTable, WritesOnlyWhatDiffersFromAFreshRecord) {
  const std::string_view text =
      R"({"parts":[{},{"count":0,"good":false,"name":"x"}],"sizes":{"a":5}})";
  EXPECT_EQ(WriteJson(ReadWhole(text)).toStyledString(), ParseDocument(text).toStyledString());
  EXPECT_EQ(WriteJson(Whole()), ParseDocument("{}"));
}

TEST(RecordTable, ListsItsKeys) {
  EXPECT_EQ(JsonPaths<Whole>(),
            (std::vector<std::string>{"parts", "parts[*].name", "parts[*].count", "parts[*].good",
                                      "sizes"}));
}

class RefusedRecord : public testing::TestWithParam<RefusalRow> {};

TEST_P(RefusedRecord, IsRefusedWithItsPath) {
  EXPECT_EQ(ErrorOf([] { ReadWhole(GetParam().text); }), GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    , RefusedRecord,
    testing::Values(
        RefusalRow{"WrongRoot", "[]", "expected an object, found an array"},
        RefusalRow{"UnknownKey", R"({"part": []})", "part: unknown key"},
        RefusalRow{"UnknownKeyInside", R"({"parts": [{}, {"colour": ""}]})",
                   "parts[1].colour: unknown key"},
        RefusalRow{"OddKey", R"({"a b\n": []})", R"(["a b\u000a"]: unknown key)"},
        RefusalRow{"WrongKind", R"({"parts": {}})", "parts: expected an array, found an object"},
        RefusalRow{"NumberForText", R"({"parts": [{"name": 1}]})",
                   "parts[0].name: expected a text, found a number"},
        RefusalRow{"NullForText", R"({"parts": [{"name": null}]})",
                   "parts[0].name: expected a text, found null"},
        RefusalRow{"TextForNumber", R"({"parts": [{"count": "1"}]})",
                   "parts[0].count: expected a whole number, found a text"},
        RefusalRow{"BooleanForNumber", R"({"parts": [{"count": true}]})",
                   "parts[0].count: expected a whole number, found true"},
        RefusalRow{"Fraction", R"({"parts": [{"count": 1.5}]})",
                   "parts[0].count: expected a whole number from 0 to 255"},
        RefusalRow{"TooLarge", R"({"parts": [{"count": 256}]})",
                   "parts[0].count: expected a whole number from 0 to 255"},
        RefusalRow{"TooSmall", R"({"parts": [{"count": -1}]})",
                   "parts[0].count: expected a whole number from 0 to 255"},
        RefusalRow{"TooLargeForAll", R"({"sizes": {"a b": 1e30}})",
                   "sizes[\"a b\"]: expected a whole number from -9223372036854775808 to "
                   "9223372036854775807"},
        RefusalRow{"NumberForBoolean", R"({"parts": [{"good": 1}]})",
                   "parts[0].good: expected true or false, found a number"}),
    yox_test::RowName());

TEST(WrittenText, TellsWhereEachUnitStandsInTheDocument) {
  const std::string document = "{\n  \"ä\": \"aé\\n\\u0041\\ud83d\\ude00\xF0\x9F\x98\x80z\"}";
  const Json::Value root = ParseDocument(document);
  const Json::Value& text = root["ä"];
  ASSERT_EQ(String::UTF8ToUTF16(text.asString()).size(), 9U);
  WrittenText written(document, text);
  PlaceFinder places(document);
  std::vector<std::size_t> columns;
  for (const std::size_t unit : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 8U, 9U, 12U}) {
    const DocumentPlace place = places.At(written.ByteOf(unit));
    EXPECT_EQ(place.line, 2U);
    columns.push_back(place.column);
  }
  EXPECT_EQ(columns, (std::vector<std::size_t>{9, 10, 11, 13, 19, 25, 31, 32, 33, 33}));
}

}  // namespace
}  // namespace yox
