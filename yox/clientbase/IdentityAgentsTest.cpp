#include <gtest/gtest.h>

#include "yox/base/String.h"
#include "yox/clientbase/BrandAgent.h"
#include "yox/clientbase/DeveloperSettings.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/clientbase/MTMAgent.h"
#include "yox/clientbase/SubBrandAgent.h"
#include "yox/clientbase/System.h"
#include "yox/clientbase/XMLConfigAgent.h"
#include "yox/platform/files/PathText.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/support/ForwardingFiles.h"
#include "tests/support/Rows.h"
#include "tests/support/SubstitutedPlatform.h"

namespace {

using namespace yox::literals;
using YOX::String;
using yox::WString;

struct BrandRow {
  const char* name;
  const char* sku;
  const char* family;
  const char* manufacturer;
  const char* brand;
  const char* sub_brand;
};
class BrandTest : public testing::TestWithParam<BrandRow> {};

TEST_P(BrandTest, IsReadOffTheFirmwaresTexts) {
  const WString sku = String::UTF8ToUTF16(GetParam().sku);
  const WString family = String::UTF8ToUTF16(GetParam().family);
  const WString manufacturer = String::UTF8ToUTF16(GetParam().manufacturer);
  EXPECT_EQ(String::UTF16ToUTF8(BrandAgent::GetBrand(sku, family, manufacturer)), GetParam().brand);
  EXPECT_EQ(String::UTF16ToUTF8(SubBrandAgent::GetSubBrand(sku, family)), GetParam().sub_brand);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BrandTest,
    testing::Values(BrandRow{"Nothing", "", "", "", "", ""},
                    BrandRow{"Family", "FALCON14-16-512", "Falcon 14", "Contoso", "Falcon", "14"},
                    BrandRow{"FamilyOfSeveralWords", "", " Falcon  X1 Carbon ", "Contoso", "Falcon",
                             "X1 Carbon"},
                    BrandRow{"FamilyOfOneWord", "", "Falcon", "Contoso", "Falcon", ""},
                    BrandRow{"FieldsOfTheSku", "MT_20X1_BU_Falcon_FM_Falcon X1", "Other Family",
                             "Contoso", "Falcon", "Falcon X1"},
                    BrandRow{"ModelNameInTheSku", "SKU=0777;ModelName=Edge R777;X=1", "",
                             "Contoso Inc.", "Edge", "R777"},
                    BrandRow{"Manufacturer", "", "", "Contoso Computer Co., Ltd.", "Contoso", ""},
                    BrandRow{"ManufacturerOfTwoWords", "", "", "Wide World Corporation",
                             "Wide World", ""},
                    BrandRow{"OnlyALegalForm", "", "", "Limited", "Limited", ""},
                    BrandRow{"SkuWithoutFields", "ABC", " ", "Contoso Inc.", "Contoso", ""}),
    yox_test::RowName());

TEST(MTMAgentTest, TheMtmIsTheModelNumberWithoutWhiteSpaceAroundIt) {
  EXPECT_EQ(MTMAgent::GetMTM(" \t20X1 ABCD\r\n"_w), "20X1 ABCD"_w);
  EXPECT_EQ(MTMAgent::GetMTM(" \v\f"_w), ""_w);
}

TEST(MTMAgentTest, TheMachineTypeIsItsFirstFourCharacters) {
  EXPECT_EQ(MTMAgent::GetMTFromMTM("20X1ABCD"_w), "20X1"_w);
  EXPECT_EQ(MTMAgent::GetMTFromMTM("20X"_w), "20X"_w);
  EXPECT_EQ(MTMAgent::GetMTFromMTM(""_w), ""_w);
}

// "type|serial|bios|mtm|model"
std::string Written(const XMLConfigAgent& agent) {
  return String::UTF16ToUTF8(agent.GetMachineType() + "|"_w + agent.GetSerialNumber() + "|"_w +
                             agent.GetBIOSVersion() + "|"_w + agent.GetMTM() + "|"_w +
                             agent.GetMachineModel());
}

TEST(XMLConfigAgentTest, FiveElementsAreRead) {
  EXPECT_EQ(Written(XMLConfigAgent::Parse(
                "<?xml version='1.0' encoding='UTF-8'?>\n<configuration version='2'>\n"
                "  <MachineType> 20X1\n</MachineType><!-- c --><SerialNumber>S&amp;1</SerialNumber>"
                "<BIOSVersion>B</BIOSVersion><MTM><![CDATA[M<T>M]]></MTM>"
                "<MachineModel>größe</MachineModel><Else>x</Else></configuration>")),
            "20X1|S&1|B|M<T>M|größe");
}

TEST(XMLConfigAgentTest, WhatIsNotThereIsEmpty) {
  constexpr char kNothing[] = "||||";
  EXPECT_EQ(Written(XMLConfigAgent::Parse("<configuration><MTM/></configuration>")), kNothing);
  EXPECT_EQ(Written(XMLConfigAgent::Parse("")), kNothing);
  EXPECT_EQ(Written(XMLConfigAgent::Parse("<configuration><MTM>M</MTM>")), kNothing);
  EXPECT_EQ(Written(XMLConfigAgent::Parse("<other><MTM>M</MTM></other>")), kNothing);
  EXPECT_EQ(Written(XMLConfigAgent::Parse(std::string(3, '\0'))), kNothing);
}

TEST(XMLConfigAgentTest, TheSimulatedDeviceConfiguresItself) {
  yox::platform::SimulatedDevice device(yox::platform::ReadDeviceProfile(
      R"({"configuration": {"machine_type": "20X1", "serial_number": "S<1>", "bios_version": "B",
                            "mtm": "M", "machine_model": "größe"}})"));
  const yox::platform::ScopedPlatform installed(device);
  EXPECT_EQ(Written(XMLConfigAgent::GetInstance(0)), "20X1|S<1>|B|M|größe");
}

TEST(XMLConfigAgentTest, ADeviceWithoutConfigurationHasNone) {
  yox::platform::SimulatedDevice device;
  const yox::platform::ScopedPlatform installed(device);
  EXPECT_EQ(Written(XMLConfigAgent::GetInstance(0)), "||||");
}

// A device on which another account can have written every file.
class DistrustedFiles final : public yox_test::ForwardingFiles {
 public:
  using ForwardingFiles::ForwardingFiles;
  std::optional<std::string> ReadTrusted(const std::filesystem::path&, std::size_t) override {
    return std::nullopt;
  }
};

TEST(XMLConfigAgentTest, AFileThatSomebodyElseCanWriteConfiguresNothing) {
  yox::platform::SimulatedDevice device(
      yox::platform::ReadDeviceProfile(R"({"configuration": {"serial_number": "planted"}})"));
  DistrustedFiles files(device.files());
  yox_test::SubstitutedPlatform platform(device);
  platform.Set(files);
  const yox::platform::ScopedPlatform installed(platform);
  ASSERT_TRUE(
      FileSystem::fileExists(FileSystem::GetCommonApplicationDataPath() + "/yox-config.xml"_w));
  EXPECT_EQ(Written(XMLConfigAgent::GetInstance(0)), "||||");
}

TEST(XMLConfigAgentTest, AFileLargerThanAMebibyteConfiguresNothing) {
  constexpr std::size_t kMebibyte = std::size_t{1} << 20;
  yox::platform::SimulatedDevice device;
  const yox::platform::ScopedPlatform installed(device);
  const WString path =
      yox::platform::ToText(device.files().folder() / "ProgramData" / "yox-config.xml");
  ASSERT_TRUE(FileSystem::createDirectory(FileSystem::GetCommonApplicationDataPath(), true));
  std::string xml = "<configuration><MTM>M</MTM></configuration>";
  xml.resize(kMebibyte, ' ');
  FileSystem::OpenToWrite(path) << xml;
  EXPECT_EQ(Written(XMLConfigAgent::GetInstance(0)), "|||M|");
  FileSystem::OpenToWrite(path) << xml << ' ';
  EXPECT_EQ(Written(XMLConfigAgent::GetInstance(0)), "||||");
}

TEST(DeveloperSettingsTest, TheOverrideIsAValueOfTheRegistryAndSeenAtOnce) {
  yox::platform::SimulatedDevice device;
  const yox::platform::ScopedPlatform installed(device);
  const YOX::DeveloperSettings& settings = YOX::DeveloperSettings::GetInstance();
  EXPECT_EQ(settings.OverrideDeviceModel(), ""_w);
  const yox::platform::RegistryKey key{
      HKEY_LOCAL_MACHINE, "SOFTWARE\\Tervan\\YOX\\Developer"_w, {}, {}};
  device.registry().CreateKey(key);
  device.registry().SetValue(key, "DeviceModel"_w, yox::platform::RegistryValue::Text("20X1AB"_w));
  EXPECT_EQ(settings.OverrideDeviceModel(), "20X1AB"_w);
  device.registry().SetValue(key, "DeviceModel"_w, yox::platform::RegistryValue::Dword(20));
  EXPECT_EQ(settings.OverrideDeviceModel(), ""_w);
}

TEST(SystemTest, TheTimeIsWrittenInUtc) {
  yox::platform::SimulatedDevice device(yox::platform::ReadDeviceProfile(
      R"({"clock": {"now": "2026-03-01T00:30:05", "time_zone": "Asia/Tokyo"}})"));
  const yox::platform::ScopedPlatform installed(device);
  EXPECT_EQ(YOX::System::GetTime(), "2026-02-28T15:30:05Z"_w);
}

}  // namespace
