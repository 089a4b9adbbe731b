#include <gtest/gtest.h>

#include <algorithm>

#include "yox/platform/simulated/DeviceProfileReader.h"

#include "tests/support/Rows.h"
#include "tests/support/SchemaPaths.h"

namespace yox::platform {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(ReadDeviceProfile, AnEmptyProfileIsADeviceThatHasNothing) {
  const DeviceProfile profile = ReadDeviceProfile("{}");
  EXPECT_FALSE(profile.clock);
  EXPECT_FALSE(profile.firmware);
  EXPECT_FALSE(profile.organisation);
  EXPECT_FALSE(profile.first_run_date);
  EXPECT_TRUE(profile.registry.empty());
  EXPECT_TRUE(profile.devices.empty());
  EXPECT_TRUE(profile.user.sid.empty());
  EXPECT_EQ(profile.os.architecture, 65535U);
  EXPECT_EQ(WriteDeviceProfile(profile), "{}\n");
}

TEST(ReadDeviceProfile, AnEmptySectionIsThereAllTheSame) {
  const DeviceProfile profile =
      ReadDeviceProfile(R"({"clock": {}, "firmware": {}, "organisation": {}})");
  EXPECT_TRUE(profile.clock);
  EXPECT_TRUE(profile.firmware);
  EXPECT_TRUE(profile.organisation);
  EXPECT_EQ(profile.clock->time_zone.text, "UTC"_w);
}

TEST(ReadDeviceProfile, ReadsDatesTimesAndZones) {
  const DeviceProfile profile = ReadDeviceProfile(R"({
      "clock": {"now": "2024-02-29T23:59:58", "time_zone": "Europe/Berlin", "uptime_seconds": 7200},
      "first_run_date": "2025-01-10"})");
  EXPECT_EQ(profile.clock->now->date, (LocalDate{2024, 2, 29}));
  EXPECT_EQ(profile.clock->now->second_of_day, 86398);
  EXPECT_EQ(profile.clock->time_zone.rule, TimeZone::Parse("CET-1CEST,M3.5.0,M10.5.0/3"));
  EXPECT_EQ(profile.clock->uptime_seconds, 7200U);
  EXPECT_EQ(profile.first_run_date, (LocalDate{2025, 1, 10}));
}

TEST(ReadDeviceProfile, ReadsRegistryValuesAsTheRegistryHoldsThem) {
  const DeviceProfile profile = ReadDeviceProfile(R"({"registry": {"HKLM\\SOFTWARE\\Contoso": {
      "": {"type": "REG_SZ", "data": "é"},
      "Path": {"type": "REG_EXPAND_SZ", "data": ""},
      "Level": {"type": "REG_DWORD", "data": 4294967295},
      "Big": {"type": "REG_QWORD", "data": 5000000000},
      "Blob": {"data": "01aB", "type": "REG_BINARY"},
      "Names": {"type": "REG_MULTI_SZ", "data": ["a", "b"]},
      "None": {"type": "REG_MULTI_SZ", "data": []}}}})");
  const auto& key = profile.registry.at("HKLM\\SOFTWARE\\Contoso"_w);
  EXPECT_EQ(key.at(""_w).type, RegistryType{1});
  EXPECT_EQ(key.at(""_w).data, (Bytes{0xE9, 0, 0, 0}));
  EXPECT_EQ(key.at("Path"_w).type, RegistryType{2});
  EXPECT_EQ(key.at("Path"_w).data, (Bytes{0, 0}));
  EXPECT_EQ(key.at("Level"_w).type, RegistryType{4});
  EXPECT_EQ(key.at("Level"_w).data, Bytes(4, 0xFF));
  EXPECT_EQ(key.at("Big"_w).type, RegistryType{11});
  EXPECT_EQ(key.at("Big"_w).data, (Bytes{0x00, 0xF2, 0x05, 0x2A, 0x01, 0, 0, 0}));
  EXPECT_EQ(key.at("Blob"_w).type, RegistryType{3});
  EXPECT_EQ(key.at("Blob"_w).data, (Bytes{0x01, 0xAB}));
  EXPECT_EQ(key.at("Names"_w).type, RegistryType{7});
  EXPECT_EQ(key.at("Names"_w).data, (Bytes{'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}));
  EXPECT_EQ(key.at("None"_w).data, (Bytes{0, 0}));
}

TEST(ReadDeviceProfile, ReadsBase64WithAndWithoutPadding) {
  const auto table = [](const char* text) {
    return ReadDeviceProfile(std::string(R"({"firmware": {"smbios_table": ")") + text + "\"}}")
        .firmware->smbios_table;
  };
  EXPECT_EQ(table(""), Bytes());
  EXPECT_EQ(table("/w=="), Bytes{0xFF});
  EXPECT_EQ(table("AAE="), (Bytes{0, 1}));
  EXPECT_EQ(table("AAEC"), (Bytes{0, 1, 2}));
}

TEST(WriteDeviceProfile, GivesADocumentThatReadsAsTheSameProfile) {
  const std::string document = WriteDeviceProfile(ReadDeviceProfile(R"({
      "clock": {"now": "2026-03-01T02:03:04", "time_zone": "UTC-5", "uptime_seconds": 0},
      "firmware": {"smbios_table": "AAECAw=="},
      "os": {"architecture": 12, "updates": [{"result_code": -2, "categories": ["a"]}]},
      "accelerators": [{"manufacturer": ""}, {"description": "x"}],
      "services": {"a": "stopped", "b": "paused", "c": "running"},
      "registry": {"HKU\\S-1-5-18\\Key": {"n": {"type": "REG_QWORD", "data": 1},
                   "t": {"type": "REG_SZ", "data": "x\ud83d\ude00"},
                   "m": {"type": "REG_MULTI_SZ", "data": ["a", "b"]},
                   "b": {"type": "REG_BINARY", "data": "00ff"}}, "HKCU": {}},
      "first_run_date": "0999-01-10"})"));
  EXPECT_EQ(document, R"({
  "accelerators" : 
  [
    {
      "manufacturer" : ""
    },
    {
      "description" : "x"
    }
  ],
  "clock" : 
  {
    "now" : "2026-03-01T02:03:04",
    "time_zone" : "UTC-5",
    "uptime_seconds" : 0
  },
  "firmware" : 
  {
    "smbios_table" : "AAECAw=="
  },
  "first_run_date" : "0999-01-10",
  "os" : 
  {
    "architecture" : 12,
    "updates" : 
    [
      {
        "categories" : 
        [
          "a"
        ],
        "result_code" : -2
      }
    ]
  },
  "registry" : 
  {
    "HKCU" : {},
    "HKU\\S-1-5-18\\Key" : 
    {
      "b" : 
      {
        "data" : "00ff",
        "type" : "REG_BINARY"
      },
      "m" : 
      {
        "data" : 
        [
          "a",
          "b"
        ],
        "type" : "REG_MULTI_SZ"
      },
      "n" : 
      {
        "data" : 1,
        "type" : "REG_QWORD"
      },
      "t" : 
      {
        "data" : "x😀",
        "type" : "REG_SZ"
      }
    }
  },
  "services" : 
  {
    "a" : "stopped",
    "b" : "paused",
    "c" : "running"
  }
}
)");
  EXPECT_EQ(WriteDeviceProfile(ReadDeviceProfile(document)), document);
}

std::vector<std::string> SortedPaths() {
  std::vector<std::string> paths = DeviceProfilePaths();
  std::ranges::sort(paths);
  return paths;
}

TEST(DeviceProfileDocuments, TheSchemaHasTheReadersKeys) {
  EXPECT_EQ(yox_test::SchemaPaths("schemas/device-profile.schema.json"), SortedPaths());
}

TEST(DeviceProfileDocuments, ThePageNamesEveryKey) {
  const std::string page = yox_test::CheckoutFile("docs/device-profile.md");
  for (const std::string& path : DeviceProfilePaths()) {
    EXPECT_NE(page.find('`' + path + '`'), std::string::npos) << path;
  }
}

TEST(DeviceProfileDocuments, TheExamplesAreRead) {
  for (const char* name : {"falcon-14", "kestrel-mini"}) {
    const std::string document =
        yox_test::CheckoutFile("examples/devices/" + std::string(name) + ".json");
    EXPECT_FALSE(ReadDeviceProfile(document).region.country_code.empty()) << name;
  }
}

struct RefusalRow {
  const char* name;
  std::string text;
  std::string error;
};

class RefusedProfile : public testing::TestWithParam<RefusalRow> {};

TEST_P(RefusedProfile, NamesThePlace) {
  try {
    ReadDeviceProfile(GetParam().text);
    FAIL() << "was read";
  } catch (const DocumentError& error) {
    EXPECT_EQ(error.message(), GetParam().error);
    EXPECT_TRUE(error.place());
  }
}

// A value in a key of the registry.
std::string Value(const std::string& value) {
  return R"({"registry": {"HKLM\\A": {"V": )" + value + "}}}";
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedProfile,
    testing::Values(
        RefusalRow{"Array", "[]", "expected an object, found an array"},
        RefusalRow{"UnknownSection", R"({"colour": 1})", "colour: unknown key"},
        RefusalRow{"UnknownKey", R"({"os": {"updates": [{"titel": ""}]}})",
                   "os.updates[0].titel: unknown key (did you mean \"title\"?)"},
        RefusalRow{"NullSection", R"({"clock": null})", "clock: expected an object, found null"},
        RefusalRow{"WrongType", R"({"os": {"architecture": "x64"}})",
                   "os.architecture: expected a whole number, found a string"},
        RefusalRow{"NotADate", R"({"first_run_date": "2025-1-10"})",
                   "first_run_date: expected a date YYYY-MM-DD"},
        RefusalRow{"NoSuchDay", R"({"first_run_date": "2025-02-29"})",
                   "first_run_date: expected a date YYYY-MM-DD"},
        RefusalRow{"NoSuchHour", R"({"clock": {"now": "2026-03-01T24:00:00"}})",
                   "clock.now: expected a local time YYYY-MM-DDThh:mm:ss"},
        RefusalRow{"TimeWithZone", R"({"clock": {"now": "2026-03-01T12:00:00Z"}})",
                   "clock.now: expected a local time YYYY-MM-DDThh:mm:ss"},
        RefusalRow{"UnknownZone", R"({"clock": {"time_zone": "Mars/Base\n"}})",
                   "clock.time_zone: unknown time zone \"Mars/Base\\u000a\""},
        RefusalRow{"NegativeUptime", R"({"clock": {"uptime_seconds": -1}})",
                   "clock.uptime_seconds: expected a whole number from 0 to 4294967295"},
        RefusalRow{"Base64Letter", R"({"firmware": {"smbios_table": "AA-C"}})",
                   "firmware.smbios_table: malformed base64"},
        RefusalRow{"Base64Length", R"({"firmware": {"smbios_table": "AAE"}})",
                   "firmware.smbios_table: malformed base64"},
        RefusalRow{"Base64Bits", R"({"firmware": {"smbios_table": "AAF="}})",
                   "firmware.smbios_table: malformed base64"},
        RefusalRow{"TableAndFields", R"({"firmware": {"smbios_table": "AAEC", "sku": "x"}})",
                   "firmware.smbios_table: stands instead of the other keys, not beside them"},
        RefusalRow{"ServiceState", R"({"services": {"ccm exec": "started"}})",
                   "services[\"ccm exec\"]: expected one of stopped, running, paused"},
        RefusalRow{"Hive", R"({"registry": {"HKCR\\A": {}}})",
                   R"(registry["HKCR\A"]: a registry path begins with HKLM, HKCU or HKU)"},
        RefusalRow{"NoHive", R"({"registry": {"": {}}})",
                   "registry[\"\"]: a registry path begins with HKLM, HKCU or HKU"},
        RefusalRow{"EmptyKeyName", R"({"registry": {"HKLM\\A\\\\B": {}}})",
                   R"(registry["HKLM\A\\B"]: not a registry path)"},
        RefusalRow{
            "RegistryType", Value(R"({"type": "REG_LINK", "data": ""})"),
            R"(registry["HKLM\A"].V.type: expected one of REG_SZ, REG_EXPAND_SZ, REG_BINARY, )"
            "REG_DWORD, REG_MULTI_SZ, REG_QWORD"},
        RefusalRow{"NoRegistryType", Value(R"({"data": ""})"),
                   R"(registry["HKLM\A"].V: a registry value needs a type)"},
        RefusalRow{"NoRegistryData", Value(R"({"type": "REG_SZ"})"),
                   R"(registry["HKLM\A"].V: a registry value needs data)"},
        RefusalRow{"RegistryKey", Value(R"({"type": "REG_SZ", "data": "", "size": 1})"),
                   R"(registry["HKLM\A"].V.size: unknown key)"},
        RefusalRow{"TextOfNumber", Value(R"({"type": "REG_SZ", "data": 1})"),
                   R"(registry["HKLM\A"].V.data: expected a string, found a number)"},
        RefusalRow{"TextWithNull", Value(R"({"type": "REG_SZ", "data": "a\u0000b"})"),
                   R"(registry["HKLM\A"].V.data: a text with a null character)"},
        RefusalRow{"LargeDword", Value(R"({"type": "REG_DWORD", "data": 4294967296})"),
                   R"(registry["HKLM\A"].V.data: expected a whole number from 0 to 4294967295)"},
        RefusalRow{"OddHexadecimal", Value(R"({"type": "REG_BINARY", "data": "01a"})"),
                   R"(registry["HKLM\A"].V.data: expected pairs of hexadecimal digits)"},
        RefusalRow{"NoHexadecimal", Value(R"({"type": "REG_BINARY", "data": "0g"})"),
                   R"(registry["HKLM\A"].V.data: expected pairs of hexadecimal digits)"},
        RefusalRow{"EmptyInList", Value(R"({"type": "REG_MULTI_SZ", "data": ["a", ""]})"),
                   R"(registry["HKLM\A"].V.data[1]: an empty text would end the list)"}),
    yox_test::RowName());

}  // namespace
}  // namespace yox::platform
