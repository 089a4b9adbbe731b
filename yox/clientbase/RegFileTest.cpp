#include "yox/base/String.h"
#include "yox/clientbase/RegFile.h"
#include "yox/platform/registry/RegistryPlatform.h"

#include "tests/support/Rows.h"

namespace {

using namespace yox::literals;
using yox::ReadRegFile;
using yox::RegFileEncoding;
using YOX::String;
using yox::WChar;
using yox::WriteRegFile;
using yox::WString;
using yox::platform::RegistryAction;
using yox::platform::RegistryEdit;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryType;
using yox::platform::RegistryValue;

const std::string kHead = "Windows Registry Editor Version 5.00\n";
const std::string kKey = kHead + "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Contoso]\n";

// The value of the single value line after a key.
RegistryValue ValueOf(const std::string& line) {
  const std::vector<RegistryEdit> edits = ReadRegFile(kKey + line);
  EXPECT_EQ(edits.size(), 2U) << line;
  return edits.back().value;
}

TEST(RegFileTest, ValuesOfEveryTypeAreRead) {
  const WString texts[] = {"a"_w, "b"_w};
  EXPECT_EQ(ValueOf(R"("N"="a \\ \"b\"")"), RegistryValue::Text("a \\ \"b\""_w));
  EXPECT_EQ(ValueOf("\"N\"=\"Gr\xC3\xB6\xC3\x9F"
                    "e\""),
            RegistryValue::Text("Gr\u00f6\u00dfe"_w));
  EXPECT_EQ(ValueOf("@=\"\""), RegistryValue::Text({}));
  EXPECT_EQ(ValueOf("\"N\"=dword:0000000A"), RegistryValue::Dword(10));
  EXPECT_EQ(ValueOf("\"N\"=dword:f"), RegistryValue::Dword(15));
  EXPECT_EQ(ValueOf("\"N\"=hex:"), RegistryValue::Binary({}));
  EXPECT_EQ(ValueOf("\"N\"=hex:01,aB"), RegistryValue::Binary({1, 0xab}));
  EXPECT_EQ(ValueOf("\"N\"=hex(0):01"), (RegistryValue{RegistryType::kNone, {1}}));
  EXPECT_EQ(ValueOf("\"N\"=hex(2):61,00,00,00"), RegistryValue::ExpandableText("a"_w));
  EXPECT_EQ(ValueOf("\"N\"=hex(7):61,00,00,00,62,00,00,00,00,00"), RegistryValue::MultiText(texts));
  EXPECT_EQ(ValueOf("\"N\"=hex(b):05,00,00,00,00,00,00,00"), RegistryValue::Qword(5));
  EXPECT_EQ(ValueOf("\"N\"=hex(1267):09"), (RegistryValue{RegistryType{0x1267}, {9}}));
}

TEST(RegFileTest, BytesContinueOnTheNextLine) {
  EXPECT_EQ(ValueOf("\"N\"=hex:01,\\\r\n  02,03,\\\n\t04\n"), RegistryValue::Binary({1, 2, 3, 4}));
}

TEST(RegFileTest, KeysAndDeletionsStandInTheirOrder) {
  const auto edits = ReadRegFile(kHead +
                                 "; comment\n\n"
                                 "[HKEY_CURRENT_USER\\A]\n\"Gone\"=-\n@=-\n"
                                 "[-HKLM\\B]\n"
                                 "  [HKEY_USERS\\S-1-5-18\\C]]  \n\"N\" = dword:1 \n");
  ASSERT_EQ(edits.size(), 6U);
  EXPECT_EQ(edits[0].action, RegistryAction::kCreateKey);
  EXPECT_EQ(edits[0].key.root, HKEY_CURRENT_USER);
  EXPECT_EQ(edits[1].action, RegistryAction::kDeleteValue);
  EXPECT_EQ(edits[1].name, "Gone"_w);
  EXPECT_TRUE(edits[1].if_there);
  EXPECT_EQ(edits[2].name, ""_w);
  EXPECT_EQ(edits[3].action, RegistryAction::kDeleteKey);
  EXPECT_EQ(edits[3].key.path, "B"_w);
  EXPECT_TRUE(edits[3].if_there);
  EXPECT_EQ(edits[4].key.path, "S-1-5-18\\C]"_w);
  EXPECT_EQ(edits[5].name, "N"_w);
}

struct Malformed {
  const char* name;
  std::string file;
  const char* message;
};
class MalformedRegFile : public testing::TestWithParam<Malformed> {};

TEST_P(MalformedRegFile, IsRefusedWithItsLine) {
  try {
    ReadRegFile(GetParam().file);
    ADD_FAILURE() << "was read";
  } catch (const yox::DocumentError& error) {
    EXPECT_STREQ(error.what(), GetParam().message);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, MalformedRegFile,
    testing::Values(
        Malformed{"Nothing", "", "line 1: expected \"Windows Registry Editor Version 5.00\""},
        Malformed{"OldVersion", "REGEDIT4\n",
                  "line 1: expected \"Windows Registry Editor Version 5.00\""},
        Malformed{"ValueWithoutKey", kHead + "\n\"N\"=\"x\"\n", "line 3: a value without a key"},
        Malformed{"ValueOfDeletedKey", kHead + "[-HKLM\\A]\n\"N\"=\"x\"\n",
                  "line 3: a value without a key"},
        Malformed{"OpenBracket", kHead + "[HKLM\\A\n", "line 2: expected \"]\" at the end"},
        Malformed{"OtherRoot", kHead + "[HKEY_CLASSES_ROOT\\A]\n",
                  "line 2: expected the path of a key, found \"HKEY_CLASSES_ROOT\\A\""},
        Malformed{"EmptyKeyName", kHead + "[HKLM\\A\\\\B]\n",
                  "line 2: expected the path of a key, found \"HKLM\\A\\\\B\""},
        Malformed{"HiveDeleted", kHead + "[-HKLM]\n", "line 2: a hive cannot be deleted"},
        Malformed{"NoName", kKey + "N=\"x\"\n", "line 3: expected a string in quotation marks"},
        Malformed{"OpenName", kKey + "\"N=\n", "line 3: the string has no closing quotation mark"},
        Malformed{"OpenText", kKey + "\"N\"=\"x\n",
                  "line 3: the string has no closing quotation mark"},
        Malformed{"UnknownEscape", kKey + "\"N\"=\"a\\n\"\n",
                  "line 3: expected a backslash, a quotation mark or \"uXXXX\" after a backslash"},
        Malformed{"ShortEscape", kKey + "\"N\\u00g0\"=\"x\"\n",
                  "line 3: expected a backslash, a quotation mark or \"uXXXX\" after a backslash"},
        Malformed{"ZeroInName", kKey + "\"N\\u0000\"=\"x\"\n",
                  "line 3: the name of the value is too long or contains a zero"},
        Malformed{"ZeroInPath", kHead + "[HKLM\\A\\\\u0000]\n",
                  "line 2: expected the path of a key, found \"HKLM\\A\\\\u0000\""},
        Malformed{"SeparatorsAsEscapes", kHead + "[HKLM\\A\\\\u005c\\\\u005cB]\n",
                  "line 2: expected the path of a key, found"
                  " \"HKLM\\A\\\\u005c\\\\u005cB\""},
        Malformed{"TwoTexts", kKey + "\"N\"=\"a\" \"b\"\n", "line 3: more than one string"},
        Malformed{"NoEquals", kKey + "\"N\"\n",
                  "line 3: expected \"=\" after the name of the value"},
        Malformed{"NoData", kKey + "\"N\"=\n",
                  "line 3: expected a string, \"dword:\", \"hex:\", \"hex(TYPE):\" or \"-\""},
        Malformed{"LongDword", kKey + "\"N\"=dword:123456789\n",
                  "line 3: expected up to eight hexadecimal digits after \"dword:\""},
        Malformed{"OpenType", kKey + "\"N\"=hex(7:00\n",
                  "line 3: expected the type's number in brackets"},
        Malformed{"NoColon", kKey + "\"N\"=hex(7)00\n", "line 3: expected \":\" before the bytes"},
        Malformed{"NoByte", kKey + "\"N\"=hex:01,\\\n  0g\n",
                  "line 4: expected bytes of two hexadecimal digits, with commas between them"},
        Malformed{"CommaAtTheEnd", kKey + "\"N\"=hex:01,\n",
                  "line 3: expected a byte after the last comma"},
        Malformed{"NoCommaBeforeTheNextLine", kKey + "\"N\"=hex:01\\\n02\n",
                  "line 3: expected a comma before the next line's bytes"},
        Malformed{"EndWhereMoreIsAnnounced", kKey + "\"N\"=hex:01,\\",
                  "line 3: the file ends after a backslash that continues the line"},
        Malformed{"MalformedUtf8", kKey + "\"N\"=\"\xFF\"\n", "line 3: not well-formed UTF-8"},
        Malformed{"HalfACodeUnit", std::string("\xFF\xFEW", 3),
                  "line 1: half a UTF-16 code unit at the end"}),
    yox_test::RowName());

std::vector<RegistryEdit> EveryKindOfEdit() {
  const RegistryKey key{HKEY_LOCAL_MACHINE, "SOFTWARE\\Contoso"_w, {}, {}};
  std::vector<RegistryEdit> edits{{RegistryAction::kDeleteKey, key, {}, {}, true},
                                  {RegistryAction::kCreateKey, key, {}, {}}};
  const WString texts[] = {"a"_w, "b"_w};
  const RegistryValue values[] = {
      RegistryValue::Text("\"\\ text \u20ac"_w),
      RegistryValue::Text("two\r\nlines"_w),
      {RegistryType::kText, {'a', 0}},
      {RegistryType::kText, {'a'}},
      {RegistryType::kText, {0x00, 0xD8, 0, 0}},
      RegistryValue::ExpandableText("%A%"_w),
      RegistryValue::MultiText(texts),
      RegistryValue::Dword(0xdeadbeef),
      {RegistryType::kDword, {1}},
      RegistryValue::Qword(1),
      RegistryValue::Binary({}),
      RegistryValue::Binary(std::vector<std::uint8_t>(200, 0xa5)),
      {RegistryType{0xffffffff}, {1}},
  };
  for (const RegistryValue& value : values) {
    const WString name = "Name \"\\"_w + String::UTF8ToUTF16(std::to_string(edits.size()));
    edits.push_back({RegistryAction::kSetValue, key, name, value});
  }
  edits.push_back({RegistryAction::kSetValue, key, {}, RegistryValue::Text("default"_w)});
  edits.push_back({RegistryAction::kDeleteValue, key, "Gone"_w, {}, true});
  edits.push_back({RegistryAction::kCreateKey, {HKEY_USERS, "S-1-5-18\\A"_w, {}, {}}, {}, {}});
  return edits;
}

TEST(RegFileTest, WhatIsWrittenIsReadAgain) {
  const std::vector<RegistryEdit> edits = EveryKindOfEdit();
  for (const auto encoding : {RegFileEncoding::kUtf8, RegFileEncoding::kUtf16}) {
    const std::vector<RegistryEdit> read = ReadRegFile(WriteRegFile(edits, encoding));
    ASSERT_EQ(read.size(), edits.size());
    for (std::size_t i = 0; i < edits.size(); ++i) {
      EXPECT_EQ(read[i].action, edits[i].action) << i;
      EXPECT_EQ(read[i].key.root, edits[i].key.root) << i;
      EXPECT_EQ(read[i].key.path, edits[i].key.path) << i;
      EXPECT_EQ(read[i].name, edits[i].name) << i;
      EXPECT_TRUE(read[i].value == edits[i].value) << i;
      EXPECT_EQ(read[i].if_there, edits[i].if_there) << i;
    }
  }
}

// Each would end the line, command a terminal, hide from the reader or get lost in UTF-8.
const WString kAwkwardNames[] = {
    "K]\n\"IsManagedDevice\"=dword:00000001"_w,
    "\x1b[2J\x07\u009b"_w,
    "tab\tdelete\x7f next\u0085 line\u2028"_w,
    "\u202e\u200b\u2066"_w,
    "\ufeff"_w,
    WString(1, WChar{0xD800}) + "high"_w,
    WString(1, WChar{0xDC00}) + "low"_w,
    "\U0001F600 \u20ac"_w,
    "u001b"_w,
    " blank\r"_w,
    "-[\"=]@"_w,
};

TEST(RegFileTest, AnyNameIsReadAgainAndCommandsNoTerminal) {
  std::vector<RegistryEdit> edits;
  const auto add = [&](const WString& path, const WString& name) {
    const RegistryKey key{HKEY_LOCAL_MACHINE, path, {}, {}};
    edits.push_back({RegistryAction::kCreateKey, key, {}, {}});
    edits.push_back({RegistryAction::kSetValue, key, name, RegistryValue::Text(name)});
    edits.push_back({RegistryAction::kDeleteValue, key, name, {}, true});
    edits.push_back({RegistryAction::kDeleteKey, key, {}, {}, true});
  };
  for (const WString& name : kAwkwardNames) {
    ASSERT_EQ(name.find(WChar{'\\'}), WString::npos);
    add(name, name + "\\u001b\\"_w);
    add("A\\"_w + name + "\\"_w + name + "\\u0041"_w, name);
  }
  const std::string file = WriteRegFile(edits, RegFileEncoding::kUtf8);
  const WString text = String::UTF8ToUTF16(file);
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool ends_line = text[i] == '\r' || (text[i] == '\n' && text[i - 1] == '\r');
    const bool is_control = text[i] < ' ' || (text[i] >= 0x7F && text[i] < 0xA0);
    ASSERT_TRUE(ends_line || !is_control) << i << ": " << static_cast<unsigned>(text[i]);
  }
  for (const auto encoding : {RegFileEncoding::kUtf8, RegFileEncoding::kUtf16}) {
    const std::vector<RegistryEdit> read = ReadRegFile(WriteRegFile(edits, encoding));
    ASSERT_EQ(read.size(), edits.size());
    for (std::size_t i = 0; i < edits.size(); ++i) {
      EXPECT_EQ(read[i].action, edits[i].action) << i;
      EXPECT_EQ(read[i].key.path, edits[i].key.path) << i;
      EXPECT_EQ(read[i].name, edits[i].name) << i;
      EXPECT_TRUE(read[i].value == edits[i].value) << i;
    }
  }
}

TEST(RegFileTest, NamesAreEscapedByTheirCodeUnits) {
  const RegistryKey key{HKEY_CURRENT_USER, "A\x1b\\\x1b"_w, {}, {}};
  const RegistryEdit edits[] = {
      {RegistryAction::kCreateKey, key, {}, {}},
      {RegistryAction::kSetValue, key, "N\n\\"_w, RegistryValue::Dword(1)},
  };
  EXPECT_EQ(WriteRegFile(edits, RegFileEncoding::kUtf8),
            "Windows Registry Editor Version 5.00\r\n"
            "\r\n"
            "[HKEY_CURRENT_USER\\A\\\\u001b\\\\\\u001b]\r\n"
            "\"N\\u000a\\\\\"=dword:00000001\r\n");
}

TEST(RegFileTest, AFileLooksAsOnWindows) {
  const RegistryKey key{HKEY_CURRENT_USER, "Software\\Contoso"_w, {}, {}};
  const RegistryEdit edits[] = {
      {RegistryAction::kCreateKey, key, {}, {}},
      {RegistryAction::kSetValue, key, {}, RegistryValue::Text("d"_w)},
      {RegistryAction::kSetValue, key, "Level"_w, RegistryValue::Dword(10)},
      {RegistryAction::kSetValue, key, "Big"_w, RegistryValue::Qword(1)},
  };
  EXPECT_EQ(WriteRegFile(edits, RegFileEncoding::kUtf8),
            "Windows Registry Editor Version 5.00\r\n"
            "\r\n"
            "[HKEY_CURRENT_USER\\Software\\Contoso]\r\n"
            "@=\"d\"\r\n"
            "\"Level\"=dword:0000000a\r\n"
            "\"Big\"=hex(b):01,00,00,00,00,00,00,00\r\n");
}

class RegFileOnEveryRegistry : public yox_test::OnEveryRegistry {};
YOX_ON_EVERY_REGISTRY(RegFileOnEveryRegistry);

TEST_P(RegFileOnEveryRegistry, WhatIsExportedCanBeImported) {
  const RegistryKey key{HKEY_LOCAL_MACHINE, "SOFTWARE\\Fabrikam"_w, {}, {}};
  const RegistryKey below{HKEY_LOCAL_MACHINE, "SOFTWARE\\Fabrikam\\Sub\\Deep"_w, {}, {}};
  Set(key, "Name"_w, RegistryValue::Text("x"_w));
  Set(below, {}, RegistryValue::Binary({1, 2}));
  std::vector<RegistryEdit> edits;
  std::vector<RegistryKey> denied;
  ASSERT_EQ(yox::EditsThatMake(registry(), key, edits, denied), RegistryStatus::kOk);
  EXPECT_TRUE(denied.empty());
  const std::string file = WriteRegFile(edits, RegFileEncoding::kUtf16);
  ASSERT_EQ(registry().DeleteKey(key), RegistryStatus::kOk);
  ASSERT_EQ(registry().Apply(ReadRegFile(file)), RegistryStatus::kOk);
  RegistryValue value;
  ASSERT_EQ(registry().Get(key, "Name"_w, value), RegistryStatus::kOk);
  EXPECT_EQ(value, RegistryValue::Text("x"_w));
  ASSERT_EQ(registry().Get(below, {}, value), RegistryStatus::kOk);
  EXPECT_EQ(value, RegistryValue::Binary({1, 2}));
}

TEST_P(RegFileOnEveryRegistry, WhatAFileDeletesNeedNotBeThere) {
  const auto edits = ReadRegFile(kHead +
                                 "[-HKLM\\SOFTWARE\\Fabrikam\\Missing]\n"
                                 "[HKLM\\SOFTWARE\\Fabrikam]\n\"Missing\"=-\n\"N\"=dword:1\n");
  EXPECT_EQ(registry().Apply(edits), RegistryStatus::kOk);
  EXPECT_TRUE(registry().Exists({HKEY_LOCAL_MACHINE, "SOFTWARE\\Fabrikam"_w, {}, {}}));
}

}  // namespace
