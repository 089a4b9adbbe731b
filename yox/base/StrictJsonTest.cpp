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
    Rows, MalformedDocument,
    testing::Values(
        RefusalRow{"Empty", "",
                   "line 1, column 1: expected a value, found the end of the document"},
        RefusalRow{"WhiteSpace", " \n ",
                   "line 2, column 2: expected a value, found the end of the document"},
        RefusalRow{"NoJson", "hello", "line 1, column 1: expected a value, found \"hello\""},
        RefusalRow{"LongWord", "[tru]", "line 1, column 2: expected a value, found \"tru\""},
        RefusalRow{"WordGoesOn", "[nullx]", "line 1, column 2: expected a value, found \"nullx\""},
        RefusalRow{"CapitalWord", "[True]", "line 1, column 2: expected a value, found \"True\""},
        RefusalRow{"NotANumber", "[NaN]", "line 1, column 2: expected a value, found \"NaN\""},
        RefusalRow{"Infinity", "[-Infinity]", "line 1, column 2: a malformed number"},
        // After the document.
        RefusalRow{"TwoValues", "{} {}",
                   "line 1, column 4: expected the end of the document, found \"{\""},
        RefusalRow{"ZeroAndMore", std::string("{}\0{", 4),
                   "line 1, column 3: expected the end of the document, found \"\\u0000\""},
        RefusalRow{"ZeroAtTheEnd", std::string("{}\0", 3),
                   "line 1, column 3: expected the end of the document, found \"\\u0000\""},
        RefusalRow{"ZeroInside", std::string("[1\0]", 4),
                   "line 1, column 3: expected \",\" or \"]\", found \"\\u0000\""},
        RefusalRow{"ClosedTwice", "[]]",
                   "line 1, column 3: expected the end of the document, found \"]\""},
        RefusalRow{"CommentAfterIt", "{} // done",
                   "line 1, column 4: expected the end of the document, found a comment"},
        // Comments and white space that JSON does not have.
        RefusalRow{"CommentBeforeIt", "/* a */ {}",
                   "line 1, column 1: expected a value, found a comment"},
        RefusalRow{"CommentBeforeAKey", "{ /* a */ \"a\": 1}",
                   "line 1, column 3: expected a key or \"}\", found a comment"},
        RefusalRow{"CommentAfterAKey", "{\"a\" /* a */ : 1}",
                   "line 1, column 6: expected \":\", found a comment"},
        RefusalRow{"CommentBeforeAValue", "{\"a\": // a\n 1}",
                   "line 1, column 7: expected a value, found a comment"},
        RefusalRow{"CommentAfterAValue", "{\"a\": 1 // a\n}",
                   "line 1, column 9: expected \",\" or \"}\", found a comment"},
        RefusalRow{"CommentInAnArray", "[1, /**/ 2]",
                   "line 1, column 5: expected a value, found a comment"},
        RefusalRow{"FormFeed", "[\f1]", "line 1, column 2: expected a value, found \"\\u000c\""},
        RefusalRow{"NoBreakSpace", "[\xC2\xA0]",
                   "line 1, column 2: expected a value, found \"\xC2\xA0\""},
        RefusalRow{"ByteOrderMark", "\xEF\xBB\xBF{}",
                   "line 1, column 1: expected a value, found \"\\ufeff\""},
        // Arrays and objects.
        RefusalRow{"OpenArray", "[1,",
                   "line 1, column 4: expected a value, found the end of the document"},
        RefusalRow{"TrailingComma", "[1,\n 2,]", "line 2, column 4: expected a value, found \"]\""},
        RefusalRow{"OnlyAComma", "[,]", "line 1, column 2: expected a value, found \",\""},
        RefusalRow{"NoCommaInArray", "[1 2]",
                   "line 1, column 4: expected \",\" or \"]\", found \"2\""},
        RefusalRow{"WrongBracket", "[1}", "line 1, column 3: expected \",\" or \"]\", found \"}\""},
        RefusalRow{"TrailingCommaInObject", "{\"a\": 1,}",
                   "line 1, column 9: expected a key, found \"}\""},
        RefusalRow{"TrailingCommaAfterAnEmptyKey", "{\"\":1,}",
                   "line 1, column 7: expected a key, found \"}\""},
        RefusalRow{"NoCommaInObject", "{\"a\": 1\n \"b\": 2}",
                   "line 2, column 2: expected \",\" or \"}\", found a string"},
        RefusalRow{"NoColon", "{\"a\" 1}", "line 1, column 6: expected \":\", found \"1\""},
        RefusalRow{"NoValue", "{\"a\":}", "line 1, column 6: expected a value, found \"}\""},
        RefusalRow{"NumberAsKey", "{1: 2}",
                   "line 1, column 2: expected a key or \"}\", found \"1\""},
        RefusalRow{"WordAsKey", "{a: 2}", "line 1, column 2: expected a key or \"}\", found \"a\""},
        RefusalRow{"SingleQuotes", "{'a': 1}",
                   "line 1, column 2: expected a key or \"}\", found \"'\""},
        RefusalRow{"SameKeyTwice", R"({"a": 1, "a": 2})",
                   "line 1, column 10: the key \"a\" is given twice"},
        RefusalRow{"SameKeyEscaped", R"({"a": 1, "\u0061": 2})",
                   "line 1, column 10: the key \"a\" is given twice"},
        RefusalRow{"SameEmptyKey", R"({"": 1, "": 2})",
                   "line 1, column 9: the key \"\" is given twice"},
        // Numbers.
        RefusalRow{"LeadingZero", "[1, 01]", "line 1, column 5: a malformed number"},
        RefusalRow{"NegativeLeadingZero", "[-01]", "line 1, column 2: a malformed number"},
        RefusalRow{"LeadingPlus", "[+5]", "line 1, column 2: expected a value, found \"+\""},
        RefusalRow{"LeadingPoint", "[.5]", "line 1, column 2: expected a value, found \".\""},
        RefusalRow{"MinusAlone", "[-]", "line 1, column 2: a malformed number"},
        RefusalRow{"TwoSigns", "[--1]", "line 1, column 2: a malformed number"},
        RefusalRow{"NoFraction", "[1.]", "line 1, column 2: a malformed number"},
        RefusalRow{"NoFractionBeforeExponent", "[1.e5]", "line 1, column 2: a malformed number"},
        RefusalRow{"NoExponent", "[1e+]", "line 1, column 2: a malformed number"},
        RefusalRow{"FractionOfAnExponent", "[1e1.5]",
                   "line 1, column 5: expected \",\" or \"]\", found \".\""},
        RefusalRow{"Hexadecimal", "[0x1F]",
                   "line 1, column 3: expected \",\" or \"]\", found \"x1F\""},
        RefusalRow{"TwoPoints", "[1.2.3]",
                   "line 1, column 5: expected \",\" or \"]\", found \".\""},
        RefusalRow{"WideDigit", "[\xEF\xBC\x91]",
                   "line 1, column 2: expected a value, found \"\xEF\xBC\x91\""},
        RefusalRow{"TooLarge", "[1e999]", "line 1, column 2: the number \"1e999\" is out of range"},
        // Strings.
        RefusalRow{"EndlessString", "[\"a", "line 1, column 4: a string without an end"},
        RefusalRow{"EscapedEnd", "\"a\\\"", "line 1, column 5: a string without an end"},
        RefusalRow{"LineBreak", "[\"a\nb\"]", "line 1, column 4: a control character in a string"},
        RefusalRow{"Tab", "[\"a\tb\"]", "line 1, column 4: a control character in a string"},
        RefusalRow{"ZeroInAString", std::string("\"a\0\"", 4),
                   "line 1, column 3: a control character in a string"},
        RefusalRow{"UnknownEscape", R"(["a\x41"])", "line 1, column 4: a malformed escape"},
        RefusalRow{"SingleQuoteEscape", R"(["\'"])", "line 1, column 3: a malformed escape"},
        RefusalRow{"BadEscape", R"(["\u00g0"])", "line 1, column 3: a malformed escape"},
        RefusalRow{"ShortEscape", R"(["\u00e"])", "line 1, column 3: a malformed escape"},
        RefusalRow{"SignInAnEscape", R"(["\u-041"])", "line 1, column 3: a malformed escape"},
        RefusalRow{"CutEscape", R"("\u00)", "line 1, column 2: a malformed escape"},
        RefusalRow{"CutBackslash", R"("\)", "line 1, column 2: a malformed escape"},
        RefusalRow{"HalfAPair", R"(["\ud83d"])", "line 1, column 3: half of a surrogate pair"},
        RefusalRow{"WrongHalf", R"(["\ud83d\u0041"])",
                   "line 1, column 3: half of a surrogate pair"},
        RefusalRow{"SecondHalf", R"(["\ude00"])", "line 1, column 3: half of a surrogate pair"},
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

struct DocumentRow {
  const char* name;
  std::string text;
  Json::Value value;
};

class WellFormedDocument : public testing::TestWithParam<DocumentRow> {};

TEST_P(WellFormedDocument, IsRead) { EXPECT_EQ(ParseDocument(GetParam().text), GetParam().value); }

INSTANTIATE_TEST_SUITE_P(
    Rows, WellFormedDocument,
    testing::Values(
        DocumentRow{"Null", "null", Json::Value()}, DocumentRow{"True", " true ", true},
        DocumentRow{"False", "\t\r\nfalse\n", false}, DocumentRow{"String", R"("a")", "a"},
        DocumentRow{"EmptyString", R"("")", ""},
        DocumentRow{"Escapes", R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
        DocumentRow{"EscapedUnits", R"("\u0041\u00E9\u6F22")", "A\xC3\xA9\xE6\xBC\xA2"},
        DocumentRow{"EscapedPair", R"("\ud83d\uDE00")", "\xF0\x9F\x98\x80"},
        DocumentRow{"EscapedZero", R"("a\u0000b")", std::string("a\0b", 3)},
        DocumentRow{"Utf8", "\"\xC3\xA9\xF0\x9F\x98\x80\x7F\xE2\x80\xA8\"",
                    "\xC3\xA9\xF0\x9F\x98\x80\x7F\xE2\x80\xA8"},
        DocumentRow{"CommentInAString", R"("/* a */ // b")", "/* a */ // b"},
        DocumentRow{"Zero", "0", 0}, DocumentRow{"MinusZero", "-0", 0},
        DocumentRow{"Integer", "-12", -12},
        DocumentRow{"LargestSigned", "9223372036854775807", Json::Int64{9223372036854775807}},
        DocumentRow{"SmallestSigned", "-9223372036854775808",
                    Json::Int64{-9223372036854775807 - 1}},
        DocumentRow{"LargestUnsigned", "18446744073709551615", Json::UInt64{18446744073709551615U}},
        DocumentRow{"BeyondUnsigned", "18446744073709551616", 18446744073709551616.0},
        DocumentRow{"BeyondSigned", "-9223372036854775809", -9223372036854775809.0},
        DocumentRow{"Fraction", "-0.25", -0.25}, DocumentRow{"Exponent", "1E+2", 100.0},
        DocumentRow{"SmallExponent", "25e-2", 0.25}, DocumentRow{"ZeroWithExponent", "0e1", 0.0},
        DocumentRow{"EmptyArray", "[ ]", Json::Value(Json::arrayValue)},
        DocumentRow{"EmptyObject", "{ }", Json::Value(Json::objectValue)}),
    yox_test::RowName());

TEST(ParseDocument, ReadsNestedValues) {
  const Json::Value document =
      ParseDocument(R"( {"": [1 , [ ] ,{"a\u0000b":null}], "a" : {"b":{"c":2}} } )");
  EXPECT_EQ(document.size(), 2U);
  EXPECT_EQ(document[""].size(), 3U);
  EXPECT_EQ(document[""][0], Json::Value(1));
  EXPECT_EQ(document[""][1], Json::Value(Json::arrayValue));
  EXPECT_TRUE(document[""][2].isMember(std::string("a\0b", 3)));
  EXPECT_EQ(document["a"]["b"]["c"], Json::Value(2));
}

TEST(ParseDocument, KnowsTheBytesOfEachValue) {
  const std::string text = R"( {"list": [12, "\u00e9"] } )";
  const Json::Value document = ParseDocument(text);
  const auto written = [&](const Json::Value& value) {
    const auto begin = static_cast<std::size_t>(value.getOffsetStart());
    return text.substr(begin, static_cast<std::size_t>(value.getOffsetLimit()) - begin);
  };
  EXPECT_EQ(written(document), R"({"list": [12, "\u00e9"] })");
  EXPECT_EQ(written(document["list"]), R"([12, "\u00e9"])");
  EXPECT_EQ(written(document["list"][0]), "12");
  EXPECT_EQ(written(document["list"][1]), R"("\u00e9")");
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
    Rows, RefusedRecord,
    testing::Values(
        RefusalRow{"WrongRoot", "[]", "expected an object, found an array"},
        RefusalRow{"UnknownKey", R"({"part": []})", "part: unknown key (did you mean \"parts\"?)"},
        RefusalRow{"UnknownKeyInside", R"({"parts": [{}, {"colour": ""}]})",
                   "parts[1].colour: unknown key"},
        RefusalRow{"OddKey", R"({"a b\n": []})", R"(["a b\u000a"]: unknown key)"},
        RefusalRow{"WrongKind", R"({"parts": {}})", "parts: expected an array, found an object"},
        RefusalRow{"NumberForText", R"({"parts": [{"name": 1}]})",
                   "parts[0].name: expected a string, found a number"},
        RefusalRow{"NullForText", R"({"parts": [{"name": null}]})",
                   "parts[0].name: expected a string, found null"},
        RefusalRow{"TextForNumber", R"({"parts": [{"count": "1"}]})",
                   "parts[0].count: expected a whole number, found a string"},
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
