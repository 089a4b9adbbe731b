#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>

#include "yox/device/DeviceInfoProvider.h"
#include "yox/device/InstalledDevice.h"
#include "yox/foundation/YOXHelperFactory.h"
#include "yox/platform/files/Files.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/MeetingCreation.h"
#include "tests/support/PrivateMember.h"
#include "tests/support/SubstitutedPlatform.h"
#include "tests/support/TestRecord.h"

namespace {

using namespace yox::literals;
using YOX::Architecture;
using YOX::DeviceInfoProvider;
using yox::WString;
using yox_test::InstalledDevice;
using yox_test::TestRecord;

// What is kept without a function that returns it.
struct Model : yox_test::PrivateMember<Model, WString DeviceInfoProvider::*> {};

}  // namespace

template struct yox_test::Reach<Model, &DeviceInfoProvider::model_>;

namespace {

WString ModelOf(const DeviceInfoProvider* provider) { return provider->*Reached(Model{}); }

std::shared_ptr<MachineInformation> MakeRecord(const WString& type = "FA14"_w,
                                               const WString& bios = "FAL14 v1.35"_w) {
  auto record = std::make_shared<TestRecord>();
  record->set_device_manufacturer("Contoso"_w);
  record->set_device_enclosuretype("Notebook"_w);
  record->set_device_family("Falcon 14"_w);
  record->set_device_model("FA14-2210"_w);
  record->set_device_mt(type);
  record->set_serial_number("C0FFEE12"_w);
  record->set_device_bios_version(bios);
  return record;
}

std::string WithOverride(const char* model) {
  return std::string(R"({"developer": {"device_model_override": ")") + model + "\"}}";
}

void Configure(InstalledDevice& device, const std::string& elements) {
  yox_test::WriteFile(
      device->files().Locate(device->files().CommonApplicationDataPath()) / "yox-config.xml",
      "<?xml version=\"1.0\"?><configuration>" + elements + "</configuration>");
}

TEST(DeviceInfoProviderTest, WithoutOverrideAndConfigurationAllComesFromTheRecord) {
  InstalledDevice device("{}");
  EXPECT_EQ(DeviceInfoProvider::GetInstance()->GetMTM(), ""_w);
  EXPECT_EQ(DeviceInfoProvider::GetInstance()->Init(MakeRecord()), 0U);
  const DeviceInfoProvider* const provider = DeviceInfoProvider::GetInstance();
  EXPECT_EQ(provider->GetMTM(), "FA14-2210"_w);
  EXPECT_EQ(provider->GetMT(), "FA14"_w);
  EXPECT_EQ(provider->GetSystemSerialNumber(), "C0FFEE12"_w);
  EXPECT_EQ(provider->GetRealSerialNumber(), "C0FFEE12"_w);
  EXPECT_EQ(provider->GetDeviceManufacturer(), "Contoso"_w);
  EXPECT_EQ(provider->GetDeviceEnclosureType(), "Notebook"_w);
  EXPECT_EQ(provider->GetDeviceFamily(), "Falcon 14"_w);
  EXPECT_EQ(provider->GetDeviceCategory(), "PC"_w);
  EXPECT_EQ(ModelOf(provider), "FA14-2210"_w);
}

TEST(DeviceInfoProviderTest, WhatFailsToBeReadIsSuppliedByTheRecord) {
  InstalledDevice device("{}");
  Configure(device,
            "<MachineType>conf</MachineType><SerialNumber>CONF1</SerialNumber><MTM>M</MTM>");
  yox_test::SubstitutedPlatform platform(device.device());
  yox_test::ToldRegistry registry([] { throw std::runtime_error("no registry"); });
  platform.Set(registry);
  const yox::platform::ScopedPlatform installed(platform);
  DeviceInfoProvider* const provider = DeviceInfoProvider::GetInstance();
  const yox_test::CapturedLog captured;
  EXPECT_EQ(provider->Init(MakeRecord()), 0U);
  // What was read before the override stays.
  EXPECT_EQ(provider->GetMT(), "conf"_w);
  EXPECT_EQ(provider->GetSystemSerialNumber(), "CONF1"_w);
  EXPECT_EQ(provider->GetMTM(), "FA14-2210"_w);
  EXPECT_EQ(captured.Text().find("registry"), std::string::npos);
}

TEST(DeviceInfoProviderTest, WhatIsConfiguredComesBeforeTheRecord) {
  InstalledDevice device("{}");
  Configure(device,
            "<MachineType> 20MY </MachineType><SerialNumber>CONF1</SerialNumber>"
            "<BIOSVersion>N2GET1</BIOSVersion><MTM>20MY0001</MTM><MachineModel>M</MachineModel>");
  DeviceInfoProvider* const provider = DeviceInfoProvider::GetInstance();
  EXPECT_EQ(provider->Init(MakeRecord()), 0U);
  EXPECT_EQ(provider->GetMT(), "20MY"_w);
  EXPECT_EQ(provider->GetMTM(), "20MY0001"_w);
  EXPECT_EQ(provider->GetSystemSerialNumber(), "CONF1"_w);
  EXPECT_EQ(provider->GetRealSerialNumber(), "C0FFEE12"_w);
  EXPECT_EQ(provider->GetDeviceCategory(), "HUB"_w);
  EXPECT_EQ(ModelOf(provider), "M"_w);
}

TEST(DeviceInfoProviderTest, ALongOverrideGivesTypeAndModel) {
  InstalledDevice device(WithOverride("20X1ABCD"));
  Configure(device, "<MachineType>conf</MachineType><MTM>configured</MTM>");
  DeviceInfoProvider* const provider = DeviceInfoProvider::GetInstance();
  EXPECT_EQ(provider->Init(MakeRecord()), 0U);
  EXPECT_EQ(provider->GetMT(), "20X1"_w);
  EXPECT_EQ(provider->GetMTM(), "20X1ABCD"_w);
  EXPECT_EQ(ModelOf(provider), "20X1ABCD"_w);
}

TEST(DeviceInfoProviderTest, AShortOverrideIsTheWholeType) {
  InstalledDevice device(WithOverride("20X"));
  DeviceInfoProvider* const provider = DeviceInfoProvider::GetInstance();
  provider->Init(MakeRecord());
  EXPECT_EQ(provider->GetMT(), "20X"_w);
  EXPECT_EQ(provider->GetMTM(), "20X"_w);
}

struct HubRow {
  const char* name;
  const char* type;
  const char* bios;
  const char* category;
};
class DeviceCategoryTest : public testing::TestWithParam<HubRow> {
  // A singleton remembers: each row has a process of its own.
};

TEST_P(DeviceCategoryTest, IsToldByTypeAndBios) {
  InstalledDevice device("{}");
  DeviceInfoProvider* const provider = DeviceInfoProvider::GetInstance();
  provider->Init(MakeRecord(YOX::String::UTF8ToUTF16(GetParam().type),
                            YOX::String::UTF8ToUTF16(GetParam().bios)));
  EXPECT_EQ(YOX::String::UTF16ToUTF8(provider->GetDeviceCategory()), GetParam().category);
}

INSTANTIATE_TEST_SUITE_P(, DeviceCategoryTest,
                         testing::Values(HubRow{"First", "20MY", "N2GET45W", "HUB"},
                                         HubRow{"Second", "20N0", "N2GE", "HUB"},
                                         HubRow{"BiosInLowerCase", "20N0", "n2get45w", "PC"},
                                         HubRow{"ShortBios", "20N0", "N2G", "PC"},
                                         HubRow{"TypeInLowerCase", "20my", "N2GET45W", "PC"},
                                         HubRow{"OtherType", "20MZ", "N2GET45W", "PC"},
                                         HubRow{"LongerType", "20MY1", "N2GET45W", "PC"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(DeviceInfoProviderTest, ASecondInitWithoutForceIgnoresItsRecord) {
  InstalledDevice device("{}");
  DeviceInfoProvider* const provider = DeviceInfoProvider::GetInstance();
  provider->Init(MakeRecord());
  EXPECT_EQ(provider->Init(MakeRecord("OTHR"_w)), 0U);
  EXPECT_EQ(provider->GetMT(), "FA14"_w);
}

TEST(DeviceInfoProviderTest, AForcedInitOnTheHeldPointerStartsOver) {
  InstalledDevice device("{}");
  DeviceInfoProvider* const provider = DeviceInfoProvider::GetInstance();
  provider->Init(MakeRecord());
  provider->setForceRefresh(true);
  EXPECT_EQ(provider->Init(MakeRecord("OTHR"_w)), 0U);
  EXPECT_EQ(provider->GetMT(), "OTHR"_w);
  // The request stays until the next GetInstance.
  EXPECT_EQ(provider->Init(MakeRecord("THRD"_w)), 0U);
  EXPECT_EQ(provider->GetMT(), "THRD"_w);
}

TEST(DeviceInfoProviderTest, GetInstanceTakesAForceRequestBack) {
  InstalledDevice device("{}");
  DeviceInfoProvider* const provider = DeviceInfoProvider::GetInstance();
  provider->Init(MakeRecord());
  provider->setForceRefresh(true);
  EXPECT_EQ(DeviceInfoProvider::GetInstance(), provider);
  EXPECT_EQ(provider->Init(MakeRecord("OTHR"_w)), 0U);
  EXPECT_EQ(provider->GetMT(), "FA14"_w);
}

TEST(DeviceInfoProviderTest, WithoutARecordTheHelperFactorysIsTaken) {
  InstalledDevice device("{}");
  auto record = MakeRecord();
  yox::YOXHelperFactory::GetInstance()->SetMachineInformationAgent(record);
  DeviceInfoProvider* const provider = DeviceInfoProvider::GetInstance();
  EXPECT_EQ(provider->Init(nullptr), 0U);
  EXPECT_EQ(provider->GetMT(), "FA14"_w);
  yox::YOXHelperFactory::ReleaseInstance();
}

TEST(DeviceInfoProviderTest, WithoutAnyRecordNothingChanges) {
  InstalledDevice device("{}");
  DeviceInfoProvider* const provider = DeviceInfoProvider::GetInstance();
  EXPECT_EQ(provider->Init(nullptr), 12U);
  EXPECT_EQ(provider->GetDeviceCategory(), ""_w);
  EXPECT_EQ(provider->Init(MakeRecord()), 0U);
}

TEST(DeviceInfoProviderTest, AMissingSerialNumberFailsOnce) {
  InstalledDevice device("{}");
  DeviceInfoProvider* const provider = DeviceInfoProvider::GetInstance();
  auto record = MakeRecord();
  record->set_serial_number(""_w);
  EXPECT_EQ(provider->Init(record), 12U);
  EXPECT_EQ(provider->GetMT(), "FA14"_w);
  EXPECT_EQ(provider->GetDeviceCategory(), "PC"_w);
  EXPECT_EQ(provider->Init(record), 0U);
  WString id = "untouched"_w;
  EXPECT_EQ(provider->GetLegacyDeviceID(id), 12U);
  EXPECT_EQ(id, "untouched"_w);
}

TEST(DeviceInfoProviderTest, AMissingMachineTypeFails) {
  InstalledDevice device("{}");
  EXPECT_EQ(DeviceInfoProvider::GetInstance()->Init(MakeRecord(""_w)), 12U);
}

TEST(DeviceInfoProviderTest, TheLegacyIdentifierFollowsFromTheSerialNumber) {
  InstalledDevice device("{}");
  DeviceInfoProvider* const provider = DeviceInfoProvider::GetInstance();
  provider->Init(MakeRecord());
  WString id;
  EXPECT_EQ(provider->GetLegacyDeviceID(id), 0U);
  // Other programs store it: do not edit. By any other UUID tool: version 5 of "C0FFEE12" in the
  // name space 0f9c839c-b366-47fc-9251-97b675dc39bb.
  EXPECT_EQ(YOX::String::UTF16ToUTF8(id), "1A00AD57-1D9D-5E3E-BCD7-A6C44957DF08");
}

class ArchitectureQueries final : public yox::platform::ManagementQueries {
 public:
  yox::platform::ManagementAnswer Ask(yox::WStringView, yox::WStringView query,
                                      yox::WStringView property) override {
    ++asked;
    EXPECT_EQ(query, "SELECT Architecture FROM Win32_Processor"_wv);
    EXPECT_EQ(property, "Architecture"_wv);
    if (fail) fail();
    return answer;
  }
  yox::platform::ManagementAnswer answer;
  std::function<void()> fail;  // throws
  int asked = 0;
};

class ArchitectureTest : public testing::Test {
 protected:
  ArchitectureTest() { platform_.Set(queries_); }

  InstalledDevice device_{"{}"};
  yox_test::SubstitutedPlatform platform_{device_.device()};
  ArchitectureQueries queries_;
  yox::platform::ScopedPlatform installed_{platform_};
  DeviceInfoProvider* provider_ = DeviceInfoProvider::GetInstance();
};

TEST_F(ArchitectureTest, NeedsNoRecordAndIsRememberedOnceKnown) {
  queries_.answer.rows = {{0, std::int32_t{12}}, {0, std::int32_t{9}}};
  const yox_test::CapturedLog captured;
  EXPECT_EQ(provider_->GetCPUArchitecture(), Architecture::ARM64);
  EXPECT_EQ(provider_->GetCPUArchitecture(), Architecture::ARM64);
  EXPECT_EQ(queries_.asked, 1);
  ASSERT_EQ(captured.Lines().size(), 1U);
  EXPECT_EQ(captured.Lines()[0].level, YOX::LogLevel::Error);
  EXPECT_EQ(captured.Lines()[0].text,
            "YOX::DeviceInfoProvider::GetCPUArchitecture Architecture is: 12");
}

TEST_F(ArchitectureTest, IsX64ForAnAnswerOfAnotherTypeAndAsksAgain) {
  queries_.answer.rows = {{0, "9"_w}, {0, std::int32_t{12}}};
  EXPECT_EQ(provider_->GetCPUArchitecture(), Architecture::x64);
  queries_.answer.rows.clear();
  EXPECT_EQ(provider_->GetCPUArchitecture(), Architecture::x64);
  EXPECT_EQ(queries_.asked, 2);
  queries_.answer.rows = {{0, std::int32_t{0}}};
  EXPECT_EQ(provider_->GetCPUArchitecture(), Architecture::x86);
}

TEST_F(ArchitectureTest, AnExceptionOfAnyTypeIsLogged) {
  const std::function<void()> failures[] = {[] { throw std::runtime_error("no service"); },
                                            [] { throw 5; }};
  for (const auto& failure : failures) {
    queries_.fail = failure;
    const yox_test::CapturedLog captured;
    EXPECT_EQ(provider_->GetCPUArchitecture(), Architecture::x64);
    ASSERT_EQ(captured.Lines().size(), 1U);
    EXPECT_EQ(captured.Lines()[0].level, YOX::LogLevel::Error);
    EXPECT_EQ(captured.Lines()[0].text,
              "YOX::DeviceInfoProvider::GetCPUArchitecture: Exception in wmi query for "
              "win32_processor");
  }
}

class PresentedProvider : public DeviceInfoProvider {
 public:
  PresentedProvider() = default;
  Architecture GetCPUArchitecture() override {
    ++asked;
    return DeviceInfoProvider::GetCPUArchitecture();
  }
  int asked = 0;
};

TEST(DeviceInfoProviderTest, InitHasTheArchitectureReadyThroughItsVirtualOperation) {
  InstalledDevice device("{}");
  PresentedProvider provider;
  provider.Init(MakeRecord());
  EXPECT_EQ(provider.asked, 1);
  provider.Init(MakeRecord());
  EXPECT_EQ(provider.asked, 1);
}

TEST(DeviceInfoProviderTest, TheEndIsLogged) {
  const yox_test::CapturedLog captured;
  { const PresentedProvider provider; }
  EXPECT_EQ(captured.Text(),
            "yox D YOX::DeviceInfoProvider::~DeviceInfoProvider destructor of DeviceInfoProvider "
            "called\n");
}

TEST(DeviceInfoProviderTest, TwoThreadsCreateOneInstance) {
  EXPECT_EQ(yox_test::CreationsByTwoThreads("Creating object of DeviceInfoProvider",
                                            DeviceInfoProvider::GetInstance),
            1);
}

TEST(DeviceInfoProviderTest, CreationIsLoggedOnce) {
  const yox_test::CapturedLog captured;
  DeviceInfoProvider::GetInstance();
  DeviceInfoProvider::GetInstance();
  ASSERT_EQ(captured.Lines().size(), 1U);
  EXPECT_EQ(captured.Lines()[0].text,
            "YOX::DeviceInfoProvider::GetInstance Creating object of DeviceInfoProvider");
}

}  // namespace
