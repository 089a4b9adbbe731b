#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <tuple>

#include "yox/base/String.h"
#include "yox/platform/devices/linux/LinuxAccelerators.h"
#include "yox/platform/devices/linux/LinuxDisplayAdapters.h"
#include "yox/platform/devices/linux/PciNames.h"
#include "yox/platform/files/linux/RootFiles.h"
#include "yox/platform/firmware/linux/LinuxFirmware.h"
#include "yox/platform/system/linux/Assignments.h"
#include "yox/platform/system/linux/LinuxOperatingSystem.h"
#include "yox/platform/system/linux/PackageHistory.h"
#include "yox/platform/system/linux/ProgramOutput.h"

#include "tests/support/Rows.h"
#include "tests/support/SmbiosTable.h"
#include "tests/support/SystemRoot.h"

namespace {

using namespace yox::literals;
using namespace yox::platform;
using YOX::String;
using Root = yox_test::SystemRoot;
using yox_test::SmbiosTable;

constexpr char kDebian[] =
    "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n"
    "NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\nID=debian\n";

TEST(LinuxFirmwareTest, TheTablesComeBeforeTheSingleTexts) {
  const SmbiosTable table = SmbiosTable::Laptop();
  Root root;
  root.File("sys/firmware/dmi/tables/DMI", table.structures());
  root.File("sys/firmware/dmi/tables/smbios_entry_point", table.EntryPoint64(3, 4));
  root.File("sys/class/dmi/id/sys_vendor", "Fabrikam\n");
  LinuxFirmware firmware(root.path());
  ASSERT_NE(firmware.Facts(), nullptr);
  EXPECT_EQ(firmware.Facts()->manufacturer, "Contoso"_w);
  EXPECT_EQ(firmware.Facts()->serial_number, "C0FFEE12"_w);
  EXPECT_EQ(firmware.Facts()->smbios_version, "3.4"_w);
}

TEST(LinuxFirmwareTest, TheSingleTextsAnswerWhereTheTablesCannotBeRead) {
  Root root;
  const std::string id = "sys/class/dmi/id/";
  root.File(id + "sys_vendor", "Contoso\n").File(id + "product_name", "FA14-2210 \n");
  root.File(id + "product_family", "To be filled by O.E.M.\n").File(id + "chassis_type", "10\n");
  root.File(id + "bios_version", "FAL14 v1.35\n").File(id + "bios_release", "1.35\n");
  root.File(id + "bios_date", "11/03/2025\n").File(id + "ec_firmware_release", "1.20\n");
  LinuxFirmware firmware(root.path());
  ASSERT_NE(firmware.Facts(), nullptr);
  EXPECT_EQ(firmware.Facts()->manufacturer, "Contoso"_w);
  EXPECT_EQ(firmware.Facts()->model_number, "FA14-2210"_w);
  EXPECT_EQ(firmware.Facts()->family, ""_w);
  EXPECT_EQ(firmware.Facts()->enclosure_type, "Notebook"_w);
  EXPECT_EQ(firmware.Facts()->bios_version, "FAL14 v1.35"_w);
  EXPECT_EQ(firmware.Facts()->bios_version_short, "1.35"_w);
  EXPECT_EQ(firmware.Facts()->bios_release_date, "2025-11-03"_w);
  EXPECT_EQ(firmware.Facts()->ec_version, "1.20"_w);
  EXPECT_EQ(firmware.Facts()->serial_number, ""_w);
  EXPECT_EQ(firmware.Facts()->smbios_version, ""_w);
}

TEST(LinuxFirmwareTest, ABoardIsDescribedByItsDeviceTree) {
  using namespace std::string_literals;
  Root root;
  root.File("sys/firmware/devicetree/base/model", "Contoso Board 4 Model B\0"s);
  root.File("sys/firmware/devicetree/base/serial-number", "10000000c0ffee12\0"s);
  LinuxFirmware firmware(root.path());
  ASSERT_NE(firmware.Facts(), nullptr);
  EXPECT_EQ(firmware.Facts()->model_number, "Contoso Board 4 Model B"_w);
  EXPECT_EQ(firmware.Facts()->serial_number, "10000000c0ffee12"_w);
  EXPECT_EQ(firmware.Facts()->manufacturer, ""_w);
  root.File("sys/class/dmi/id/product_name", "FA14-2210\n");
  firmware.Reread();
  EXPECT_EQ(firmware.Facts()->model_number, "FA14-2210"_w) << "SMBIOS says more";
}

TEST(LinuxFirmwareTest, ADeviceWithoutFirmwareTablesHasNoFacts) {
  const Root root;
  LinuxFirmware firmware(root.path());
  EXPECT_EQ(firmware.Facts(), nullptr);
}

TEST(LinuxFirmwareTest, AChangeIsSeenByTheNextRereadOnly) {
  Root root;
  root.File("sys/class/dmi/id/sys_vendor", "Contoso\n");
  LinuxFirmware firmware(root.path());
  ASSERT_NE(firmware.Facts(), nullptr);
  root.File("sys/class/dmi/id/sys_vendor", "Fabrikam\n");
  EXPECT_EQ(firmware.Facts()->manufacturer, "Contoso"_w);
  firmware.Reread();
  EXPECT_EQ(firmware.Facts()->manufacturer, "Fabrikam"_w);
}

TEST(AssignmentsTest, QuotesAndBackslashesGoAsInAShell) {
  const auto values = ReadAssignments(
      "# comment\nA=plain\nB=\"two words\"\nC='sin$gle \\x'\nD=\"a \\\"b\\\" \\$c\"\nE=x # y\n"
      "F=\n not=1\nno line\n=x\nG=\"open\nA=again\nH=a\"b c\"d");
  const Assignments expected = {{"A", "again"},      {"B", "two words"}, {"C", "sin$gle \\x"},
                                {"D", "a \"b\" $c"}, {"E", "x"},         {"F", ""},
                                {"G", "open"},       {"H", "ab cd"}};
  EXPECT_EQ(values, expected);
}

TEST(LinuxOperatingSystemTest, NamesComeFromOsRelease) {
  Root root;
  root.File("usr/lib/os-release",
            "NAME='Fedora Linux'\nVERSION_ID=41\nVARIANT_ID=workstation\n"
            "PRETTY_NAME=\"Fedora Linux 41 (Workstation Edition)\"\n");
  LinuxOperatingSystem system(root.path());
  EXPECT_EQ(system.ProductName(), "Fedora Linux"_w);
  EXPECT_EQ(system.EditionId(), "workstation"_w);
  EXPECT_EQ(system.Version(), "41.0"_w);
  EXPECT_EQ(system.Caption(), "Fedora Linux 41 (Workstation Edition)"_w);
  EXPECT_FALSE(system.IsSMode());
}

TEST(LinuxOperatingSystemTest, TheFileInEtcComesFirst) {
  Root root;
  root.File("etc/os-release", kDebian).File("usr/lib/os-release", "NAME=Other\n");
  EXPECT_EQ(LinuxOperatingSystem(root.path()).ProductName(), "Debian GNU/Linux"_w);
}

TEST(LinuxOperatingSystemTest, ASystemWithoutAnyFileAnswersWithEmptyTexts) {
  const Root root;
  LinuxOperatingSystem system(root.path());
  EXPECT_EQ(system.ProductName(), ""_w);
  EXPECT_EQ(system.EditionId(), ""_w);
  EXPECT_EQ(system.Version(), ""_w);
  EXPECT_EQ(system.Caption(), ""_w);
  EXPECT_EQ(system.Architecture(), 65535U);
  EXPECT_EQ(system.UpdateServiceStartType(), 0U);
  EXPECT_TRUE(system.UpdateHistory().empty());
}

struct VersionRow {
  const char* name;
  const char* os_release;
  const char* debian_version;
  const char* kernel;
  const char* version;
};
class LinuxVersionTest : public testing::TestWithParam<VersionRow> {};

TEST_P(LinuxVersionTest, HasAtLeastTwoNumbers) {
  const VersionRow& row = GetParam();
  Root root;
  root.File("etc/os-release", row.os_release);
  root.File("var/lib/dpkg/status",
            "Package: base-files\nStatus: install ok installed\nVersion: 13.8+deb13u1\n");
  root.File("etc/debian_version", row.debian_version);
  root.File("proc/sys/kernel/osrelease", row.kernel);
  EXPECT_EQ(String::UTF16ToUTF8(LinuxOperatingSystem(root.path()).Version()), row.version);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, LinuxVersionTest,
    testing::Values(
        VersionRow{"TwoNumbers", "VERSION_ID=24.04\n", "trixie/sid\n", "6.8.0\n", "24.04"},
        VersionRow{"PointReleaseOfUbuntu",
                   "VERSION_ID=\"22.04\"\nVERSION=\"22.04.5 LTS (Jammy Jellyfish)\"\n",
                   "bookworm/sid\n", "6.8.0\n", "22.04.5"},
        VersionRow{"PointReleaseOfAnother", "VERSION_ID=22.04\nVERSION=\"22.041 LTS\"\n", "", "",
                   "22.04"},
        VersionRow{"PointReleaseOfDebian", "ID=debian\nVERSION_ID=12\nVERSION=\"12 (bookworm)\"\n",
                   "12.8\n", "6.1.0\n", "12.8"},
        VersionRow{"AnotherReleaseOfDebian", "VERSION_ID=1\n", "12.8\n", "6.1.0\n", "1.0"},
        VersionRow{"DebianTesting", "ID=debian\nPRETTY_NAME=\"Debian GNU/Linux forky/sid\"\n",
                   "forky/sid\n", "6.11.4\n", "13.8"},
        VersionRow{"OneNumber", "VERSION_ID=41\n", "", "6.11.4\n", "41.0"},
        VersionRow{"OnlyAKernel", "ID=arch\n", "", "6.9.3-arch1-1\n", "6.9.3"},
        VersionRow{"Nothing", "", "", "", ""}),
    yox_test::RowName());

TEST(LinuxOperatingSystemTest, TheKernelsMachineNameGivesTheArchitecture) {
  for (const auto& [name, architecture] : {std::pair{"x86_64\n", 9U},
                                           {"aarch64\n", 12U},
                                           {"armv7l\n", 5U},
                                           {"i686\n", 0U},
                                           {"riscv64\n", 65535U}}) {
    Root root;
    root.File("proc/sys/kernel/arch", name);
    EXPECT_EQ(LinuxOperatingSystem(root.path()).Architecture(), architecture) << name;
  }
}

TEST(LinuxOperatingSystemTest, AnEnabledUpgradeTimerIsAutomatic) {
  Root root;
  root.File("lib/systemd/system/apt-daily-upgrade.timer", "");
  EXPECT_EQ(LinuxOperatingSystem(root.path()).UpdateServiceStartType(), 3U);
  root.Link("etc/systemd/system/timers.target.wants/apt-daily-upgrade.timer",
            "/lib/systemd/system/apt-daily-upgrade.timer");
  EXPECT_EQ(LinuxOperatingSystem(root.path()).UpdateServiceStartType(), 2U);
}

TEST(LinuxOperatingSystemTest, AMaskedUpgradeTimerIsDisabled) {
  Root root;
  root.File("lib/systemd/system/apt-daily-upgrade.timer", "");
  root.Link("etc/systemd/system/apt-daily-upgrade.timer", "/dev/null");
  EXPECT_EQ(LinuxOperatingSystem(root.path()).UpdateServiceStartType(), 4U);
}

TEST(LinuxOperatingSystemTest, TheFirstDayIsThatOfTheMachineId) {
  Root root;
  LinuxOperatingSystem system(root.path());
  EXPECT_EQ(system.FirstRunDate(), std::nullopt);
  const auto touch = [&](const char* path, std::int64_t moment) {
    const std::string file = root.path() / path;
    const timespec times[] = {{moment, 0}, {moment, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
  };
  constexpr std::int64_t kNoon = 1736510400;  // 2025-01-10
  root.File("lost+found", "");
  touch("lost+found", kNoon - 86400 * 3);
  EXPECT_EQ(system.FirstRunDate(), (LocalDate{2025, 1, 7}));
  root.File("etc/machine-id", "");
  touch("etc/machine-id", kNoon);
  EXPECT_EQ(system.FirstRunDate(), (LocalDate{2025, 1, 7})) << "not started yet";
  root.File("etc/machine-id", "0123456789abcdef0123456789abcdef\n");
  touch("etc/machine-id", kNoon);
  EXPECT_EQ(system.FirstRunDate(), (LocalDate{2025, 1, 10}));
}

constexpr char kAptLog[] = R"(
Start-Date: 2025-11-01  06:00:00
Commandline: apt-get install vim
Install: vim:amd64 (2:9.0)
End-Date: 2025-11-01  06:00:09

Start-Date: 2025-11-02  06:00:00
Commandline: /usr/bin/unattended-upgrade
Upgrade: libssl3:amd64 (3.0.1, 3.0.2)
End-Date: 2025-11-02  06:00:09

Start-Date: 2025-11-03  06:00:00
Commandline: apt-get upgrade
Upgrade: bash:amd64 (5.1, 5.2)
Error: Sub-process /usr/bin/dpkg returned an error code (1)
End-Date: 2025-11-03  06:00:09

Start-Date: 2025-11-04  06:00:00
Upgrade: curl:amd64 (7, 8)
)";

// "result title: description"
std::string Written(const std::vector<OperatingSystemUpdate>& updates) {
  std::string text;
  for (const OperatingSystemUpdate& update : updates) {
    text += std::to_string(update.result_code) + " " +
            String::UTF16ToUTF8(update.title.value_or("no title"_w)) + ": " +
            String::UTF16ToUTF8(update.description) + "\n";
  }
  return text;
}

TEST(PackageHistoryTest, AptsUpgradesComeNewestFirst) {
  EXPECT_EQ(Written(ReadAptHistory(kAptLog)),
            "1 : curl:amd64 (7, 8)\n"
            "4 apt-get upgrade: bash:amd64 (5.1, 5.2)\n"
            "2 /usr/bin/unattended-upgrade: libssl3:amd64 (3.0.1, 3.0.2)\n");
}

TEST(PackageHistoryTest, AnEntryOfAptThatLacksItsBeginningIsPassedOver) {
  EXPECT_EQ(Written(ReadAptHistory("Commandline: apt upgrade\nUpgrade: bash:amd64 (5.1, 5.2)\n"
                                   "End-Date: 2025-11-01  06:00:09\n\n"
                                   "Start-Date: 2025-11-02  06:00:00\n"
                                   "Upgrade: curl:amd64 (7, 8)\n"
                                   "End-Date: 2025-11-02  06:00:09\n")),
            "2 : curl:amd64 (7, 8)\n");
}

TEST(PackageHistoryTest, DnfsUpgradesAreGroupedByRun) {
  EXPECT_EQ(Written(ReadDnfHistory(
                "2025-11-01T06:00:00+0000 INFO --- logging initialized ---\n"
                "2025-11-01T06:00:01+0000 SUBDEBUG Upgrade: bash-5.2.21-1.fc39.x86_64\n"
                "2025-11-01T06:00:01+0000 SUBDEBUG Upgrade: curl-8.2.1-3.fc39.x86_64\n"
                "2025-11-01T06:00:02+0000 SUBDEBUG Upgraded: bash-5.2.15-5.fc39.x86_64\n"
                "2025-11-02T06:00:00+0000 INFO --- logging initialized ---\n"
                "2025-11-02T06:00:01+0000 SUBDEBUG Installed: vim-9.0-1.fc39.x86_64\n"
                "2025-11-03T06:00:00+0000 INFO --- logging initialized ---\n"
                "2025-11-03T06:00:01+0000 SUBDEBUG Upgrade: zlib-1.3-1.fc39.x86_64\n"
                "2025-11-03T06:00:01+0000 ERROR Error unpacking rpm package zlib-1.3\n")),
            "4 dnf: zlib-1.3-1.fc39.x86_64\n"
            "2 dnf: bash-5.2.21-1.fc39.x86_64, curl-8.2.1-3.fc39.x86_64\n");
}

TEST(PackageHistoryTest, ZyppersUpdateCommandsAreItsUpgrades) {
  EXPECT_EQ(Written(ReadZypperHistory(
                "# 2025-11-01 06:00:00 bash-5.2-1.1.x86_64.rpm installed ok\n"
                "2025-11-01 06:00:00|install|before|1|x86_64||repo-oss|00|\n"
                "2025-11-01 06:00:00|command|root@host|'zypper' '-n' 'up'|\n"
                "2025-11-01 06:00:01|install|bash|5.2-1.1|x86_64||repo-oss|0123|\n"
                "2025-11-01 06:00:01|install|curl|8.6-2.1|x86_64||repo-oss|4567|\n"
                "2025-11-01 06:00:02|remove |old|1.0-1.1|x86_64|root@host|\n"
                "2025-11-02 06:00:00|command|root@host|'zypper' 'in' 'vim'|\n"
                "2025-11-02 06:00:01|install|vim|9.0-1.1|x86_64|root@host|repo-oss|89ab|\n"
                "2025-11-03 06:00:00|command|root@host|'zypper' 'dup'|\n"
                "2025-11-03 06:00:01|install|zlib|1.3-1.1|x86_64||repo-oss|cdef|")),
            "2 'zypper' 'dup': zlib 1.3-1.1\n"
            "2 'zypper' '-n' 'up': bash 5.2-1.1, curl 8.6-2.1\n");
}

TEST(PackageHistoryTest, PacmansUpgradesAreGroupedByTransaction) {
  EXPECT_EQ(Written(ReadPacmanHistory("[2025-11-01T06:00:00+0000] [ALPM] transaction started\n"
                                      "[2025-11-01T06:00:01+0000] [ALPM] upgraded bash (1 -> 2)\n"
                                      "[2025-11-01T06:00:01+0000] [ALPM] installed vim (9)\n"
                                      "[2025-11-01T06:00:01+0000] [ALPM] upgraded curl (7 -> 8)\n"
                                      "[2025-11-01T06:00:02+0000] [ALPM] transaction completed\n"
                                      "[2025-11-02T06:00:00+0000] [ALPM] transaction started\n"
                                      "[2025-11-02T06:00:00+0000] [ALPM] upgraded zlib (1 -> 2)\n"
                                      "[2025-11-02T06:00:00+0000] [ALPM] transaction failed\n")),
            "4 pacman: zlib (1 -> 2)\n2 pacman: bash (1 -> 2), curl (7 -> 8)\n");
}

TEST(LinuxOperatingSystemTest, TheUpdateHistoryBearsTheSystemsNameAsCategory) {
  Root root;
  root.File("etc/os-release", kDebian).File("var/log/apt/history.log", kAptLog);
  const auto history = LinuxOperatingSystem(root.path()).UpdateHistory();
  ASSERT_EQ(history.size(), 3U);
  for (const OperatingSystemUpdate& update : history) {
    EXPECT_EQ(update.categories, std::vector{"Debian GNU/Linux"_w});
  }
}

TEST(LinuxOperatingSystemTest, TheHistoryIsThatOfThePackageManagerThatKeepsOne) {
  for (const auto& [file, log, description] :
       {std::tuple{"dnf.rpm.log", "2025 SUBDEBUG Upgrade: bash-5\n", "bash-5"_w},
        {"zypp/history", "2025|command|root|'zypper' 'up'|\n2025|install|bash|5|x|\n", "bash 5"_w},
        {"pacman.log", "[2025] [ALPM] upgraded bash (4 -> 5)\n", "bash (4 -> 5)"_w}}) {
    Root root;
    root.File(std::string("var/log/") + file, log);
    const auto history = LinuxOperatingSystem(root.path()).UpdateHistory();
    ASSERT_EQ(history.size(), 1U) << file;
    EXPECT_EQ(history[0].description, description);
  }
}

constexpr char kPciIds[] = R"(# names
1002  Advanced Micro Devices, Inc. [AMD/ATI]
	744c  Navi 31 [Radeon RX 7900 XT/7900 XTX]
		1002 0e3b  Subsystem
8086  Intel Corporation
	7d1d  Meteor Lake NPU
	7d55  Meteor Lake-P [Intel Arc Graphics]
ffff  Last
)";

TEST(PciNamesTest, AVendorsDevicesStandBelowIt) {
  EXPECT_EQ(FindPciName(kPciIds, 0x8086, 0x7D55).device, "Meteor Lake-P [Intel Arc Graphics]");
  EXPECT_EQ(FindPciName(kPciIds, 0x8086, 0x7D55).vendor, "Intel Corporation");
  EXPECT_EQ(FindPciName(kPciIds, 0x8086, 0x744C).device, "");
  EXPECT_EQ(FindPciName(kPciIds, 0x1002, 0x1002).device, "");
  EXPECT_EQ(FindPciName(kPciIds, 0x1234, 0x7D55).vendor, "");
  EXPECT_EQ(FindPciName(kPciIds, 0xFFFF, 1).vendor, "Last");
}

// "description software dedicated shared"
std::string Written(const std::optional<std::vector<DisplayAdapter>>& adapters) {
  if (!adapters) return "nothing";
  std::string text;
  for (const DisplayAdapter& adapter : *adapters) {
    text += String::UTF16ToUTF8(adapter.description) + (adapter.software ? " software " : " ") +
            std::to_string(adapter.dedicated_video_memory) + " " +
            std::to_string(adapter.shared_system_memory) + "\n";
  }
  return text;
}

TEST(LinuxDisplayAdaptersTest, CardsAreToldInOrderWithNamesAndMemory) {
  Root root;
  root.File("usr/share/misc/pci.ids", kPciIds).File("proc/meminfo", "MemTotal:       2048 kB\n");
  const std::string drm = "sys/class/drm/";
  root.File(drm + "card10/device/vendor", "0x1002\n")
      .File(drm + "card10/device/device", "0x744c\n");
  root.File(drm + "card10/device/mem_info_vram_total", "21458059264\n");
  root.File(drm + "card1/device/vendor", "0x8086\n").File(drm + "card1/device/device", "0x7d55\n");
  root.File(drm + "card1/device/resource",
            "0x0000000090000000 0x0000000090ffffff 0x0000000000140204\n"
            "0x0000004000000000 0x000000400fffffff 0x000000000014220c\n"
            "0x0000000000000000 0x0000000000000000 0x0000000000000000\n"
            "0x0000000000003000 0x000000000000303f 0x0000000000040101\n");
  root.File(drm + "card1-eDP-1/status", "connected\n").File(drm + "renderD128/dev", "226:128\n");
  root.File(drm + "card2/uevent", "").Link(drm + "card2/device/driver", "../../bus/drivers/vkms");
  EXPECT_EQ(Written(LinuxDisplayAdapters(root.path()).Enumerate()),
            "Intel Corporation Meteor Lake-P [Intel Arc Graphics] 268435456 1048576\n"
            "vkms software 0 0\n"
            "Advanced Micro Devices, Inc. [AMD/ATI] Navi 31 [Radeon RX 7900 XT/7900 XTX] "
            "21458059264 1048576\n");
}

TEST(LinuxDisplayAdaptersTest, DisplayControllersWithoutACardFollow) {
  Root root;
  root.File("proc/meminfo", "MemTotal:       2048 kB\n");
  root.File("sys/class/drm/card0/device/vendor", "0x8086\n");
  root.File("sys/class/drm/card0/device/device", "0x7d55\n");
  const auto add = [&](const std::string& place, const char* device_class, const char* device) {
    const std::string folder = "sys/bus/pci/devices/" + place + "/";
    root.File(folder + "class", device_class).File(folder + "vendor", "0x10de\n");
    root.File(folder + "device", device);
  };
  add("0000:02:00.0", "0x030200\n", "0x2684\n");
  add("0000:01:00.0", "0x030000\n", "0x2504\n");
  add("0000:00:02.0", "0x030000\n", "0x7d55\n");
  root.File("sys/bus/pci/devices/0000:00:02.0/drm/card0/dev", "226:0\n");
  add("0000:01:00.1", "0x040300\n", "0x228e\n");
  EXPECT_EQ(Written(LinuxDisplayAdapters(root.path()).Enumerate()),
            "Intel 8086:7d55 0 1048576\nNVIDIA 10de:2504 0 1048576\nNVIDIA 10de:2684 0 1048576\n");
}

TEST(LinuxDisplayAdaptersTest, APciBusWithoutDisplayControllersHasNoAdapter) {
  Root root;
  root.File("sys/bus/pci/devices/0000:00:1f.0/class", "0x060100\n");
  EXPECT_EQ(Written(LinuxDisplayAdapters(root.path()).Enumerate()), "");
}

TEST(PciNamesTest, TheHardwareDatabaseAgreesWithSystemdsOwnTool) {
  const auto answer = ProgramOutput({"/usr/bin/systemd-hwdb", "query", "pci:v00008086d00007D55"},
                                    std::chrono::seconds(60));
  if (!answer || answer->empty()) GTEST_SKIP() << "needs systemd's hardware database";
  const PciName name = FindPciNameInHardwareDatabase(0x8086, 0x7D55);
  EXPECT_NE(answer->find("ID_VENDOR_FROM_DATABASE=" + name.vendor + "\n"), std::string::npos);
  EXPECT_NE(answer->find("ID_MODEL_FROM_DATABASE=" + name.device + "\n"), std::string::npos);
  EXPECT_NE(name.vendor, "");
  EXPECT_NE(name.device, "");
  EXPECT_EQ(FindPciNameInHardwareDatabase(0xFFF0, 1).device, "");
}

TEST(LinuxDisplayAdaptersTest, WithoutPciNamesTheVendorIsStillNamed) {
  Root root;
  root.File("sys/class/drm/card0/device/vendor", "0x10de\n");
  root.File("sys/class/drm/card0/device/device", "0x2684\n");
  EXPECT_EQ(Written(LinuxDisplayAdapters(root.path()).Enumerate()), "NVIDIA 10de:2684 0 0\n");
}

TEST(LinuxDisplayAdaptersTest, AKernelWithoutGraphicsCannotBeAsked) {
  const Root root;
  EXPECT_EQ(Written(LinuxDisplayAdapters(root.path()).Enumerate()), "nothing");
}

TEST(LinuxAcceleratorsTest, AcceleratorsBearTheirPciNames) {
  Root root;
  root.File("usr/share/hwdata/pci.ids", kPciIds);
  root.File("sys/class/accel/accel0/device/vendor", "0x8086\n");
  root.File("sys/class/accel/accel0/device/device", "0x7d1d\n");
  root.File("sys/class/accel/accel1/dev", "261:1\n");
  const auto accelerators = LinuxAccelerators(root.path()).Enumerate();
  ASSERT_TRUE(accelerators.has_value());
  ASSERT_EQ(accelerators->size(), 2U);
  EXPECT_EQ((*accelerators)[0].manufacturer, "Intel Corporation"_w);
  EXPECT_EQ((*accelerators)[0].description, "Meteor Lake NPU"_w);
  EXPECT_FALSE((*accelerators)[1].manufacturer.has_value());
  EXPECT_FALSE((*accelerators)[1].description.has_value());
}

TEST(LinuxAcceleratorsTest, AKernelWithoutTheClassHasNone) {
  const Root root;
  const auto accelerators = LinuxAccelerators(root.path()).Enumerate();
  ASSERT_TRUE(accelerators.has_value());
  EXPECT_TRUE(accelerators->empty());
}

TEST(RootFilesTest, OfALongFileTheEndIsRead) {
  Root root;
  root.File("long", "0123456789");
  EXPECT_EQ(ReadRootFile(root.path() / "long", 4), "6789");
  EXPECT_EQ(ReadRootFile(root.path() / "long", 10), "0123456789");
}

TEST(RootFilesTest, OnlyRegularFilesAreRead) {
  EXPECT_EQ(ReadRootFile("/dev/zero"), std::nullopt);
  EXPECT_EQ(ReadRootFile("/"), std::nullopt);
  EXPECT_NE(ReadRootFile("/proc/sys/kernel/osrelease").value_or(""), "");
}

}  // namespace
