#include <gtest/gtest.h>
// Before windows.h.
#include <winsock2.h>
// After winsock2.h.
#include <windows.h>

#include <algorithm>

#include "yox/base/String.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/devices/Accelerators.h"
#include "yox/platform/devices/DisplayAdapters.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/firmware/Firmware.h"
#include "yox/platform/simulated/SimulatedRegistry.h"
#include "yox/platform/system/Client.h"
#include "yox/platform/system/Locale.h"
#include "yox/platform/system/ManagementQueries.h"
#include "yox/platform/system/OperatingSystem.h"
#include "yox/platform/system/RegistryFacts.h"
#include "yox/platform/system/Services.h"
#include "yox/platform/system/windows/WindowsJoinState.h"
#include "yox/platform/system/windows/WindowsLocale.h"
#include "yox/platform/system/windows/WindowsOperatingSystem.h"
#include "yox/platform/users/Users.h"
#include "yox/platform/users/windows/Token.h"

namespace {

using namespace yox::platform;
using yox::WString;

Platform& Native() { return Platform::Native(); }

bool IsWine() {
  return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

// Windows Sockets for a test, as a host has them.
class Sockets {
 public:
  Sockets() {
    WSADATA data;
    started_ = WSAStartup(MAKEWORD(2, 2), &data) == 0;
  }
  ~Sockets() {
    if (started_) WSACleanup();
  }

 private:
  bool started_;
};

// A service of the test's own.
class OwnService {
 public:
  OwnService() {
    DeleteService(OpenServiceW(manager_, kName, DELETE));
    service_ = CreateServiceW(manager_, kName, kName, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
                              SERVICE_DEMAND_START, SERVICE_ERROR_IGNORE, L"C:\\none.exe", nullptr,
                              nullptr, nullptr, nullptr, nullptr);
  }
  ~OwnService() {
    DeleteService(service_);
    CloseServiceHandle(service_);
    CloseServiceHandle(manager_);
  }
  static constexpr wchar_t kName[] = L"yox_test_service";
  bool made() const { return service_ != nullptr; }

 private:
  SC_HANDLE manager_ = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
  SC_HANDLE service_ = nullptr;
};

TEST(WindowsFirmwareTest, TheSystemHandsOutATableWithItsVersion) {
  const FirmwareFacts* const facts = Native().firmware().Facts();
  ASSERT_NE(facts, nullptr);
  EXPECT_NE(facts->smbios_version.find(L'.'), WString::npos);
  const FirmwareFacts first = *facts;
  Native().firmware().Reread();
  EXPECT_EQ(Native().firmware().Facts()->smbios_version, first.smbios_version);
}

TEST(WindowsOperatingSystemTest, VersionAndNamesAreThoseOfWindows) {
  OperatingSystem& system = Native().operating_system();
  EXPECT_NE(system.ProductName().find(L"Windows 1"), WString::npos);
  EXPECT_TRUE(system.Caption().starts_with(L"Microsoft Windows "));
  EXPECT_GE(std::ranges::count(system.Version(), L'.'), 2);
  EXPECT_TRUE(system.Version().starts_with(L"10.0."));
  EXPECT_EQ(system.Architecture(), 9U);
  EXPECT_FALSE(system.IsSMode());
}

// What is read from the registry, in one of the test's own.
class RegisteredSystem : public testing::Test {
 protected:
  void Set(const WString& name, const RegistryValue& value) {
    const RegistryKey key = KeyOfMachine(L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion");
    ASSERT_EQ(registry_.CreateKey(key), RegistryStatus::kOk);
    ASSERT_EQ(registry_.SetValue(key, name, value), RegistryStatus::kOk);
  }

  SimulatedRegistry registry_;
  WindowsOperatingSystem system_{registry_, Native().management_queries()};
};

TEST_F(RegisteredSystem, TheVersionEndsWithTheRevisionOfTheLastUpdate) {
  const WString without = system_.Version();
  EXPECT_EQ(std::ranges::count(without, L'.'), 2);
  Set(L"UBR", RegistryValue::Dword(1234));
  EXPECT_EQ(system_.Version(), without + L".1234");
}

// Windows 11 still calls itself Windows 10 in the registry.
TEST_F(RegisteredSystem, TheProductIsNamedByTheBuild) {
  const WString version = system_.Version();
  const int build = std::stoi(version.substr(version.rfind(L'.') + 1));
  Set(L"ProductName", RegistryValue::Text(L"Windows 10 Pro"));
  EXPECT_EQ(system_.ProductName(), build < 22000 ? L"Windows 10 Pro" : L"Windows 11 Pro");
  Set(L"ProductName", RegistryValue::Text(L"Windows Server 2022"));
  EXPECT_EQ(system_.ProductName(), L"Windows Server 2022");
}

TEST_F(RegisteredSystem, ADateOfZeroIsNoFirstDay) {
  Set(L"InstallDate", RegistryValue::Dword(0));
  EXPECT_EQ(system_.FirstRunDate(), std::nullopt);
}

TEST(WindowsOperatingSystemTest, TheUpdateServiceHasAStartType) {
  const std::uint32_t type = Native().operating_system().UpdateServiceStartType();
  EXPECT_TRUE(type >= 2 && type <= 4) << type;
}

TEST(WindowsOperatingSystemTest, AHistoryThatCannotBeQueriedIsEmpty) {
  if (!IsWine()) GTEST_SKIP() << "Windows has a history";
  // Wine's update agent returns E_NOTIMPL.
  EXPECT_TRUE(Native().operating_system().UpdateHistory().empty());
}

TEST(WindowsOperatingSystemTest, TheFirstDayIsThatOfTheFirstInstallation) {
  SimulatedRegistry registry;
  WindowsOperatingSystem system(registry, Native().management_queries());
  EXPECT_EQ(system.FirstRunDate(), std::nullopt);
  constexpr std::uint32_t kNoon = 1736510400;  // 2025-01-10 in UTC
  constexpr std::uint32_t kDay = 86400;
  const auto install = [&](const WString& path, std::uint32_t moment) {
    const RegistryKey key = KeyOfMachine(path);
    ASSERT_EQ(registry.CreateKey(key), RegistryStatus::kOk);
    ASSERT_EQ(registry.SetValue(key, L"InstallDate", RegistryValue::Dword(moment)),
              RegistryStatus::kOk);
  };
  install(L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", kNoon);
  EXPECT_EQ(system.FirstRunDate(), Native().clock().ToLocalDate(kNoon));
  install(L"SYSTEM\\Setup\\Source OS (Updated on 3/1/2024 10:00:00)", kNoon - 300 * kDay);
  install(L"SYSTEM\\Setup\\Source OS (Updated on 3/1/2025 10:00:00)", kNoon - 9 * kDay);
  install(L"SYSTEM\\Setup\\Another", kNoon - 900 * kDay);
  EXPECT_EQ(system.FirstRunDate(), Native().clock().ToLocalDate(kNoon - 300 * kDay));
}

TEST(WindowsQueriesTest, AnUnknownClassOrPropertyGivesNoValue) {
  ManagementQueries& queries = Native().management_queries();
  EXPECT_TRUE(queries.Ask(L"ROOT\\CIMV2", L"SELECT A FROM Win32_YoxNone", L"A").rows.empty());
  const ManagementAnswer answer =
      queries.Ask(L"ROOT\\CIMV2", L"SELECT Caption FROM Win32_OperatingSystem", L"YoxNone");
  EXPECT_EQ(answer.failed, ManagementAnswer::Step::kNone);
  ASSERT_EQ(answer.rows.size(), 1U);
  EXPECT_NE(answer.rows[0].error, 0U);
}

TEST(WindowsQueriesTest, AnUnknownNamespaceFailsAtTheConnection) {
  const ManagementAnswer answer =
      Native().management_queries().Ask(L"ROOT\\YoxNone", L"SELECT A FROM B", L"A");
  EXPECT_EQ(answer.failed, ManagementAnswer::Step::kConnect);
  EXPECT_NE(answer.error, 0U);
}

TEST(WindowsLocaleTest, CountryAndLanguageHaveCodesAndEnglishNames) {
  const LocaleFacts facts = Native().locale().Facts();
  EXPECT_EQ(facts.country_code.size(), 2U);
  EXPECT_FALSE(facts.country_name.empty());
  EXPECT_FALSE(facts.region_name.empty());
  EXPECT_NE(facts.language_code.find(L'-'), WString::npos);
  EXPECT_NE(facts.language_name.find(L'('), WString::npos);
}

// A service of the system's account, and who is logged on.
class ServiceFor final : public Users {
 public:
  explicit ServiceFor(WString sid) : sid_(std::move(sid)) {}
  WString LoggedInUserSid() override { return sid_; }
  bool IsSystemProcess() override { return true; }

 private:
  const WString sid_;
};

TEST(WindowsLocaleTest, AServicesCountryIsTheLoggedOnUsersThenTheMachines) {
  SimulatedRegistry registry;
  ServiceFor users(L"S-1-5-21-1-2-3-1001");
  WindowsLocale locale(registry, users);
  const RegistryKey machine =
      KeyOfMachine(L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Control Panel\\DeviceRegion");
  ASSERT_EQ(registry.CreateKey(machine), RegistryStatus::kOk);
  registry.SetValue(machine, L"DeviceRegion", RegistryValue::Dword(39));
  EXPECT_EQ(locale.Facts().country_code, L"CA");
  const RegistryKey user{
      HKEY_CURRENT_USER, L"Control Panel\\International\\Geo", {}, L"S-1-5-21-1-2-3-1001"};
  ASSERT_EQ(registry.CreateKey(user), RegistryStatus::kOk);
  registry.SetValue(user, L"Nation", RegistryValue::Text(L"94"));
  const LocaleFacts facts = locale.Facts();
  EXPECT_EQ(facts.country_code, L"DE");
  EXPECT_EQ(facts.country_name, L"Germany");
  EXPECT_EQ(facts.region_name, L"Germany");
}

TEST(WindowsUsersTest, TheUserOfTheConsolesSessionIsLoggedOn) {
  DWORD session = 0;
  ASSERT_NE(ProcessIdToSessionId(GetCurrentProcessId(), &session), FALSE);
  if (session != WTSGetActiveConsoleSessionId()) GTEST_SKIP() << "runs in another session";
  EXPECT_EQ(Native().users().LoggedInUserSid(), SidOfToken(OwnToken().get()));
  EXPECT_TRUE(Native().users().LoggedInUserSid().starts_with(L"S-1-5-"));
}

TEST(WindowsServicesTest, AServiceThatIsAbsentOrStoppedDoesNotRun) {
  const OwnService service;
  ASSERT_TRUE(service.made());
  EXPECT_FALSE(Native().services().IsRunning(OwnService::kName));
  EXPECT_FALSE(Native().services().IsRunning(L"yox_no_such_service"));
  EXPECT_TRUE(Native().services().IsRunning(L"RpcSs") ||
              Native().services().IsRunning(L"PlugPlay"));
}

TEST(WindowsJoinStateTest, WithoutSocketsTheReasonIsTold) {
  // Wine knows the host's name without them.
  const JoinAnswer answer = WindowsJoinState().Domain();
  EXPECT_EQ(answer.outcome,
            IsWine() ? JoinAnswer::Outcome::kAsked : JoinAnswer::Outcome::kNoHostName);
  EXPECT_EQ(answer.code, IsWine() ? 0U : static_cast<std::uint32_t>(WSANOTINITIALISED));
}

TEST(WindowsJoinStateTest, TheJoinLibraryIsAsked) {
  const Sockets sockets;
  EXPECT_EQ(WindowsJoinState().Domain().outcome, JoinAnswer::Outcome::kAsked);
  // Wine has no function for the cloud.
  const JoinAnswer::Outcome cloud = WindowsJoinState().Cloud().outcome;
  EXPECT_TRUE(cloud == JoinAnswer::Outcome::kAsked || cloud == JoinAnswer::Outcome::kNoFunction);
}

TEST(WindowsClientTest, AProgramHasTheVersionOfItsResource) {
  const WString folder = Native().files().SystemDirectory();
  const WString version = Native().client().FileVersion(folder + L"\\kernel32.dll");
  EXPECT_EQ(std::ranges::count(version, L'.'), 3);
  EXPECT_EQ(version.find_first_not_of(L"0123456789."), WString::npos);
  // Major before minor, both before the build.
  EXPECT_TRUE(version.starts_with(L"10.0.") || (IsWine() && version.starts_with(L"6.1.")))
      << yox::String::UTF16ToUTF8(version);
  EXPECT_EQ(Native().client().FileVersion(folder + L"\\yox-none.dll"), L"");
  EXPECT_EQ(Native().client().FileVersion(folder), L"");
}

TEST(WindowsDisplayAdaptersTest, EveryAdapterHasADescription) {
  const auto adapters = Native().display_adapters().Enumerate();
  ASSERT_TRUE(adapters.has_value());
  ASSERT_FALSE(adapters->empty()) << "Windows has at least one that the processor draws with";
  for (const DisplayAdapter& adapter : *adapters) EXPECT_FALSE(adapter.description.empty());
}

TEST(WindowsAcceleratorsTest, TheDeviceClassCanBeAsked) {
  EXPECT_TRUE(Native().accelerators().Enumerate().has_value());
}

}  // namespace
