#include <gtest/gtest.h>

#include <set>
#include <string>

#include "yox/base/String.h"
#include "yox/platform/firmware/Smbios.h"

#include "tests/support/PublishedData.h"
#include "tests/support/Rows.h"
#include "tests/support/SmbiosTable.h"

namespace {

using namespace yox::literals;
using YOX::String;
using yox::platform::FirmwareFacts;
using yox_test::SmbiosTable;

// One line a field, so that a difference names it.
std::string Written(const std::optional<FirmwareFacts>& facts) {
  if (!facts) return "nothing";
  std::string text;
  for (const yox::WString& fact :
       {facts->manufacturer, facts->model_number, facts->family, facts->sku, facts->serial_number,
        facts->baseboard_serial_number, facts->enclosure_type, facts->bios_version,
        facts->bios_version_short, facts->bios_release_date, facts->ec_version,
        facts->ec_release_date, facts->smbios_version}) {
    text += String::UTF16ToUTF8(fact) + "|";
  }
  return text;
}

constexpr char kLaptop[] =
    "Contoso|FA14-2210|Falcon 14|FALCON14-16-512|C0FFEE12|BB-000417|Notebook|FAL14 v1.35|1.35|"
    "2025-11-03|1.20||";

TEST(SmbiosTest, EveryFormOfTheTableGivesTheSameFacts) {
  const SmbiosTable table = SmbiosTable::Laptop();
  const std::string laptop = kLaptop;
  EXPECT_EQ(Written(yox::smbios::Read(table.structures())), laptop + "|");
  EXPECT_EQ(Written(yox::smbios::Read(table.Windows(3, 4))), laptop + "3.4|");
  EXPECT_EQ(Written(yox::smbios::Read(table.Dump(table.EntryPoint32(2, 8)))), laptop + "2.8|");
  EXPECT_EQ(Written(yox::smbios::Read(table.Dump(table.EntryPoint64(3, 4)))), laptop + "3.4|");
  EXPECT_EQ(Written(yox::smbios::Read(table.EntryPoint32(2, 7), table.structures())),
            laptop + "2.7|");
}

TEST(SmbiosTest, ADumpWhoseAddressPointsIntoTheMachinesMemoryIsReadBehindItsEntryPoint) {
  const SmbiosTable table = SmbiosTable::Laptop();
  EXPECT_EQ(Written(yox::smbios::Read(table.Dump(table.EntryPoint64(3, 4, 0x7B2E0000)))),
            std::string(kLaptop) + "3.4|");
}

TEST(SmbiosTest, AnEntryPointWithAWrongSumGivesNoVersion) {
  const SmbiosTable table = SmbiosTable::Laptop();
  std::string entry = table.EntryPoint64(3, 4);
  ++entry[7];
  EXPECT_EQ(Written(yox::smbios::Read(table.Dump(entry))), std::string(kLaptop) + "|");
}

TEST(SmbiosTest, TheFirstStructureOfAKindIsTheDevices) {
  SmbiosTable table;
  table.Add(3, 9, {{0x05, 10}}, {}).Add(3, 9, {{0x05, 12}}, {}).AddEnd();
  EXPECT_EQ(Written(yox::smbios::Read(table.structures())), "||||||Notebook|||||||");
}

TEST(SmbiosTest, NothingIsReadBehindTheEndOfTheTable) {
  SmbiosTable table;
  table.Add(3, 9, {{0x05, 10}}, {}).AddEnd().Add(1, 8, {{0x04, 1}}, {"Leftover"});
  EXPECT_EQ(Written(yox::smbios::Read(table.structures())), "||||||Notebook|||||||");
}

TEST(SmbiosTest, TheLockBitOfTheEnclosureIsIgnored) {
  SmbiosTable table;
  table.Add(3, 9, {{0x05, 128 + 31}}, {});
  EXPECT_EQ(Written(yox::smbios::Read(table.structures())), "||||||Convertible|||||||");
}

TEST(SmbiosTest, AStructureOfAnOldVersionHasNoLaterFields) {
  SmbiosTable table;
  // Version 2.0: eight bytes, no SKU and no family.
  table.Add(1, 8, {{0x04, 1}, {0x05, 2}, {0x07, 3}}, {"Contoso", "Old", "SN1"});
  EXPECT_EQ(Written(yox::smbios::Read(table.structures())), "Contoso|Old|||SN1|||||||||");
}

TEST(SmbiosTest, AReleaseOf255IsNone) {
  SmbiosTable table;
  table.Add(0, 24, {{0x14, 255}, {0x15, 255}, {0x16, 255}, {0x17, 255}}, {});
  EXPECT_EQ(Written(yox::smbios::Read(table.structures())), "|||||||||||||");
}

TEST(SmbiosTest, AStringNumberWithoutAStringIsEmpty) {
  SmbiosTable table;
  table.Add(1, 8, {{0x04, 9}, {0x05, 1}}, {"Only"});
  EXPECT_EQ(Written(yox::smbios::Read(table.structures())), "|Only||||||||||||");
}

TEST(SmbiosTest, BytesThatAreNotUtf8BecomeReplacementCharacters) {
  SmbiosTable table;
  table.Add(1, 8, {{0x04, 1}}, {"Cont\xFFoso"});
  EXPECT_EQ(Written(yox::smbios::Read(table.structures())), "Cont\xEF\xBF\xBDoso|||||||||||||");
}

TEST(SmbiosTest, ATableCutOffAnywhereKeepsWhatItStillHolds) {
  const SmbiosTable table = SmbiosTable::Laptop();
  const std::string whole = table.Dump(table.EntryPoint64(3, 4));
  bool manufacturer_seen = false;
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    const std::optional<FirmwareFacts> facts = yox::smbios::Read(whole.substr(0, size));
    EXPECT_EQ(facts.has_value(), size >= 32 + 26) << size;
    if (!facts) continue;
    // A cut may shorten the text that it hits; what was read never changes otherwise.
    EXPECT_TRUE("Contoso"_w.starts_with(facts->manufacturer)) << size;
    EXPECT_FALSE(manufacturer_seen && facts->manufacturer != "Contoso"_wv) << size;
    manufacturer_seen = facts->manufacturer == "Contoso"_wv;
  }
  EXPECT_TRUE(manufacturer_seen);
}

TEST(SmbiosTest, ALengthThatLiesEndsTheTable) {
  for (const int length : {0, 1, 3, 200, 255}) {
    SmbiosTable table;
    table.Add(3, 9, {{0x05, 10}}, {})
        .Add(1, 8, {{0x04, 1}, {1, static_cast<std::uint8_t>(length)}}, {"Contoso"});
    EXPECT_EQ(Written(yox::smbios::Read(table.structures())), "||||||Notebook|||||||") << length;
  }
}

TEST(SmbiosTest, BytesWithoutAnyStructureGiveNothing) {
  for (const std::string& bytes :
       {std::string(), std::string("_SM3_"), std::string("_SM_"), std::string(3, '\0'),
        std::string(100, '\xFF'), std::string(100, '\0')}) {
    EXPECT_EQ(Written(yox::smbios::Read(bytes)), "nothing");
  }
}

struct PlaceholderRow {
  const char* name;
  const char* text;
  const char* read;
};
class SmbiosPlaceholderTest : public testing::TestWithParam<PlaceholderRow> {};

TEST_P(SmbiosPlaceholderTest, ReadsAs) {
  const PlaceholderRow& row = GetParam();
  EXPECT_EQ(String::UTF16ToUTF8(yox::smbios::WithoutPlaceholder(String::UTF8ToUTF16(row.text))),
            row.read);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SmbiosPlaceholderTest,
    testing::Values(PlaceholderRow{"ToBeFilled", "To Be Filled By O.E.M.", ""},
                    PlaceholderRow{"LowerCase", "to be filled by o.e.m.", ""},
                    PlaceholderRow{"BlanksAround", "  Default string  ", ""},
                    PlaceholderRow{"SystemProductName", "System Product Name", ""},
                    PlaceholderRow{"SystemManufacturer", "System manufacturer", ""},
                    PlaceholderRow{"Digits", "0123456789", ""},
                    PlaceholderRow{"DigitsFromOne", "123456789", ""},
                    PlaceholderRow{"NotSpecified", "Not Specified", ""},
                    PlaceholderRow{"NotApplicable", "N/A", ""}, PlaceholderRow{"None", "None", ""},
                    PlaceholderRow{"Zeros", "00000000", ""}, PlaceholderRow{"OneZero", "0", ""},
                    PlaceholderRow{"Crosses", "XXXXXXX", ""}, PlaceholderRow{"Dots", "...", ""},
                    PlaceholderRow{"Hyphen", "-", ""}, PlaceholderRow{"BlanksOnly", "   ", ""},
                    PlaceholderRow{"Empty", "", ""},
                    PlaceholderRow{"BlanksAreTrimmed", "  ThinkBook 14 ", "ThinkBook 14"},
                    PlaceholderRow{"HoldsAPlaceholder", "None Such Ltd.", "None Such Ltd."},
                    PlaceholderRow{"OneLetterIsAName", "X", "X"},
                    PlaceholderRow{"DoubledDigitIsAName", "11", "11"},
                    PlaceholderRow{"DigitsThatGoOn", "01234567891", "01234567891"},
                    PlaceholderRow{"VirtualMachine", "Virtual Machine", "Virtual Machine"}),
    yox_test::RowName());

TEST(SmbiosTest, EveryPlaceholderReadsAsEmptyInAnyLetterCase) {
  std::set<yox::WString> seen;
  for (const yox::WStringView text : yox::smbios::Placeholders()) {
    const std::string shown = String::UTF16ToUTF8(text);
    const yox::WString upper = String::ToUpper(yox::WString(text));
    EXPECT_TRUE(seen.insert(upper).second) << shown << " stands twice";
    EXPECT_EQ(yox::smbios::WithoutPlaceholder(text), ""_w) << shown;
    EXPECT_EQ(yox::smbios::WithoutPlaceholder(upper), ""_w) << shown;
    EXPECT_EQ(yox::smbios::WithoutPlaceholder(String::ToLower(yox::WString(text))), ""_w) << shown;
    EXPECT_EQ(yox::smbios::WithoutPlaceholder(" "_w + yox::WString(text) + " "_w), ""_w) << shown;
    // Not even the longest keeps a longer text from being a name.
    EXPECT_NE(yox::smbios::WithoutPlaceholder(yox::WString(text) + " 15q"_w), ""_w) << shown;
  }
}

TEST(SmbiosTest, OnlyTheFirmwaresDateFormIsRewritten) {
  EXPECT_EQ(yox::smbios::IsoDate("11/03/2025"_w), "2025-11-03"_w);
  EXPECT_EQ(yox::smbios::IsoDate("11/03/99"_w), "1999-11-03"_w);
  for (const yox::WString& text : {""_w, "2025-11-03"_w, "13/01/2025"_w, "01/32/2025"_w,
                                   "1/1/2025"_w, "aa/bb/cccc"_w, "11/03/20x5"_w}) {
    EXPECT_EQ(yox::smbios::IsoDate(text), text);
  }
}

TEST(SmbiosTest, AnEnclosureNumberWithoutANameIsEmpty) {
  EXPECT_EQ(yox::smbios::EnclosureName(0), ""_w);
  EXPECT_EQ(yox::smbios::EnclosureName(1), "Other"_w);
  EXPECT_EQ(yox::smbios::EnclosureName(10), "Notebook"_w);
  EXPECT_EQ(yox::smbios::EnclosureName(36), "Stick PC"_w);
  EXPECT_EQ(yox::smbios::EnclosureName(37), ""_w);
}

// What dmidecode 3.4 reads from the same tables, placeholders left out and dates rewritten.
struct CapturedRow {
  const char* name;
  const char* file;
  const char* facts;
};
class SmbiosCapturedTest : public testing::TestWithParam<CapturedRow> {};

TEST_P(SmbiosCapturedTest, AgreesWithDmidecode) {
  const std::string table = yox_test::PublishedData(std::string("smbios/") + GetParam().file);
  EXPECT_EQ(Written(yox::smbios::Read(table)), GetParam().facts);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SmbiosCapturedTest,
    testing::Values(
        CapturedRow{"ServerDump", "server-a.bin",
                    "Dell Inc.|PowerEdge R777sd|PowerEdge|SKU=0777;ModelName=PowerEdge R777sd||"
                    ".XXXXXXX.XXXXXXXXXXXXXX.|Rack Mount Chassis|2.8.2|2.8|2020-08-27|||3.2|"},
        CapturedRow{"ServerWithPlaceholders", "server-v3-placeholders.bin",
                    "Supermicro|Super Server||||ZM159S017443|Main Server Chassis|2.0|5.6|"
                    "2015-12-18||||"},
        CapturedRow{"Workstation", "workstation-v3.bin",
                    "Dell Inc.|Precision Tower 3620|Precision|06B7|7KNZBH2|"
                    "/7KNZBH2/CN722006CF01LX/|Desktop|2.1.9|2.1|2017-01-24||||"}),
    yox_test::RowName());

}  // namespace
