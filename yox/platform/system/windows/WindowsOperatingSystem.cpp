#include "yox/platform/system/windows/WindowsOperatingSystem.h"

#include <windows.h>

#include <optional>
#include <string>
#include <variant>

#include "yox/platform/clock/windows/WindowsClock.h"
#include "yox/platform/system/RegistryFacts.h"
#include "yox/platform/system/windows/ServiceHandle.h"

namespace yox::platform {
namespace {

constexpr WStringView kCurrentVersion = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

// The real version: what GetVersionEx returns depends on the program's manifest.
OSVERSIONINFOW KernelVersion() {
  using Get = LONG(WINAPI*)(OSVERSIONINFOW*);
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof version;
  const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  const auto get = reinterpret_cast<Get>(
      reinterpret_cast<void*>(ntdll != nullptr ? GetProcAddress(ntdll, "RtlGetVersion") : nullptr));
  if (get != nullptr) get(&version);
  return version;
}

// The first row of one property of the system's own management classes.
template <class T>
std::optional<T> Ask(ManagementQueries& queries, WStringView query, WStringView property) {
  const ManagementAnswer answer = queries.Ask(L"ROOT\\CIMV2", query, property);
  if (answer.rows.empty()) return std::nullopt;
  const T* const value = std::get_if<T>(&answer.rows.front().value);
  return value != nullptr ? std::optional<T>(*value) : std::nullopt;
}

}  // namespace

WString WindowsOperatingSystem::ProductName() {
  constexpr DWORD kFirstBuildOfWindows11 = 22000;
  constexpr WStringView kWindows10 = L"Windows 10";
  WString name = ReadText(registry_, KeyOfMachine(kCurrentVersion), L"ProductName");
  if (name.starts_with(kWindows10) && KernelVersion().dwBuildNumber >= kFirstBuildOfWindows11) {
    name.replace(0, kWindows10.size(), L"Windows 11");
  }
  return name;
}

WString WindowsOperatingSystem::EditionId() {
  return ReadText(registry_, KeyOfMachine(kCurrentVersion), L"EditionID");
}

WString WindowsOperatingSystem::Version() {
  const OSVERSIONINFOW version = KernelVersion();
  if (version.dwMajorVersion == 0) return {};
  WString text = std::to_wstring(version.dwMajorVersion) + L"." +
                 std::to_wstring(version.dwMinorVersion) + L"." +
                 std::to_wstring(version.dwBuildNumber);
  if (const auto revision = ReadNumber(registry_, KeyOfMachine(kCurrentVersion), L"UBR")) {
    text += L"." + std::to_wstring(*revision);
  }
  return text;
}

WString WindowsOperatingSystem::Caption() {
  return Ask<WString>(queries_, L"SELECT Caption FROM Win32_OperatingSystem", L"Caption")
      .value_or(WString());
}

bool WindowsOperatingSystem::IsSMode() {
  return ReadNumber(registry_, KeyOfMachine(L"SYSTEM\\CurrentControlSet\\Control\\CI\\Policy"),
                    L"SkuPolicyRequired") == 1U;
}

std::uint32_t WindowsOperatingSystem::Architecture() {
  // In a program for another processor GetNativeSystemInfo returns that processor's architecture.
  if (const auto architecture = Ask<std::int32_t>(
          queries_, L"SELECT Architecture FROM Win32_Processor", L"Architecture")) {
    return static_cast<std::uint32_t>(*architecture);
  }
  SYSTEM_INFO system{};
  GetNativeSystemInfo(&system);
  return system.wProcessorArchitecture;
}

std::uint32_t WindowsOperatingSystem::UpdateServiceStartType() {
  const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  const ServiceHandle service(OpenServiceW(manager.get(), L"wuauserv", SERVICE_ALL_ACCESS));
  DWORD size = 0;
  QueryServiceConfigW(service.get(), nullptr, 0, &size);
  std::string buffer(size, '\0');
  auto* const configuration = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
  return size >= sizeof *configuration &&
                 QueryServiceConfigW(service.get(), configuration, size, &size) != FALSE
             ? configuration->dwStartType
             : 0;
}

std::optional<LocalDate> WindowsOperatingSystem::FirstRunDate() {
  std::optional<std::uint32_t> first =
      ReadNumber(registry_, KeyOfMachine(kCurrentVersion), L"InstallDate");
  // An upgrade is a new installation; Setup keeps the facts of the former ones below keys such as
  // "Source OS (Updated on 3/1/2024 10:00:00)".
  const RegistryKey setup = KeyOfMachine(L"SYSTEM\\Setup");
  std::vector<WString> names;
  if (registry_.SubKeys(setup, names) != RegistryStatus::kOk) names.clear();
  for (const WString& name : names) {
    if (!name.starts_with(L"Source OS")) continue;
    const auto former =
        ReadNumber(registry_, KeyOfMachine(setup.path + L"\\" + name), L"InstallDate");
    if (former && (!first || *former < *first)) first = former;
  }
  if (!first || *first == 0) return std::nullopt;
  return WindowsClock().ToLocalDate(*first);
}

}  // namespace yox::platform
