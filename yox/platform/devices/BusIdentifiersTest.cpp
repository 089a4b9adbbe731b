#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "yox/platform/devices/BusIdentifiers.h"

#include "tests/support/Rows.h"

namespace yox::platform::bus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kPciModalias = "pci:v00008086d00009D29sv00001043sd00001D2Dbc11sc80i00";

TEST(PciIdentifiersTest, GoFromBoardAndRevisionToClass) {
  const Names names = Pci(kPciModalias, 0x21);
  EXPECT_EQ(names.device, "PCI\\VEN_8086&DEV_9D29&SUBSYS_1D2D1043&REV_21");
  EXPECT_THAT(names.hardware_ids,
              ElementsAre("PCI\\VEN_8086&DEV_9D29&SUBSYS_1D2D1043&REV_21",
                          "PCI\\VEN_8086&DEV_9D29&SUBSYS_1D2D1043", "PCI\\VEN_8086&DEV_9D29&REV_21",
                          "PCI\\VEN_8086&DEV_9D29", "PCI\\VEN_8086&DEV_9D29&CC_118000",
                          "PCI\\VEN_8086&DEV_9D29&CC_1180"));
}

TEST(PciIdentifiersTest, WhatTheBusDoesNotTellIsLeftOut) {
  EXPECT_THAT(Pci("pci:v00008086d00009D29", std::nullopt).hardware_ids,
              ElementsAre("PCI\\VEN_8086&DEV_9D29"));
  EXPECT_THAT(Pci("pci:v00008086", 0x21).hardware_ids, IsEmpty());
}

TEST(UsbIdentifiersTest, ADeviceHasItsReleaseAndItsProduct) {
  const Names names = Usb({.vendor = 0x1050, .product = 0x120, .release = 0x512});
  EXPECT_EQ(names.device, "USB\\VID_1050&PID_0120");
  EXPECT_THAT(names.hardware_ids,
              ElementsAre("USB\\VID_1050&PID_0120&REV_0512", "USB\\VID_1050&PID_0120"));
}

TEST(UsbIdentifiersTest, AFunctionHasItsNumberBehindBoth) {
  const Names names =
      Usb({.vendor = 0x46D, .product = 0xC52B, .release = 0x1211, .interface = 0x0A});
  EXPECT_EQ(names.device, "USB\\VID_046D&PID_C52B&MI_0A");
  EXPECT_THAT(names.hardware_ids,
              ElementsAre("USB\\VID_046D&PID_C52B&REV_1211&MI_0A", "USB\\VID_046D&PID_C52B&MI_0A"));
}

TEST(HidIdentifiersTest, RepeatThoseOfTheDeviceBehindThem) {
  const Names names = Hid("hid:b0003g0001v00001050p00000120", 0x512, 1);
  EXPECT_EQ(names.device, "HID\\VID_1050&PID_0120&MI_01");
  EXPECT_THAT(names.hardware_ids, ElementsAre("HID\\VID_1050&PID_0120&REV_0512&MI_01",
                                              "HID\\VID_1050&PID_0120&MI_01", "HID_DEVICE"));
}

TEST(AcpiIdentifiersTest, HaveThreeForms) {
  EXPECT_THAT(Acpi("ELAN7001").hardware_ids,
              ElementsAre("ACPI\\VEN_ELAN&DEV_7001", "ACPI\\ELAN7001", "*ELAN7001"));
  EXPECT_THAT(Acpi("pnp0f13").hardware_ids,
              ElementsAre("ACPI\\VEN_PNP&DEV_0F13", "ACPI\\PNP0F13", "*PNP0F13"));
}

TEST(AcpiIdentifiersTest, AreNotTakenApartWhereTheyAreOfNoKnownForm) {
  EXPECT_THAT(Acpi("VMGENCTR").hardware_ids, ElementsAre("ACPI\\VMGENCTR", "*VMGENCTR"));
  EXPECT_THAT(Acpi("A1").hardware_ids, ElementsAre("ACPI\\A1", "*A1"));
}

TEST(AcpiIdentifiersTest, NeitherTheKernelsOwnNorBrokenOnesCount) {
  EXPECT_TRUE(Acpi("LNXSYSTM").empty());
  EXPECT_TRUE(Acpi("").empty());
  EXPECT_TRUE(Acpi("PNP 303").empty());
  EXPECT_TRUE(Acpi("PNP0303\\X").empty());
}

TEST(AcpiIdentifiersTest, TheFirstOfSeveralIsTheDevicesOwn) {
  EXPECT_EQ(FirstAcpiId("acpi:ELAN7001:PNP0C50:"), "ELAN7001");
  EXPECT_EQ(FirstAcpiId("acpi:PNP0303:\n"), "PNP0303");
  EXPECT_EQ(FirstAcpiId("platform:i8042"), "");
  EXPECT_EQ(FirstPnpId("PNP: LEN0020 PNP0f13"), "LEN0020");
  EXPECT_EQ(FirstPnpId(""), "");
}

TEST(StorageIdentifiersTest, FillTheFieldsToTheirWidth) {
  const Names names = Storage({"USBSTOR", 0, "SanDisk", "Ultra", "1.00"});
  EXPECT_EQ(names.device, "USBSTOR\\DISK&VEN_SANDISK&PROD_ULTRA");
  EXPECT_THAT(names.hardware_ids,
              ElementsAre("USBSTOR\\DiskSanDisk_Ultra___________1.00",
                          "USBSTOR\\DiskSanDisk_Ultra___________", "USBSTOR\\DiskSanDisk_",
                          "USBSTOR\\SanDisk_Ultra___________1", "SanDisk_Ultra___________1",
                          "USBSTOR\\GenDisk", "GenDisk"));
}

TEST(StorageIdentifiersTest, CutLongTextsAndReplaceWhatAnIdCannotHold) {
  const Names names = Storage({"SCSI", 5, "A,B", "A model name that is long\xC3\xA4", "12345"});
  EXPECT_EQ(names.hardware_ids[0], "SCSI\\CdRomA_B_____A_model_name_tha1234");
}

TEST(StorageIdentifiersTest, AnUnknownTypeIsOther) {
  EXPECT_EQ(Storage({"SCSI", 13, "V", "P", "R"}).hardware_ids.back(), "V_______P_______________R");
  EXPECT_TRUE(Storage({"SCSI", 0, "V", " \n", "R"}).empty());
}

TEST(MonitorIdentifiersTest, ComeFromMakerAndProductOfTheEdid) {
  std::string edid("\0\xFF\xFF\xFF\xFF\xFF\xFF\0\x10\xAC\xA9\x40", 12);  // D, E, L; 0x40A9
  edid.resize(128, '\0');
  EXPECT_EQ(Monitor(edid).device, "DISPLAY\\DEL40A9");
  EXPECT_THAT(Monitor(edid).hardware_ids, ElementsAre("MONITOR\\DEL40A9"));
  EXPECT_TRUE(Monitor(edid.substr(0, 127)).empty());
  edid[0] = 1;
  EXPECT_TRUE(Monitor(edid).empty());
}

struct ModaliasCase {
  const char* name;
  std::string_view modalias;
  std::string_view tag;
  std::optional<std::uint32_t> number;
};

class ModaliasText : public testing::TestWithParam<ModaliasCase> {};

TEST_P(ModaliasText, GivesTheNumberBehindTheTag) {
  EXPECT_EQ(ModaliasNumber(GetParam().modalias, GetParam().tag), GetParam().number);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ModaliasText,
    testing::Values(ModaliasCase{"First", kPciModalias, "v", 0x8086},
                    ModaliasCase{"NotATagThatEndsSo", kPciModalias, "d", 0x9D29},
                    ModaliasCase{"LongTag", kPciModalias, "sd", 0x1D2D},
                    ModaliasCase{"Last", kPciModalias, "i", 0},
                    ModaliasCase{"Missing", kPciModalias, "x", std::nullopt},
                    ModaliasCase{"NoBus", "v00008086", "v", std::nullopt},
                    ModaliasCase{"NoNumber", "usb:v", "v", std::nullopt},
                    ModaliasCase{"Wildcard", "usb:v*p0120", "p", std::nullopt},
                    ModaliasCase{"TooLarge", "usb:v123456789", "v", std::nullopt},
                    ModaliasCase{"LowerCaseDigitsAreTags", "usb:v12ab3", "ab", 3}),
    yox_test::RowName());

TEST(HexadecimalTest, ReadsWhatSysfsWrites) {
  EXPECT_EQ(Hexadecimal("0x21\n"), 0x21U);
  EXPECT_EQ(Hexadecimal(" 1050"), 0x1050U);
  EXPECT_EQ(Hexadecimal(""), std::nullopt);
  EXPECT_EQ(Hexadecimal("0x"), std::nullopt);
  EXPECT_EQ(Hexadecimal("21 22"), std::nullopt);
}

}  // namespace
}  // namespace yox::platform::bus
