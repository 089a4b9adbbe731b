#include <gtest/gtest.h>
#include <stdio.h>

#include <array>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include "yox/base/String.h"
#include "yox/platform/firmware/Smbios.h"

#include "tests/support/PublishedData.h"
#include "tests/support/Rows.h"
#include "tests/support/SmbiosTable.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using YOX::String;
using yox::WString;
using yox::platform::FirmwareFacts;
using yox_test::SmbiosTable;

// What dmidecode calls a fact.
struct Keyword {
  const char* name;
  WString FirmwareFacts::*fact;
};
constexpr Keyword kKeywords[] = {
    {"system-manufacturer", &FirmwareFacts::manufacturer},
    {"system-product-name", &FirmwareFacts::model_number},
    {"system-family", &FirmwareFacts::family},
    {"system-sku-number", &FirmwareFacts::sku},
    {"system-serial-number", &FirmwareFacts::serial_number},
    {"baseboard-serial-number", &FirmwareFacts::baseboard_serial_number},
    {"chassis-type", &FirmwareFacts::enclosure_type},
    {"bios-version", &FirmwareFacts::bios_version},
    {"bios-revision", &FirmwareFacts::bios_version_short},
    {"bios-release-date", &FirmwareFacts::bios_release_date},
    {"firmware-revision", &FirmwareFacts::ec_version},
};

// The first line of what the command writes; std::nullopt if it fails.
std::optional<std::string> FirstLine(const std::string& command) {
  FILE* const output = popen(command.c_str(), "r");
  if (output == nullptr) return std::nullopt;
  std::string text;
  std::array<char, 256> buffer;
  while (fgets(buffer.data(), static_cast<int>(buffer.size()), output) != nullptr) {
    text += buffer.data();
  }
  if (pclose(output) != 0) return std::nullopt;
  return text.substr(0, text.find('\n'));
}

std::optional<std::string> Dmidecode(const std::string& arguments) {
  return FirstLine("PATH=$PATH:/usr/sbin dmidecode " + arguments + " 2>&1");
}

std::string Published(const char* file) {
  return yox_test::PublishedData(std::string("smbios/") + file);
}

std::string WithEntryPoint(const std::string& structures) {
  const SmbiosTable table(structures);
  return table.Dump(table.EntryPoint64(3, 0));
}

std::string Laptop(bool wide) {
  const SmbiosTable table = SmbiosTable::Laptop();
  return table.Dump(wide ? table.EntryPoint64(3, 4) : table.EntryPoint32(2, 8));
}

// Fields of an old version, texts that are missing or placeholders, and a second chassis.
std::string Old() {
  SmbiosTable table;
  table.Add(0, 18, {{0x04, 1}, {0x05, 2}, {0x08, 3}}, {"Contoso", "A07", "11/03/1999"})
      .Add(1, 8, {{0x04, 1}, {0x05, 2}, {0x07, 3}},
           {"To Be Filled By O.E.M.", "Old One", "0123456789"})
      .Add(2, 8, {{0x04, 1}}, {"Only"})
      .Add(3, 9, {{0x05, 128 + 3}}, {})
      .Add(3, 9, {{0x05, 12}}, {})
      .AddEnd();
  return table.Dump(table.EntryPoint32(2, 1));
}

struct DumpRow {
  const char* name;
  std::string (*dump)();
};
class SmbiosAgainstDmidecodeTest : public testing::TestWithParam<DumpRow> {};

TEST_P(SmbiosAgainstDmidecodeTest, EveryFactIsTheOneThatItPrints) {
  if (!Dmidecode("--version")) GTEST_SKIP() << "needs dmidecode";
  const std::string dump = GetParam().dump();
  const yox_test::TemporaryFolder folder;
  const std::string file = folder.path() / "dump";
  std::ofstream(file, std::ios::binary) << dump;
  const std::optional<FirmwareFacts> facts = yox::smbios::Read(dump);
  ASSERT_TRUE(facts);
  for (const Keyword& keyword : kKeywords) {
    const auto told = Dmidecode("--from-dump '" + file + "' -s " + keyword.name);
    ASSERT_TRUE(told) << keyword.name;
    const WString text = yox::smbios::WithoutPlaceholder(String::UTF8ToUTF16(*told));
    EXPECT_EQ(String::UTF16ToUTF8((*facts).*keyword.fact),
              String::UTF16ToUTF8(yox::smbios::IsoDate(text)))
        << keyword.name;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SmbiosAgainstDmidecodeTest,
    testing::Values(DumpRow{"LaptopOfVersion2", [] { return Laptop(false); }},
                    DumpRow{"LaptopOfVersion3", [] { return Laptop(true); }},
                    DumpRow{"OldVersion", Old},
                    DumpRow{"Server", [] { return Published("server-a.bin"); }},
                    DumpRow{"ServerWithPlaceholders",
                            [] { return WithEntryPoint(Published("server-v3-placeholders.bin")); }},
                    DumpRow{"Workstation",
                            [] { return WithEntryPoint(Published("workstation-v3.bin")); }}),
    yox_test::RowName());

}  // namespace
